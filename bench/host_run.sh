#!/usr/bin/env bash
# Whole-process figures of `vellmora run` on a large calendar, in a private set of folders (nothing of the
# user's is read or written):
#   - start-up: from exec to the first planning pass (calendar read, menu ready), `--quit-when-ready`;
#   - resident memory while idle, read from /proc after the start-up settled;
#   - wake-ups while idle: context switches of all its threads over an idle minute (the planner's timer is
#     the only expected one).
# Usage: bench/host_run.sh [VELLMORA_BINARY] [DATA_DIR]
#   DATA_DIR: a folder of .ics files (or one calendar folder) to read; default: a generated two-year calendar
#   of 10,000 events (bench/calendar_bench --write-ics).
# Goals: start-up under 200 ms with 10,000 events; idle RSS under 30 MB; no wake-ups while idle beyond the
# planner's timer.
set -euo pipefail
cd "$(dirname "$0")/.."
binary=${1:-build/App/vellmora}
data=${2:-}
idle_seconds=${IDLE_SECONDS:-60}
work=$(mktemp -d)
trap 'kill "${pid:-0}" 2>/dev/null || true; rm -rf "$work"' EXIT
mkdir -p "$work"/{config,data,cache,state,runtime,home}
if [[ -z "$data" ]]; then
    generator=build-bench/bench/calendar_bench
    [[ -x "$generator" ]] || { echo "build the benchmarks first: make bench (or pass DATA_DIR)" >&2; exit 2; }
    mkdir -p "$work/calendar"
    "$generator" --write-ics "$work/calendar/work.ics" >/dev/null
    data="$work/calendar"
fi
printf '{"calendar.sources": ["%s"], "calendar.remindersEnabled": true}\n' "$data" >"$work/config/defaults.json"
export VELLMORA_CONFIG_HOME="$work/config" VELLMORA_DATA_HOME="$work/data" VELLMORA_CACHE_HOME="$work/cache" \
    VELLMORA_STATE_HOME="$work/state" XDG_RUNTIME_DIR="$work/runtime" HOME="$work/home"
unset DBUS_SESSION_BUS_ADDRESS DISPLAY
run=("$binary" run --terminal-only --no-input)

echo "== start-up to a ready menu ($(find "$data" -name '*.ics' | wc -l) .ics file(s) in $data)"
if command -v hyperfine >/dev/null; then
    hyperfine --warmup 2 --runs 10 "${run[*]} --quit-when-ready >/dev/null"
else
    "${run[@]}" --quit-when-ready >/dev/null # warm the page cache
    for _ in 1 2 3 4 5; do
        /usr/bin/time -f "%e s elapsed, %M KB max RSS" "${run[@]}" --quit-when-ready >/dev/null
    done
fi

echo "== idle"
"${run[@]}" >/dev/null 2>&1 &
pid=$!
sleep 3
switches() { cat /proc/"$pid"/task/*/status | awk '/_ctxt_switches/ {n += $2} END {print n}'; }
before=$(switches)
sleep "$idle_seconds"
after=$(switches)
echo "resident memory: $(awk '/VmRSS/ {print $2, $3}' /proc/"$pid"/status)"
echo "threads: $(ls /proc/"$pid"/task | wc -l)"
echo "context switches in ${idle_seconds} s idle: $((after - before))"
kill -TERM "$pid"
wait "$pid"
