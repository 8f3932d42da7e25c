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
run find machine power -type f -printf '%8s bytes  %p\n' | LC_ALL=C sort -b -k3 -s
