#!/usr/bin/env bash
# debs.sh DEBS VERSION FOLDER: unpacks the Debian packages of the folder DEBS below FOLDER and uses them there.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
debs=$(readlink -f "$1") version=$2
fresh_folder "$3"

library=libkivtsfilestorage${version%%.*}
for package in "$library" libkivtsfilestorage-dev kivts; do
    deb=$(find "$debs" -maxdepth 1 -name "${package}_$version-*.deb")
    [ -f "$deb" ] || fail "$debs has not exactly one package $package of $version"
    mkdir "$package"
    dpkg-deb -x "$deb" "$package"
    dpkg-deb -x "$deb" all
    dpkg-deb -f "$deb" Depends >"$package.depends"
    dpkg-deb -I "$deb" shlibs >"$package.shlibs" 2>/dev/null || true
    for text in changelog.gz changelog.Debian.gz copyright; do
        [ -s "$package/usr/share/doc/$package/$text" ] || fail "$package lacks $text"
    done
done

depends_on() { # PACKAGE OTHER
    grep -qF "$2" "$1.depends" || fail "$1 does not depend on $2, but on: $(cat "$1.depends")"
}
depends_on "$library" libqt6core6
depends_on "$library" libpocofoundation
depends_on libkivtsfilestorage-dev "$library (= $version-"
depends_on libkivtsfilestorage-dev qt6-base-dev
depends_on kivts "$library (= $version-"
depends_on kivts libcsv3

lib=usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)
expect "the libraries of $library" "libKivLogger.so.${version%%.*}
libKivLogger.so.$version
libKivTSFileStorage.so.${version%%.*}
libKivTSFileStorage.so.$version" "$(find "$library/$lib" ! -type d -printf '%f\n' | LC_ALL=C sort)"
expect "what programs of others will depend on" "libKivLogger $library
libKivTSFileStorage $library" "$(awk '{ print $1, $3 }' "$library.shlibs")"
[ ! -e libkivtsfilestorage-dev/usr/bin ] && [ ! -e kivts/usr/lib ] || fail "a file is in the wrong package"

# As the system finds what is installed below /usr.
export LD_LIBRARY_PATH=$PWD/all/$lib
expect "the version of the unpacked program" "kivts $version" "$(all/usr/bin/kivts --version)"
printf 'time,value\n2024-05-17T13:45:12Z,71.5\n' >one.csv
all/usr/bin/kivts import one.csv --series imported --type double 2>/dev/null
expect "what the unpacked program reads" $'timestamp,value\n2024-05-17T13:45:12.000Z,71.5' \
    "$(all/usr/bin/kivts read imported --format csv)"
build_with_cmake "$PWD/all/usr"
build_with_pkg_config "$PWD/all/usr" "$version"
