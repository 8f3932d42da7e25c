#!/usr/bin/env bash
# abi.sh check|update BUILD VERSION [RECORDS]
#
# Compares the ABI of the libraries in BUILD with the one that is written down, or writes it down. There is one record
# for each library, soname and minor version: abi/MACHINE/libNAME.so.MAJOR.MINOR.xml. What was there stays as it is
# until the soname changes; what is added needs a new minor version. A version that CHANGELOG.md calls unreleased may
# still be written anew.
set -euo pipefail

mode=$1 build=$(readlink -f "$2") version=$3
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
records=${4:-$here/abi/$(uname -m)}
major=${version%%.*}
minor=${version#*.}
minor=${minor%%.*}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

dump() { # LIBRARY OUT
    # The debug information carries the types; a record without them would hold symbols only.
    if ! readelf -S --wide "$1" | grep -q '\.debug_info'; then
        echo "$1 has no debug information: build the preset dev" >&2
        exit 77
    fi
    abidw --suppressions "$here/abi/public.suppr" --exported-interfaces-only --no-corpus-path --no-comp-dir-path \
        --no-show-locs --no-elf-needed --no-parameter-names --no-write-default-sizes --out-file "$2" "$1"
}

# The record with the greatest minor version of this soname.
latest_record() { # NAME
    find "$records" -name "lib$1.so.$major.*.xml" 2>/dev/null | sort -V | tail -1
}

differs() { # RECORD FOUND [ABIDIFF OPTIONS...]
    local record=$1 found=$2 status=0
    shift 2
    abidiff --no-show-locs "$@" "$record" "$found" >"$scratch/report" || status=$?
    if [ $((status & 3)) -ne 0 ]; then
        cat "$scratch/report" >&2
        exit 1
    fi
    [ "$status" -ne 0 ]
}

is_unreleased() {
    grep -qF "## $version (unreleased)" "$here/../CHANGELOG.md"
}

check() { # NAME FOUND
    local name=$1 found=$2 record recorded_minor
    record=$(latest_record "$name")
    if [ -z "$record" ]; then
        echo "lib$name.so.$major has no record of its ABI below ${records#"$here"/}: write it with ./dev abi --update" >&2
        return 1
    fi
    recorded_minor=${record%.xml}
    recorded_minor=${recorded_minor##*.}
    if differs "$record" "$found" --no-added-syms; then
        cat "$scratch/report"
        echo "The ABI of lib$name is not that of $(basename "$record"): programs built with it may break." >&2
        echo "Take the change back, or raise the major version in CMakeLists.txt." >&2
        return 1
    fi
    if differs "$record" "$found"; then
        cat "$scratch/report"
        if [ "$minor" -gt "$recorded_minor" ]; then
            echo "lib$name has new functions: write them down with ./dev abi --update" >&2
        else
            echo "lib$name has functions that $(basename "$record") does not name: raise the minor version in" \
                "CMakeLists.txt, then write them down with ./dev abi --update" >&2
        fi
        return 1
    fi
}

update() { # NAME FOUND
    local name=$1 found=$2 record=$records/lib$1.so.$major.$minor.xml latest
    latest=$(latest_record "$name")
    if ! is_unreleased && [ -n "$latest" ]; then
        if differs "$latest" "$found" --no-added-syms; then
            cat "$scratch/report"
            echo "lib$name breaks $(basename "$latest"): raise the major version in CMakeLists.txt first" >&2
            return 1
        fi
        if [ "$latest" = "$record" ] && differs "$latest" "$found"; then
            cat "$scratch/report"
            echo "$version is released: raise the minor version in CMakeLists.txt first" >&2
            return 1
        fi
    fi
    mkdir -p "$records"
    cp "$found" "$record"
}

case "$mode" in check | update) ;; *) echo "usage: abi.sh check|update BUILD VERSION [RECORDS]" >&2; exit 2 ;; esac
failed=0
for library in "$build/src/libKivTSFileStorage.so" "$build/logger/libKivLogger.so"; do
    name=$(basename "$library" .so)
    dump "$library" "$scratch/$name.xml"
    "$mode" "${name#lib}" "$scratch/$name.xml" || failed=1
done
exit $failed
