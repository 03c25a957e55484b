# Shared by the scripts beside it: where the tree is, what it needs, how it is built.
# shellcheck shell=bash
set -euo pipefail
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$ROOT"
JOBS=$(nproc)

# As the presets have it, for builds without one: another clone's objects serve here as well, since what the compiler is
# told of the tree's place is left out of the comparison.
export CCACHE_BASEDIR=$ROOT CCACHE_NOHASHDIR=1

say() { printf '==> %s\n' "$*"; }
die() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# Installs the Debian packages that the given lists name and the machine lacks; does nothing when all are there.
install_packages() {
    local wanted missing=() package as_root=()
    wanted=$(cat "$@" | grep -v '^#')
    command -v dpkg-query >/dev/null || die "no dpkg here: install what $* name by hand, then run this again"
    for package in $wanted; do
        dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    say "installing ${missing[*]}"
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || die "these packages are missing and there is no sudo; as root: apt-get install ${missing[*]}"
        as_root=(sudo)
    fi
    "${as_root[@]}" apt-get -o DPkg::Lock::Timeout=300 update -qq || say "the package lists could not be brought up to date; trying with those at hand"
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get -o DPkg::Lock::Timeout=300 install -y -qq --no-install-recommends "${missing[@]}" >/dev/null ||
        die "could not install packages; try: apt-get install ${missing[*]}"
}

# build PRESET [TARGET...]: configures and builds, quietly unless it fails.
build() {
    local preset=$1
    shift
    say "building ($preset)"
    run_quietly "build/$preset-configure.log" cmake --preset "$preset"
    run_quietly "build/$preset-build.log" cmake --build --preset "$preset" -j "$JOBS" ${1:+--target "$@"}
}

# run_quietly LOG COMMAND...: shows the command's output only when it fails.
run_quietly() {
    local log=$1
    shift
    mkdir -p "$(dirname "$log")"
    "$@" >"$log" 2>&1 || {
        cat "$log" >&2
        die "failed: $* (output above and in $log)"
    }
}
