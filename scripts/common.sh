# Shared by the scripts of this folder; sourced, not run.
# shellcheck shell=bash

set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

say() { printf '%s\n' "$*"; }
die() {
    printf '%s\n' "$*" >&2
    exit 1
}

# Debian packages that a build needs.  npm fetches the HID library's sources;
# where it came from does not matter, so it is looked for by command.
build_packages=(ca-certificates ccache cmake g++ libudev-dev ninja-build pkg-config qtbase5-dev
    qttools5-dev-tools)
command -v npm >/dev/null || build_packages+=(npm)
# What the tests need besides: false hidraw nodes, an X server without a screen, a window
# manager, and keys pressed in it.
# shellcheck disable=SC2034
test_packages=(libumockdev-dev openbox umockdev x11-utils xdotool xvfb)

# The Windows program: the cross compiler (the variant with POSIX threads, which C++'s
# threads need), what builds Qt from Debian's source package, and the installer's maker.
# shellcheck disable=SC2034
windows_build_packages=("${build_packages[@]}" dpkg-dev g++-mingw-w64-x86-64-posix make nsis perl
    xz-utils)

# The Debian packages: what checks them, besides.
# shellcheck disable=SC2034
linux_package_packages=(appstream desktop-file-utils dpkg-dev lintian man-db mandoc)

# What was compiled once on this machine, from the same text and in whatever folder, is
# not compiled again: ccache keeps it under the user's cache folder.
export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=true

# need_packages NAME...: installs what is missing, or says what is.
need_packages() {
    if ! command -v dpkg-query >/dev/null; then
        say "Not a Debian system. Needed, under whatever name they have here: $*"
        command -v ccache >/dev/null || unset CMAKE_C_COMPILER_LAUNCHER CMAKE_CXX_COMPILER_LAUNCHER
        return 0
    fi
    local missing=() package
    for package in "$@"; do
        [[ $(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null) == installed ]] ||
            missing+=("$package")
    done
    ((${#missing[@]})) || return 0
    if ((EUID != 0)); then
        die "Packages are missing. Install them and run this again:
    sudo apt-get install --no-install-recommends ${missing[*]}"
    fi
    say "Installing ${missing[*]} ..."
    apt-get update -qq -o APT::Update::Error-Mode=any ||
        die "The package lists could not be fetched: check this machine's network and /etc/apt."
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
        -o DPkg::Lock::Timeout=600 "${missing[@]}" >/dev/null ||
        die "Not all packages could be installed; see above."
}

# lock_windows: for the rest of this script nobody else makes or uses the Windows package.
lock_windows() {
    mkdir -p "$root/build"
    exec 8>"$root/build/windows.lock"
    flock -n 8 || die "Another script makes or uses the Windows package; wait for its end."
}

# build PRESET [TARGET...]: configures and builds; warnings are errors in CI.
build() {
    local preset=$1 output
    shift
    local options=()
    [[ -n ${CI:-} ]] && options+=(-DVELMO_WERROR=ON)
    output=$(cmake --preset "$preset" "${options[@]}" 2>&1) || die "$output"
    cmake --build --preset "$preset" ${1:+--target "$@"}
}
