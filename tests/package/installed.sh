#!/usr/bin/env bash
# installed.sh BUILD VERSION FOLDER: installs BUILD below FOLDER, moves the installation, and builds with it there.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
build=$1 version=$2
fresh_folder "$3"

"$cmake" --install "$build" --prefix "$PWD/first" >/dev/null
mv first moved

lib=$(cd moved && find lib* -name 'libKivTSFileStorage.so' -printf '%h\n')
expect "the installed files" "$(
    sed "s|LIB|$lib|; s|VERSION|$version|; s|MAJOR|${version%%.*}|" <<'LIST'
bin/kivts
include/KivTSFileStorage/Interpolate.h
include/KivTSFileStorage/Kiv/Logger.h
include/KivTSFileStorage/Kiv/LoggerExport.h
include/KivTSFileStorage/KivTSFileStorageExport.h
include/KivTSFileStorage/TSDirControl.h
include/KivTSFileStorage/TSFileColumns.h
include/KivTSFileStorage/TSFileInfo.h
include/KivTSFileStorage/TSFileStorage.h
LIB/cmake/KivTSFileStorage/KivTSFileStorageConfig.cmake
LIB/cmake/KivTSFileStorage/KivTSFileStorageConfigVersion.cmake
LIB/cmake/KivTSFileStorage/KivTSFileStorageTargets.cmake
LIB/libKivLogger.so
LIB/libKivLogger.so.MAJOR
LIB/libKivLogger.so.VERSION
LIB/libKivTSFileStorage.so
LIB/libKivTSFileStorage.so.MAJOR
LIB/libKivTSFileStorage.so.VERSION
LIB/pkgconfig/kivlogger.pc
LIB/pkgconfig/kivtsfilestorage.pc
LIST
)" "$(cd moved && find . ! -type d ! -path './share/*' ! -name 'KivTSFileStorageTargets-*' -printf '%P\n' | LC_ALL=C sort)"

# Debug information alone may say where the library was built.
if grep -rlF -e "$build" -e "$PWD" moved --include='*.cmake' --include='*.pc' --include='*.h'; then
    fail "the files above name a folder of this machine"
fi
for file in moved/bin/kivts "moved/$lib/"*.so; do
    if readelf -d "$file" | grep -E 'R(UN)?PATH' | grep -qE '(\[|:)/'; then
        fail "$file has an absolute run path"
    fi
done

expect "the version of the installed program" "kivts $version" "$(moved/bin/kivts --version)"
build_with_cmake "$PWD/moved"
build_with_pkg_config "$PWD/moved" "$version"
