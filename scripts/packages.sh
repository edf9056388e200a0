# Sourced by the other scripts: what a job needs from the system.

PACKAGES_BUILD="g++ cmake ninja-build libsqlite3-dev nlohmann-json3-dev libcli11-dev libcsv-dev libpq-dev"
PACKAGES_TEST="lld libgtest-dev libgmock-dev binutils pkg-config groff-base python3 postgresql"
PACKAGES_BENCH="libspdlog-dev postgresql"
PACKAGES_FUZZ="clang libclang-rt-dev"
PACKAGES_WINDOWS="g++ g++-mingw-w64-x86-64-posix cmake ninja-build libgtest-dev nlohmann-json3-dev libcli11-dev zip"
PACKAGES_WINE="wine wine64 lld"
PACKAGES_PACKAGE="dpkg-dev file"
PACKAGES_COVERAGE="gcovr python3"
PACKAGES_LAYOUT="clang-format git"
PACKAGES_MUTATE="python3"
PACKAGES_LINT="$PACKAGES_LAYOUT clang-tidy"

# Install missing Debian packages: as root directly, else through sudo. Without either, say what an
# administrator must run, and stop with 3.
need_packages() {
    local missing=() package
    for package in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
            missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    local run=()
    if [ "$(id -u)" -ne 0 ]; then
        if command -v sudo >/dev/null 2>&1; then
            run=(sudo)
        else
            echo "Packages are missing. An administrator must run:" >&2
            echo "    apt-get update && apt-get install -y --no-install-recommends ${missing[*]}" >&2
            exit 3
        fi
    fi
    echo "Installing: ${missing[*]}" >&2
    # Packages may be available even if the index can't be refreshed.
    "${run[@]}" apt-get update -qq >&2 || true
    # A database server makes and starts a cluster when it is installed, by this program. Tests start
    # one of their own.
    local instead failed=0
    instead=$(mktemp -d)
    chmod 755 "$instead"
    ln -s /bin/true "$instead/pg_createcluster"
    "${run[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends \
        -o DPkg::Path="$instead:/usr/sbin:/usr/bin:/sbin:/bin" "${missing[@]}" >/dev/null || failed=$?
    rm -rf "$instead"
    return "$failed"
}

# Configure a preset unless that is up to date, and build the targets (all without arguments).
build_preset() {
    local preset=$1
    shift
    [ "build/$preset/build.ninja" -nt CMakePresets.json ] || cmake --preset "$preset" >/dev/null
    if [ $# -gt 0 ]; then
        cmake --build "build/$preset" --target "$@" >&2
    else
        cmake --build "build/$preset" >&2
    fi
}

# The share that this commit takes of so many; commits in a row take different ones.
share_of_commit() {
    local commits
    commits=$(git rev-list --count --first-parent HEAD 2>/dev/null || echo 0)
    echo "$((commits % $1 + 1))/$1"
}
