#!/usr/bin/env bash
# Runs one case file: run_case.sh KIVTS CASE
# or, with --accept before them, writes what came out into the case file, to be read before it is kept.
#
# A case file has the sections "command", "stdout", "stderr" and "exit", each begun by a line ">>> NAME";
# lines before the first section say what the case shows. The command is bash, runs in a fresh directory and
# finds kivts on the PATH and the example data in $EXAMPLES. Missing sections mean no output and exit 0. A
# command that exits with 77 cannot run with this build and is skipped. What an import took and how fast it was
# reads "in T s, R samples/s".
set -u

accepts=no
if [ "${1:-}" = --accept ]; then
    accepts=yes
    shift
fi
kivts=$(readlink -f "$1")
case_file=$(readlink -f "$2")
examples=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/../../examples")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

mkdir "$work/run" "$work/case"
touch "$work/case/command" "$work/case/stdout" "$work/case/stderr"
echo 0 >"$work/case/exit"
awk -v directory="$work/case" '
    /^>>> / { file = directory "/" $2; printf "" >file; next }
    file { print >file }
' "$case_file"
if [ ! -s "$work/case/command" ]; then
    echo "no command in $case_file"
    exit 1
fi

# libfaketime and the runtime of the sanitizers both have to be loaded first.
if grep -q faketime "$work/case/command" && ldd "$kivts" | grep -q libasan; then
    exit 77
fi

# Results must not depend on the zone or the language of the host.
export TZ=America/New_York LC_ALL=C.UTF-8 LC_NUMERIC=de_DE.UTF-8 LANG=de_DE.UTF-8
# Cases that are about colours unset it.
export NO_COLOR=1
export EXAMPLES=$examples KIVTS=$kivts
export PATH="$(dirname "$kivts"):$PATH"
unset VELTAR_INSTALL_PATH VELTAR_CURRENT_PROJECT_LOCATION

for _ in 1 2 3; do
    (cd "$work/run" && bash "$work/case/command" >"$work/stdout" 2>"$work/stderr" </dev/null)
    echo $? >"$work/exit"
    # What a killed faketime left in shared memory is in the way of a later one with the same process number.
    grep -q 'sem_open: File exists' "$work/stdout" "$work/stderr" || break
    rm -rf "$work/run" && mkdir "$work/run"
done
if [ "$(cat "$work/exit")" -eq 77 ]; then
    exit 77
fi
sed -E -i 's|, in [0-9.]+ s, [0-9.]+( [kM])? samples/s|, in T s, R samples/s|' "$work/stdout" "$work/stderr"

if [ "$accepts" = yes ]; then
    {
        sed '/^>>> /,$d' "$case_file"
        echo ">>> command"
        cat "$work/case/command"
        for stream in stdout stderr; do
            [ ! -s "$work/$stream" ] || { echo ">>> $stream"; cat "$work/$stream"; }
        done
        [ "$(cat "$work/exit")" -eq 0 ] || { echo ">>> exit"; cat "$work/exit"; }
    } >"$work/accepted"
    cp "$work/accepted" "$case_file"
    exit 0
fi

failed=0
for stream in stdout stderr exit; do
    if ! diff -u --label "expected $stream" --label "actual $stream" "$work/case/$stream" "$work/$stream"; then
        failed=1
    fi
done
exit $failed
