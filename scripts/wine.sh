# A wine prefix that a script makes for itself and throws away.  Sourced after common.sh and
# display.sh.
# shellcheck shell=bash

# shellcheck disable=SC2034
wine_packages=(fonts-wine fonts-wqy-microhei imagemagick openbox unzip wine wine64 x11-utils xdotool xvfb)
need_packages "${build_packages[@]}" "${test_packages[@]}" "${wine_packages[@]}"
# The caller may have a prefix.  It must not be used here.
unset WINEPREFIX

[[ -e $root/build/windows/CMakeCache.txt ]] || die "There is no Windows build: run scripts/build-windows."
lock_windows

readonly windows_build=$root/build/windows
zip=("$root"/dist/Velmo_KVX2_DFU-*-windows-x86_64.zip)
[[ -e ${zip[0]} && ${#zip[@]} == 1 ]] ||
    die "dist/ does not hold exactly one Windows package: remove dist/ and run scripts/build-windows."
setup=${zip[0]%.zip}-setup.exe
[[ -e $setup ]] || die "${setup#"$root"/} is missing: run scripts/build-windows."
# Unpacks the package like a user.
rm -rf "$root/build/windows-package"
unzip -q "${zip[0]}" -d "$root/build/windows-package"
readonly windows_program=$root/build/windows-package/$(basename "${zip[0]}" .zip)
export VELMO_WINDOWS_PROGRAM=$windows_program/Velmo_KVX2_DFU.exe
# "${simulator[@]}" PROGRAM ARGUMENT...: runs it with microphones as VELMO_SIM says.
simulator=(wine "$windows_build/simulator/windows/velmo-sim-wine.exe")

# start_wine FOLDER: makes a new prefix there. DISPLAY must be set. Sets VELMO_WINDOWS_RESULT to
# the path of the updater's result file.
start_wine() {
    # Without "-all", Debian's wine prints a hint about 32 bits.
    export WINEPREFIX=$1 WINEDEBUG=${WINEDEBUG:--all,err+all} WINEDLLOVERRIDES="mscoree,mshtml="
    # A run that was killed has left its server running.
    wineserver -k 2>/dev/null || true
    rm -rf "$WINEPREFIX"
    mkdir -p "$WINEPREFIX/bin"
    # Linux puts the heap of wine's loader at a random address. Now and then that is where wine
    # must map a page (0x7ffe0000), and then the program ends at once with code 1. A container
    # may not allow a fixed address.
    if setarch --addr-no-randomize true 2>/dev/null; then
        printf '#!/bin/sh\nexec setarch --addr-no-randomize %s "$@"\n' "$(command -v wine)" >"$WINEPREFIX/bin/wine"
        chmod +x "$WINEPREFIX/bin/wine"
        # winepath starts this one.
        ln -s wine "$WINEPREFIX/bin/wine-stable"
        PATH=$WINEPREFIX/bin:$PATH
    fi
    cc -Wall -Wextra -Werror -shared -fPIC -o "$WINEPREFIX/late_kill.so" \
        "$root/simulator/windows/late_kill.c"
    # The server keeps the prefix running between programs. It must not inherit a pipe of
    # ours, because the pipe's reader would wait for it to end. The preloaded path is relative,
    # because a blank would end it.
    (cd "$WINEPREFIX" && LD_PRELOAD=./late_kill.so exec wineserver -p </dev/null >server.log 2>&1 8>&-)
    [[ ! -s $WINEPREFIX/server.log ]] || die "wine's server did not start: $(<"$WINEPREFIX/server.log")"
    # The first run also starts the processes that stay, like the driver's.
    timeout -k 5 120 "${simulator[@]}" 'C:\windows\system32\cmd.exe' /c rem </dev/null >"$WINEPREFIX/start.log" 2>&1 8>&- ||
        die "wine could not make a prefix with a simulated bus in build/: $(<"$WINEPREFIX/start.log")"
    # Tahoma is the font of windows and boxes.
    cp /usr/share/wine/fonts/*.ttf "$WINEPREFIX/drive_c/windows/Fonts/"
    export VELMO_WINDOWS_RESULT=$WINEPREFIX/drive_c/users/${USER:-$(id -un)}/AppData/Roaming/CorvoUpgrade/Firmware_bin.txt
}

end_wine() {
    [[ -n ${WINEPREFIX:-} ]] || return 0
    wineserver -k 2>/dev/null || true
    timeout 30 wineserver -w || true
}
