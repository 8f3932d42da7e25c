#!/usr/bin/env bash
# Runs one case file: run_case.sh KIVTS CASE
#
# A case file has the sections "command", "stdout", "stderr" and "exit", each begun by a line ">>> NAME";
# lines before the first section say what the case shows. The command is bash, runs in a fresh directory and
# finds kivts on the PATH and the example data in $EXAMPLES. Missing sections mean no output and exit 0. A
# command that exits with 77 cannot run with this build and is skipped.
set -u

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

# Results must not depend on the zone or the language of the host.
export TZ=America/New_York LC_ALL=C.UTF-8 LC_NUMERIC=de_DE.UTF-8 LANG=de_DE.UTF-8
export EXAMPLES=$examples KIVTS=$kivts
export PATH="$(dirname "$kivts"):$PATH"
unset VELTAR_INSTALL_PATH VELTAR_CURRENT_PROJECT_LOCATION

(cd "$work/run" && bash "$work/case/command" >"$work/stdout" 2>"$work/stderr" </dev/null)
echo $? >"$work/exit"
if [ "$(cat "$work/exit")" -eq 77 ]; then
    exit 77
fi

failed=0
for stream in stdout stderr exit; do
    if ! diff -u --label "expected $stream" --label "actual $stream" "$work/case/$stream" "$work/$stream"; then
        failed=1
    fi
done
exit $failed
