#!/usr/bin/env bash
# Whole-process figures of two-track capture against a private PulseAudio server (nothing of the user's is
# read or written, the real sound server is not touched): `vellmora audio test` records both tracks for
# SECONDS while espeak-ng speech plays without pause into the output and into the microphone (each a null
# sink; the microphone is a null sink's monitor remapped as the default source).
#   - CPU of the recording process (user + system over the wall time, from /usr/bin/time -v);
#   - bytes per hour of two-track speech, from the files kept.
# Usage: bench/capture_run.sh [VELLMORA_BINARY] [SECONDS]    (default build/App/vellmora, 120)
# Goals: under 2% of one core; at most 25 MB an hour.
set -euo pipefail
cd "$(dirname "$0")/.."
binary=${1:-build/App/vellmora}
seconds=${2:-120}
work=$(mktemp -d)
trap 'kill ${players:-} "${server:-0}" 2>/dev/null || true; rm -rf "$work"' EXIT
mkdir -p "$work"/{runtime,home,config,kept}
cat >"$work/default.pa" <<PA
load-module module-native-protocol-unix auth-anonymous=1 socket=$work/native
load-module module-null-sink sink_name=room rate=48000
load-module module-null-sink sink_name=mic rate=48000
load-module module-remap-source master=mic.monitor source_name=voice
set-default-sink room
set-default-source voice
PA
export HOME="$work/home" XDG_RUNTIME_DIR="$work/runtime" XDG_CONFIG_HOME="$work/config" PULSE_SERVER="unix:$work/native"
pulseaudio -n -F "$work/default.pa" --daemonize=no --exit-idle-time=-1 --use-pid-file=no \
    --log-target=file:"$work/pulse.log" &
server=$!
for _ in $(seq 100); do pactl info >/dev/null 2>&1 && break; sleep 0.1; done
espeak-ng -w "$work/a.wav" "The quarterly numbers look better than expected, and the team would like to \
discuss the plan for hiring two more engineers before the summer."
espeak-ng -w "$work/b.wav" "I agree with that, but we should first check the budget with finance and come \
back next week with a proposal that everyone can read."
# Speech without pause on both tracks, for longer than the recording.
( while true; do paplay --device=room "$work/a.wav"; done ) & players="$!"
( while true; do paplay --device=mic "$work/b.wav"; done ) & players="$players $!"
/usr/bin/time -v "$binary" audio test --seconds "$seconds" --keep "$work/kept" >"$work/out.txt" 2>"$work/time.txt"
cat "$work/out.txt"
user=$(awk -F': ' '/User time/ {print $2}' "$work/time.txt")
system=$(awk -F': ' '/System time/ {print $2}' "$work/time.txt")
echo "CPU: user ${user} s + system ${system} s over ${seconds} s of recording:" \
    "$(echo "scale=2; 100 * ($user + $system) / $seconds" | bc)% of one core"
grep -E "Maximum resident|Voluntary context" "$work/time.txt"
