#!/usr/bin/env bash
# Installs the build into a directory of its own, builds a sibling library against that tree through
# the CMake package and through pkg-config, and runs it over the workbench. The build tree and the
# sources play no part in it.
# install_test.sh BUILD_DIRECTORY SOURCE_DIRECTORY WORK_DIRECTORY COMPILER [COMPILER_FLAGS]
set -euo pipefail
build=$1 source=$2 work=$3 compiler=$4 flags=${5:-}
rm -rf "$work"
mkdir -p "$work/sources"
cp "$source"/tests/ship/sibling/* "$work/sources"
# Installed to one place and moved to another: nothing in it may name its directory.
cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/tree"
tree=$work/tree

fail() {
    echo "$*" >&2
    exit 1
}
lib=$(dirname "$(find "$tree" -name libkeld_se.so)")
for file in "$lib"/libkeld_{se,qsktool,basetool}.so "$lib"/libmervane.so \
    "$lib"/pkgconfig/{keld_se,mervane}.pc "$lib"/cmake/keld/keld-config.cmake \
    "$tree"/include/keld-server-exits/{platform/keld_se.h,workbench/workbench.h} \
    "$tree"/share/man/man1/keld.1 "$tree"/share/man/man5/keld_statusmanager.ini.5 \
    "$tree"/share/bash-completion/completions/keld "$tree"/share/zsh/vendor-completions/_keld \
    "$tree"/share/keld/samples/gearbox.json \
    "$tree"/bin/keld; do
    [ -f "$file" ] || fail "not installed: $file"
done
for library in keld_se keld_qsktool keld_basetool mervane; do
    readelf -d "$lib/lib$library.so" | grep -q "SONAME.*lib$library\.so\.[0-9]*\]" ||
        fail "lib$library.so has no soname with a number"
    # The build's and the install's directories must not be where libraries are looked for.
    readelf -d "$lib/lib$library.so" | grep -E 'R(UN)?PATH' | grep -vq '\[$ORIGIN\]' &&
        fail "lib$library.so looks for libraries elsewhere than beside itself"
done
"$tree/bin/keld" version --json | grep -q "\"$tree/lib.*/libmervane.so" ||
    fail "the installed keld does not use the installed libraries"

echo "== through the CMake package"
cmake -G Ninja -S "$work/sources" -B "$work/by_cmake" -DCMAKE_PREFIX_PATH="$tree" \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$work/by_cmake" >/dev/null
(cd "$work" && KELD_LOG_FILE=$work/cmake.log "$work/by_cmake/host")

echo "== through pkg-config"
export PKG_CONFIG_PATH=$lib/pkgconfig
mkdir -p "$work/by_pc"
# shellcheck disable=SC2046
"$compiler" -std=c++20 $flags -shared -fPIC -o "$work/by_pc/libsibling.so" "$work/sources/sibling.cpp" \
    $(pkg-config --cflags --libs keld_se) -Wl,-rpath,"$lib"
"$compiler" -std=c++20 $flags -o "$work/by_pc/host" "$work/sources/host.cpp" -L"$work/by_pc" -lsibling \
    $(pkg-config --cflags --libs mervane keld_se) -Wl,-rpath,"$work/by_pc:$lib"
(cd "$work" && KELD_LOG_FILE=$work/pc.log "$work/by_pc/host")
[ "$(pkg-config --modversion keld_se)" = "$(sed -n 's/^#define KELD_VERSION "\(.*\)"/\1/p' \
    "$tree/include/keld-server-exits/platform/keld_version.h")" ] || fail "the versions differ"
