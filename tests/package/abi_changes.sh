#!/usr/bin/env bash
# abi_changes.sh BUILD VERSION FOLDER: changes of the ABI are found, and told apart.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
build=$1 version=$2
fresh_folder "$3"
abi=$here/../../packaging/abi.sh
major=${version%%.*}
minor=${version#*.}
minor=${minor%%.*}
store=records/libKivTSFileStorage.so.$major.$minor.xml

fresh_records() {
    rm -rf records
    "$abi" update "$build" "$version" records || exit $?
    "$abi" check "$build" "$version" records || fail "what was just written down differs"
}

refuses() { # WHAT VERSION TEXT
    if "$abi" check "$build" "$2" records >out 2>&1; then
        fail "not found: $1"
    fi
    grep -qF "$3" out || fail "$1: the message lacks '$3': $(cat out)"
}

fresh_records
refuses "another soname without a record" "$((major + 1)).0.0" "./dev abi --update"

# A function that the record does not have is a new one.
symbol=_ZNK3Kiv13TSFileColumns12isConsistentEv
sed -i "/elf-symbol name='$symbol'/d; s/ elf-symbol-id='$symbol'//" "$store"
refuses "a new function" "$version" "raise the minor version"
refuses "a new function that is not written down" "$major.$((minor + 1)).0" "has new functions"

fresh_records
sed -i "s/$symbol/_ZNK3Kiv13TSFileColumns8isNoMoreEv/" "$store"
refuses "a function that is gone" "$version" "raise the major version"
refuses "a function that is gone, in a new minor version" "$major.$((minor + 1)).0" "raise the major version"

fresh_records
grep -q "enumerator name='MEDIAN' value='12'" "$store" || fail "the record has no enumerator MEDIAN"
sed -i "s/enumerator name='MEDIAN' value='12'/enumerator name='MEDIAN' value='14'/" "$store"
refuses "another value of an enumerator" "$version" "raise the major version"

fresh_records
sed -i "/class-decl name='WriteSummary'/s/size-in-bits='[0-9]*'/size-in-bits='64'/" "$store"
refuses "another size of a class" "$version" "raise the major version"
