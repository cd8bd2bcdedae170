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

# Debian packages for a build. npm fetches the HID library's sources and need not come from
# Debian.
build_packages=(ca-certificates ccache cmake g++ libudev-dev ninja-build pkg-config qtbase5-dev
    qttools5-dev-tools)
command -v npm >/dev/null || build_packages+=(npm)
# For the tests: simulated hidraw nodes, an X server without a screen, a window manager, and a
# tool that presses keys.
# shellcheck disable=SC2034
test_packages=(libumockdev-dev openbox umockdev x11-utils xdotool xvfb)

# For the Windows program: the cross compiler (C++ threads need the variant with POSIX threads),
# tools that build Qt from Debian's source package, and NSIS for the installer.
# shellcheck disable=SC2034
windows_build_packages=("${build_packages[@]}" dpkg-dev g++-mingw-w64-x86-64-posix make nsis perl
    xz-utils)

# For the Debian packages: tools that check them.
# shellcheck disable=SC2034
linux_package_packages=(appstream desktop-file-utils dpkg-dev lintian man-db mandoc)

# ccache keeps compiled objects in the user's cache folder. These settings let all clones share
# them.
export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=true

# need_packages NAME...: installs missing packages as root, otherwise lists them and exits.
need_packages() {
    if ! command -v dpkg-query >/dev/null; then
        say "This is not a Debian system. You need these packages, or the like: $*"
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
        die "Packages are missing. Install them and try again:
    sudo apt-get install --no-install-recommends ${missing[*]}"
    fi
    say "Installing ${missing[*]} ..."
    apt-get update -qq -o APT::Update::Error-Mode=any ||
        die "The package lists could not be fetched. Check the network and /etc/apt."
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
        -o DPkg::Lock::Timeout=600 "${missing[@]}" >/dev/null ||
        die "The packages could not be installed; see above."
}

# lock_windows: keeps other scripts from making or using the Windows package until this one ends.
lock_windows() {
    mkdir -p "$root/build"
    exec 8>"$root/build/windows.lock"
    flock -n 8 || die "Another script is making or using the Windows package. Wait until it is done."
}

# build PRESET [TARGET...]: configures and builds. In CI warnings are errors.
build() {
    local preset=$1 output
    shift
    local options=()
    [[ -n ${CI:-} ]] && options+=(-DVELMO_WERROR=ON)
    output=$(cmake --preset "$preset" "${options[@]}" 2>&1) || die "$output"
    cmake --build --preset "$preset" ${1:+--target "$@"}
}
