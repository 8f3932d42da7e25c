#!/usr/bin/env bash
# Imports real plant data into two series and reads it back: demo.sh KIVTS_BINARY
set -euo pipefail

if [ $# -ne 1 ] || [ ! -x "$1" ]; then
    echo "usage: demo.sh KIVTS_BINARY" >&2
    exit 2
fi
kivts=$(readlink -f "$1")
data=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/data")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$data"/*.csv "$work"
cd "$work"
PATH="$(dirname "$kivts"):$PATH"

run() { # prints a command as it could be typed, then runs it
    local line='' word
    for word in "$@"; do
        [[ $word =~ ^[A-Za-z0-9_./:,=@-]+$ ]] || word="'$word'"
        line+=" $word"
    done
    printf '\n$%s\n' "$line"
    "$@" 2>&1
}

run kivts import machine_temperature.csv --series machine --type double
run kivts import household_power.csv --series power --type double --separator ';' \
    --time-col Date,Time --time-format 'd/M/yyyy H:mm:ss' --value-col Global_active_power \
    --max-file-size 20000
run kivts info machine
run kivts info power
run kivts read machine --every 1h --method linear --limit 12 --format table
run kivts read machine --every 1h --method prev --limit 12 --format table

# Per day: mean, and least and greatest temperature with their times.
run kivts read machine --every day --method meana --align-range --limit 5 --format table
run kivts read machine --every day --method minmax --align-range --limit 6 --format table
# Only what was measured at the weekend; the mean of values a minute apart, which weighs each by its time.
run kivts read machine --pass '@raw where weekdays=sat-sun' --every day --method meana --align-range \
    --limit 4 --format table
run kivts read machine --pass linear@1m --every week --method meana --align-range --format table
run kivts count machine --from 2014-01-01 --to 2014-01-31T23:59:59.999
run kivts count machine --every day --method max --align-range --filter 'value>100'
run kivts delete machine --from 2014-01-01 --to 2014-01-31T23:59:59.999 --dry-run

# A meter that adds up the power in watt hours and begins again at a million, as meters do.
awk -F ';' 'BEGIN { OFS = ";"; energy = 980000; print "Date", "Time", "Energy" }
            NR > 1 { energy += $3 * 1000 / 60; if (energy >= 1000000) energy -= 1000000
                     printf "%s;%s;%d\n", $1, $2, energy }' household_power.csv >energy_meter.csv
run kivts import energy_meter.csv --series energy --type int --separator ';' \
    --time-col Date,Time --time-format 'd/M/yyyy H:mm:ss' --value-col Energy
run kivts read energy --every 1h --method diffctrupcleanedsumalign --align-range --limit 12 --format table
run kivts read energy --every day --method diffctrupcleanedsumalign --align-range --format table

run find machine power -type f -name '[!.]*' -printf '%8s bytes  %p\n' | LC_ALL=C sort -b -k3 -s
