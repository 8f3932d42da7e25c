# What the tests of the package share. They run in a fresh folder that is theirs.
set -euo pipefail

here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
cmake=${CMAKE:-cmake}
cxx=${CXX:-g++}

fail() {
    echo "$*" >&2
    exit 1
}

fresh_folder() { # FOLDER
    rm -rf "$1"
    mkdir -p "$1"
    cd "$1"
}

expect() { # WHAT WANTED FOUND
    [ "$2" = "$3" ] || fail "$1: expected
$2
found
$3"
}

# Runs the programs of consumer/, built in the folder of the argument.
run_consumer() { # FOLDER
    rm -rf series
    expect "the consumer's samples" $'1715954400000 71.75\n1715953512000 71.5\n1715953572000 72' "$("$1/store" series)"
    expect "the consumer's log" "not written, logged" "$("$1/sink" "$here/common.sh")"
}

# Poco is the library's own matter: who uses the library does without.
build_with_cmake() { # PREFIX
    "$cmake" -G Ninja -S "$here/consumer" -B with_cmake -Wno-dev --log-level=WARNING -DCMAKE_CXX_COMPILER="$cxx" \
        -DCMAKE_PREFIX_PATH="$1" -DCMAKE_DISABLE_FIND_PACKAGE_Poco=ON --no-warn-unused-cli >with_cmake.log || { cat with_cmake.log; exit 1; }
    "$cmake" --build with_cmake >with_cmake.log || { cat with_cmake.log; exit 1; }
    run_consumer with_cmake
}

# A plain compiler with what pkg-config says, and -fPIC, which Qt wants of everybody.
build_with_pkg_config() { # PREFIX VERSION
    local directory flags
    directory=$(dirname "$(find "$1" -name kivtsfilestorage.pc)")
    mkdir -p with_pkg_config
    export PKG_CONFIG_PATH=$directory
    flags=$(pkg-config --cflags --libs kivtsfilestorage)
    # shellcheck disable=SC2086
    "$cxx" -std=c++17 -fPIC "$here/consumer/store.cpp" -o with_pkg_config/store $flags
    flags=$(pkg-config --cflags --libs kivtsfilestorage kivlogger)
    # shellcheck disable=SC2086
    "$cxx" -std=c++17 -fPIC "$here/consumer/sink.cpp" -o with_pkg_config/sink $flags
    expect "the version that pkg-config says" "$2" "$(pkg-config --modversion kivtsfilestorage)"
    LD_LIBRARY_PATH=$(dirname "$directory") run_consumer with_pkg_config
}
