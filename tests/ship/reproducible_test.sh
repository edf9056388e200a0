#!/usr/bin/env bash
# Builds the three libraries twice, from two copies of the sources in two directories of different
# length, and compares them byte for byte. Optimisation is left out for speed; debug information,
# which names directories, is not.
# reproducible_test.sh SOURCE_DIRECTORY WORK_DIRECTORY JOBS
set -euo pipefail
source=$1 work=$2 jobs=$3
rm -rf "$work"
export SOURCE_DATE_EPOCH=1700000000 CCACHE_DISABLE=1
unset CMAKE_CXX_COMPILER_LAUNCHER CXXFLAGS LDFLAGS

configure() {
    mkdir -p "$1"
    for part in CMakeLists.txt cmake src docs LICENSE NOTICE CHANGELOG.md; do
        cp -r "$source/$part" "$1/"
    done
    cmake -S "$1" -B "$1/$2" -G Ninja -DKELD_WORKBENCH=OFF -DKELD_TESTS=OFF \
        -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O0 -g" >/dev/null
    cmake --build "$1/$2" -j "$jobs" >/dev/null
}
first=$work/a second=$work/quite/another/place
configure "$first" build
configure "$second" out/of/source

# Gives the names of the libraries that differ.
differing() {
    local library
    for library in keld_se keld_qsktool keld_basetool; do
        cmp -s "$first/build/lib/lib$library.so" "$second/out/of/source/lib/lib$library.so" ||
            echo "$library"
    done
}
found=$(differing)
if [ -n "$found" ]; then
    echo "The two builds differ in: $found" >&2
    exit 1
fi
grep -qa 'Nov 14 2023' "$first/build/lib/libkeld_se.so" ||
    { echo "the build stamp doesn't follow SOURCE_DATE_EPOCH" >&2; exit 1; }

# The control: a build of another day is seen.
touch "$second/src/frame/keld_version.cpp"
SOURCE_DATE_EPOCH=1600000000 cmake --build "$second/out/of/source" -j "$jobs" >/dev/null
[ "$(differing)" = keld_se ] ||
    { echo "a build with another stamp isn't told apart" >&2; exit 1; }
