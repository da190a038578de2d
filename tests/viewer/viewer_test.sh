#!/usr/bin/env bash
# Works the viewer as a user does, on an X server without a screen, and looks at what it shows there.
#
#   viewer_test.sh RUN_WITH_WINE VIEWER DRIVER FOLDER
#
# The folder receives the pictures and a screenshot of each step.
set -euo pipefail

emulator=$1 viewer=$2 driver=$3 folder=$4
server= shown= failed= keeping=yes
export WINEPREFIX=$folder-wine

fail() {
    printf 'viewer_test.sh: %s\n' "$*" >&2
    exit 1
}

say() { printf '%4d s: %s\n' "$SECONDS" "$*"; }

end() {
    [ -z "$shown" ] || kill "$shown" 2>/dev/null || true
    [ -z "$server" ] || kill "$server" 2>/dev/null || true
    wait 2>/dev/null || true
}
trap end EXIT

for need in Xvfb:xvfb import:imagemagick convert:imagemagick; do
    command -v "${need%:*}" >/dev/null ||
        fail "the viewer cannot be tested without ${need%:*}: install the package ${need#*:}, as scripts/test.sh does"
done

start_server() {
    local waited
    Xvfb -displayfd 3 -screen 0 ${screen}x24 -nolisten tcp 3>"$folder/display" >"$folder/xvfb.log" 2>&1 &
    server=$!
    for waited in {1..100}; do
        [ ! -s "$folder/display" ] || break
        kill -0 "$server" 2>/dev/null || break
        sleep 0.1
    done
    [ -s "$folder/display" ] || fail "Xvfb does not start: $(tail -n 1 "$folder/xvfb.log")"
    RASTREL_DISPLAY=:$(cat "$folder/display")
    export RASTREL_DISPLAY
}

# try COMMAND [ARGUMENT...]: what the driver says is kept in `answer`. drive: the same, and it has to succeed.
try() {
    "$emulator" "$driver" "$@" >"$folder/answer" 2>"$folder/complaint" </dev/null || return 1
    answer=$(tr -d '\r' <"$folder/answer")
    say "$* ${answer:+-> $answer}"
}
drive() { try "$@" || fail "$*: $(tr -d '\r' <"$folder/complaint" | tail -n 2 | tr '\n' ' ')"; }

screen=1280x900
# shoot NAME: the screen's pixels, three bytes each; keep NAME: the same as a file to look at.
shoot() { import -display "$RASTREL_DISPLAY" -window root -depth 8 "rgb:$folder/$1.rgb"; }
keep() { convert -size "$screen" -depth 8 "rgb:$folder/$1.rgb" -quality 10 "$folder/$1.png" && rm "$folder/$1.rgb"; }

# near SHOT X Y R G B: whether that place of a screenshot has about that colour.
near() {
    local found wanted i
    found=($(od -An -tu1 -j $((($3 * ${screen%x*} + $2) * 3)) -N 3 "$folder/$1.rgb"))
    wanted=("$4" "$5" "$6")
    for i in 0 1 2; do
        [ $((found[i] - wanted[i])) -le 25 ] && [ $((wanted[i] - found[i])) -le 25 ] || {
            failed="at $2, $3 is ${found[*]} instead of ${wanted[*]}"
            return 1
        }
    done
}

# await_picture SHOT WIDTH HEIGHT X Y R G B...: until a picture of that shape fills the window and has those colours at
# those places, given in per cent of it.
await_picture() {
    local shot=$1 until=$((SECONDS + 15)) place rest good
    drive place "$2" "$3"
    place=($answer)
    shift 3
    while :; do
        shoot "$shot"
        good=yes rest=("$@")
        while [ ${#rest[@]} -gt 0 ]; do
            near "$shot" $((place[0] + (place[2] - place[0]) * rest[0] / 100)) \
                $((place[1] + (place[3] - place[1]) * rest[1] / 100)) "${rest[@]:2:3}" || good=no
            rest=("${rest[@]:5}")
        done
        [ $good = no ] || break
        [ $SECONDS -lt $until ] || { keep "$shot" && fail "$shot.png does not show the picture: $failed"; }
    done
    say "the screen is right: $shot"
    [ "$keeping" = no ] || keep "$shot"
}

quarters=(25 25 200 40 40 75 25 40 180 60 25 75 40 60 200 75 75 220 200 50)
dim=(16 50 100 100 100 50 50 125 125 125 83 50 150 150 150)
# Close to the corners and to the middle: nothing is cut off, shifted or turned.
exactly=(2 2 200 40 40 98 2 40 180 60 2 98 40 60 200 98 98 220 200 50 47 47 200 40 40 53 53 220 200 50)

rm -rf "$folder"
mkdir -p "$folder"
start_server
drive make "$folder"

# A file named on the command line.
"$emulator" "$viewer" "$folder/photo.jpg" >"$folder/viewer.log" 2>&1 </dev/null &
shown=$!
drive title "photo.jpg - 1200 x 800, CM_ARGB8, "
drive size 800 600
await_picture opened 1200 800 "${quarters[@]}" "${exactly[@]}"
drive size 500 700
await_picture tall 1200 800 "${quarters[@]}" "${exactly[@]}"

# A long load: progress is to be seen, the window answers, Esc ends it at once; the photo stays.
drive size 900 600
for attempt in 1 2 3 4 5; do
    try drop-and-freeze "$folder/large.tif" && break
    [ "$attempt" != 5 ] || fail "a load of 384 MB cannot be met under way: $(<"$folder/complaint")"
    drive drop "$folder/photo.jpg" # it was over too soon
    drive title "photo.jpg - "
done
drive answer
keeping=no
await_picture progress 1200 800 25 25 200 40 40 75 25 40 180 60
keeping=yes
drive place 1200 800
corner=(${answer#* * * * })
near progress $((corner[0] - 900 + 26)) $((corner[1] - 32)) 240 176 64 || fail "no progress is shown: $failed"
near progress $((corner[0] - 30)) $((corner[1] - 32)) 20 22 24 || fail "the progress is shown as full: $failed"
keep progress
drive key esc
drive title "reading large.tif cancelled - "
drive thaw
drive answer
await_picture cancelled 1200 800 "${quarters[@]}" "${exactly[@]}"

# Zoomed to a rectangle around the middle, moved, and back to all of it.
drive drag 0.4 0.4 0.6 0.6
drive title ", columns "
zoomed=${answer#*, columns }
read -r left _ right _ top _ bottom _ <<<"${zoomed//,/}"
[ "$left" -gt 400 ] && [ "$right" -lt 800 ] && [ "$top" -gt 200 ] && [ "$bottom" -lt 600 ] || fail "zoomed to $zoomed"
await_picture zoomed $((right - left + 1)) $((bottom - top + 1)) "${quarters[@]}"
drive drag 0.8 0.8 0.3 0.3 right
await_picture moved $((right - left + 1)) $((bottom - top + 1)) 25 25 220 200 50 75 75 220 200 50
drive key home
await_picture whole 1200 800 "${quarters[@]}" "${exactly[@]}"

# Another file through the dialog, and its exposure.
drive dialog "$folder/dim.tif"
drive title "dim.tif - 600 x 900, CM_RGB8, "
await_picture dim 600 900 "${dim[@]}"
drive key E
drive title ", exposed - "
await_picture exposed 600 900 16 50 0 0 0 50 50 127 127 127 83 50 255 255 255
drive key E
await_picture plain 600 900 "${dim[@]}"

# A file whose rows are to be shown from the last to the first.
drive drop "$folder/turned.tmp"
drive title "turned.tmp - 300 x 200, CM_RGB8, "
await_picture turned 300 200 25 25 40 60 200 75 25 220 200 50 25 75 200 40 40 75 75 40 180 60

# Smooth when the window has its size, fast (columns are left out) while its frame is dragged.
drive drop "$folder/fine.tif"
drive title "fine.tif - 1600 x 1000, CM_RGB8, "
drive size 800 500
await_picture smooth 1600 1000 50 50 127 127 127 20 80 127 127 127
drive hold-frame
drive size 400 250
await_picture fast 1600 1000 50 50 0 0 0 20 80 0 0 0
drive let-go
await_picture smoothed 1600 1000 50 50 127 127 127 20 80 127 127 127

# What cannot be read is said; the window closes with a load under way.
drive drop "$folder/display"
drive title "display is no image file of a known format, or is damaged - "
drive drop "$folder/large.tif"
drive close
wait "$shown" || fail "the viewer ended with $?"
shown=
say "done"
