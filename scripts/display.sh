# Starts an X server with a window manager and takes pictures of it. Sourced after common.sh by
# scripts that show the program's window.
# shellcheck shell=bash

readonly give_up_after=60 # seconds

# until_true COMMAND...: waits until the command succeeds, at most give_up_after seconds.
until_true() {
    local end=$((SECONDS + give_up_after))
    until "$@"; do
        ((SECONDS < end)) || die "Gave up waiting for: $*"
        sleep 0.05
    done
}

window_manager_runs() { xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id'; }

# start_display FOLDER SCREEN: sets DISPLAY and display_server, the server's process id. The empty
# home keeps the window manager's default keys. The children do not inherit the script's lock on
# descriptor 8.
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
# drawn FOLDER: whether the picture has stopped changing.
drawn() {
    capture "$1/first.ppm"
    sleep 0.4
    capture "$1/second.ppm"
    cmp -s "$1/first.ppm" "$1/second.ppm"
}
# save_picture FOLDER FILE: saves the screen without its empty margin.
save_picture() {
    capture "$1/shot.ppm"
    convert "$1/shot.ppm" -trim +repage -strip +dither -colors 256 "PNG8:$2"
}
