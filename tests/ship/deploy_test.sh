#!/usr/bin/env bash
# The steps of docs/deploy.md one by one, over the workbench: the three libraries are put into a server
# process's directory, made known, configured, looked at, upgraded to another version and taken back.
# deploy_test.sh BUILD_DIRECTORY SOURCE_DIRECTORY WORK_DIRECTORY COMPILER [COMPILER_FLAGS]
set -euo pipefail
build=$1 source=$2 work=$3 compiler=$4 flags=${5:-}
rm -rf "$work"
mkdir -p "$work"
cd "$work"
unset KELD_CFG_PATH KELD_LOG_FILE KELD_LOG_LEVEL KELD_LOG_MAX_MB MV_TMP_DIR TMP MERVANE_STORE
export TEMP=$work/temp
export LSAN_OPTIONS=suppressions=$source/tests/support/leaks.supp:print_suppressions=0
mkdir "$TEMP"

fail() {
    echo "$*" >&2
    exit 1
}
# has TEXT FILE MEANING
has() { grep -q -F -- "$1" "$2" || fail "$3: no \"$1\" in $2"; }
hasnt() { ! grep -q -E -- "$1" "$2" || fail "$3: \"$1\" in $2"; }

# What stays at home: the workbench, keld, and a server process in small.
cmake --install "$build" --prefix "$work/home" >/dev/null
lib=$(dirname "$(find "$work/home" -name libkeld_se.so)")
# shellcheck disable=SC2086
"$compiler" -std=c++20 $flags -o process "$source/tests/ship/server/server.cpp" \
    -I"$work/home/include/keld-server-exits" -L"$lib" -lmervane -Wl,-rpath,"$lib"
keld=$work/home/bin/keld

# server_process ARGUMENTS...: the server with the libraries of its own directory.
server_process() { LD_LIBRARY_PATH=$work/server "$work/process" "$work/server/libkeld_se.so" "$@"; }

echo "== the libraries' directory holds nothing but the three"
cmake --install "$build" --prefix "$work/delivered" --component library >/dev/null
mkdir server
cp -P "$(dirname "$(find "$work/delivered" -name libkeld_se.so.10)")"/libkeld_* server/
[ "$(find server -type f | wc -l)" -eq 3 ] || fail "other than three libraries are delivered: $(ls server)"
for library in server/libkeld_*.so*; do
    [ -L "$library" ] && continue
    readelf -d "$library" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p'
done | sort -u >needed
grep -v -E '^lib(keld_|stdc\+\+|gcc_s|m\.|c\.|asan|ubsan)|^ld-linux' needed &&
    fail "the libraries need more than the system's own"
# The development links aren't part of the delivery; a server loads by the full name.
[ -e server/libkeld_se.so ] || ln -s libkeld_se.so.10 server/libkeld_se.so

echo "== a store and a real configuration, tried first"
mkdir run configuration
cp "$source/samples/keld_statusmanager.ini" configuration/
"$keld" init >/dev/null
store=$work/keld.db
"$keld" load "$source/samples/gearbox.json" >/dev/null
KELD_CFG_PATH=$work/configuration "$keld" doctor >doctor.txt || fail "doctor finds: $(cat doctor.txt)"
KELD_CFG_PATH=$work/configuration "$keld" status set 000130/A Frozen --structure --dry-run >dry.txt
has 000131/A dry.txt "the dry run names what it would visit"

echo "== every service that the table names is there under that name"
sed -n 's/^| `\(KELD_[A-Za-z_]*\)` |.*/\1/p' "$source/docs/services.md" | sort -u >services
[ "$(wc -l <services)" -ge 10 ] || fail "the table of services has only $(wc -l <services)"
nm -D --defined-only server/libkeld_se.so | awk '{print $3}' >exported
while read -r service; do
    grep -qx "$service" exported || fail "not exported: $service"
done <services

echo "== the library answers, and the log is where it says"
log=$(server_process "$store" KELD_SrvCall i:1 i:0 s:)
[[ $log == "$TEMP"/keld_*.log ]] || fail "without settings the log should be in TEMP: $log"
[ -f "$log" ] || fail "there is no log at $log"
log=$(MV_TMP_DIR=$work/run server_process "$store" KELD_SrvCall i:1 i:0 s:)
[[ $log == "$work"/run/keld_*.log ]] || fail "MV_TMP_DIR goes before TEMP: $log"
export KELD_LOG_FILE=$work/run/server.log
[ "$(server_process "$store" KELD_SrvCall i:1 i:0 s:)" = "$KELD_LOG_FILE" ] || fail "KELD_LOG_FILE is not used"

echo "== the configuration: the variable, else the current directory"
freeze=(KELD_StatusManager s:Frozen s:ItemRevision)
rm -f run/server.log
(cd run && KELD_CFG_PATH=$work/configuration server_process "$store" "${freeze[@]}" o:000121/A) >/dev/null
"$keld" status show 000121/A | grep -q Frozen || fail "the service didn't set the status"
(cd configuration && server_process "$store" "${freeze[@]}" o:000122/A) >/dev/null
"$keld" status show 000122/A | grep -q Frozen || fail "the current directory's configuration isn't read"

echo "== what to watch: level 2 tells refusals and failed calls, level 3 the order of calls"
has "->KELD_" run/server.log "the default level traces"
rm -f run/server.log
"$keld" checkout 000140/A --comment elsewhere >/dev/null
if KELD_LOG_LEVEL=2 KELD_CFG_PATH=$work/configuration \
    server_process "$store" "${freeze[@]}" o:000140/A >refused.txt; then
    fail "a checked-out object should be refused"
fi
[ "$(cat refused.txt)" = 919405 ] || fail "the refusal's status is $(cat refused.txt)"
has " E " run/server.log "a refusal is an error line"
hasnt '^[-0-9: .]* T ' run/server.log "level 2 has no trace"
"$keld" checkin 000140/A >/dev/null

echo "== upgrade: all three together, in place of kept ones"
mkdir kept next
cp -a server configuration kept/
cp -r "$source"/{CMakeLists.txt,cmake,src,docs,LICENSE,NOTICE,CHANGELOG.md} next/
sed -i 's/^#define KELD_VERSION .*/#define KELD_VERSION "10.9.9.9"/' next/src/platform/keld_version.h
cmake -S next -B next/build -G Ninja -DKELD_WORKBENCH=OFF -DKELD_TESTS=OFF -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="-O0 -g0 $flags" >/dev/null
cmake --build next/build >/dev/null
cmake --install next/build --prefix "$work/upgrade" --component library >/dev/null
rm server/*
cp -P "$(dirname "$(find "$work/upgrade" -name libkeld_se.so.10)")"/libkeld_* server/
[ -e server/libkeld_se.so ] || ln -s libkeld_se.so.10 server/libkeld_se.so
# The report as a client asks for it goes to standard output and to the log.
version() { LD_LIBRARY_PATH=$work/server "$keld" version --json; }
[ "$(version | grep -c '10\.9\.9\.9')" -ge 3 ] || fail "not the new version: $(version)"
KELD_CFG_PATH=$work/configuration server_process "$store" "${freeze[@]}" o:000150/A >/dev/null
"$keld" status show 000150/A | grep -q Frozen || fail "the new version doesn't work on the same store"

echo "== versions that are mixed are seen"
cp -a kept/server/libkeld_basetool.so.10* server/
version | grep -q '10\.9\.9\.9' && version | grep -q "libkeld_basetool.so.$(sed -n \
    's/^#define KELD_VERSION "\(.*\)"/\1/p' "$source/src/platform/keld_version.h")" ||
    fail "the version report doesn't show the mixture: $(version)"

echo "== back: the kept files, nothing else"
rm -r server configuration
cp -a kept/server kept/configuration .
version | grep -q '10\.9\.9\.9' && fail "still the new version"
KELD_CFG_PATH=$work/configuration server_process "$store" "${freeze[@]}" o:000160/A >/dev/null
"$keld" status show 000160/A | grep -q Frozen || fail "the old version doesn't work any more"
"$keld" check >/dev/null || fail "the store isn't whole"
echo "every step went well"
