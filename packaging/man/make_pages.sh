#!/bin/sh
# Writes the manual pages of kivts, compressed as systems keep them: make_pages.sh KIVTS SCDOC DIRECTORY
set -eu
kivts=$1 scdoc=$2 directory=$3

make_page() { # NAME [COMMAND]
    name=$1
    shift
    "$kivts" man-source "$@" >"$directory/$name.scd"
    "$scdoc" <"$directory/$name.scd" >"$directory/$name.1"
    # Without time and name of the file, so that each build gives the same bytes.
    gzip -9n "$directory/$name.1"
    rm "$directory/$name.scd"
}

mkdir -p "$directory"
make_page kivts
# What stands below another command is on that one's page.
"$kivts" man-source --list | grep -v ' ' | while read -r command; do
    make_page "kivts-$command" "$command"
done
