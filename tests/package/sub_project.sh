#!/usr/bin/env bash
# sub_project.sh SOURCE BUILD_TYPE FLAGS FOLDER: builds the consumer in FOLDER with the sources of the library as a part of its own.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
source=$1
fresh_folder "$4"

# With the flags and the depth of the build that runs this test, a compiler cache has every object already.
"$cmake" -G Ninja -S "$here/consumer" -B . -Wno-dev --log-level=WARNING -DCMAKE_CXX_COMPILER="$cxx" \
    -DKIV_SOURCE_DIR="$source" -DCMAKE_BUILD_TYPE="$2" -DCMAKE_CXX_FLAGS_"${2^^}"="$3" >log || { cat log; exit 1; }
"$cmake" --build . >log || { cat log; exit 1; }
[ ! -e kiv/cli ] || fail "a sub-project builds the program too"
run_consumer .

"$cmake" --install . --prefix "$PWD/installed" >/dev/null
[ ! -e installed ] || fail "a sub-project installs itself without being asked"
