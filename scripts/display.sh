# An X server of its own with a window manager, and pictures of what is on it; sourced
# after common.sh by scripts that start the program on a screen.
# shellcheck shell=bash

readonly give_up_after=60 # seconds

# until_true COMMAND...: waits for the command's success, but not for ever.
until_true() {
    local end=$((SECONDS + give_up_after))
    until "$@"; do
        ((SECONDS < end)) || die "Waited in vain for: $*"
        sleep 0.05
    done
}

window_manager_runs() { xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id'; }

# start_display FOLDER SCREEN: sets DISPLAY; the server's process id is in display_server.
# A home without settings, so that the window manager's own keys are in force.  Nobody
# inherits a lock that the script holds (wine.sh).
start_display() {
    local folder=$1
    rm -f "$folder/display"
    Xvfb -displayfd 3 -noreset -nolisten tcp -screen 0 "$2" 3>"$folder/display" 2>"$folder/server.log" 8>&- &
    display_server=$!
    until_true eval '[[ -s $folder/display ]] || ! kill -0 $display_server 2>/dev/null'
    [[ -s $folder/display ]] || die "The X server ended at once: $(tail -n 3 "$folder/server.log")"
    DISPLAY=:$(cat "$folder/display")
    export DISPLAY
    HOME=$folder XDG_CONFIG_HOME='' openbox --sm-disable >"$folder/openbox.log" 2>&1 8>&- &
    until_true window_manager_runs
}

active() { [[ $(xdotool getactivewindow getwindowname 2>/dev/null) == "$1" ]]; }
capture() { import -window root "$1"; }
# drawn FOLDER: nothing moves any more.
drawn() {
    capture "$1/first.ppm"
    sleep 0.4
    capture "$1/second.ppm"
    cmp -s "$1/first.ppm" "$1/second.ppm"
}
# save_picture FOLDER FILE: of everything on the screen but its empty margin.
save_picture() {
    capture "$1/shot.ppm"
    convert "$1/shot.ppm" -trim +repage -strip +dither -colors 256 "PNG8:$2"
}
