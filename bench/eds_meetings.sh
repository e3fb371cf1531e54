#!/usr/bin/env bash
# Whole-process time of `vellmora meetings` over the desktop's calendars (Evolution Data Server), in private
# folders and on a private session bus (nothing of the user's is read or written).
#   - 10,000 events in three local calendars (about 110 a day over three months, a tenth of them weekly
#     series), written in EDS's own on-disk layout before the services start;
#   - the same three calendars read as .ics files by the iCalendar store (`--no-desktop-calendars
#     --calendar`), so the difference is what EDS itself costs;
#   - a cold run (the calendar factory starts its backend and loads the files) and warm runs;
#   - the host's wake-ups while idle with EDS connected (IDLE_SECONDS, default 60).
# Usage: bench/eds_meetings.sh [VELLMORA_BINARY] [RUNS]
# Goals: a warm run under 300 ms; the host connected to EDS as quiet while idle as without it.
set -euo pipefail
cd "$(dirname "$0")/.."
binary=$(realpath "${1:-build/App/vellmora}")
runs=${2:-10}
work=$(mktemp -d)
cleanup() {
    [[ -n "${bus_pid:-}" ]] && kill "$bus_pid" 2>/dev/null || true
    for p in ${service_pids:-}; do kill "$p" 2>/dev/null || true; done
    rm -rf "$work"
}
trap cleanup EXIT
mkdir -p "$work"/{home,data,config,cache,runtime,vellmora}
chmod 700 "$work/runtime"
export HOME="$work/home" XDG_DATA_HOME="$work/data" XDG_CONFIG_HOME="$work/config" XDG_CACHE_HOME="$work/cache" \
    XDG_RUNTIME_DIR="$work/runtime" GSETTINGS_BACKEND=memory

python3 - "$work" <<'PY'
import os, sys, random
work = sys.argv[1]
random.seed(7)
start_day = 0  # 2026-11-01
links = ["https://zoom.us/j/{:010d}", "https://meet.google.com/abc-{:04d}-xyz", "", ""]
for n, name in enumerate(["Work", "Team", "Home"]):
    uid = f"bench-{name.lower()}"
    src = os.path.join(work, "config/evolution/sources")
    os.makedirs(src, exist_ok=True)
    with open(os.path.join(src, uid + ".source"), "w") as f:
        f.write(f"[Data Source]\nDisplayName={name}\nEnabled=true\nParent=local-stub\n\n"
                f"[Calendar]\nBackendName=local\nColor=#3465a4\nSelected=true\n")
    folder = os.path.join(work, "data/evolution/calendar", uid)
    os.makedirs(folder, exist_ok=True)
    ics = os.path.join(work, "ics", name + ".ics")
    os.makedirs(os.path.dirname(ics), exist_ok=True)
    lines = ["BEGIN:VCALENDAR", "VERSION:2.0", "PRODID:-//bench//EN"]
    count = 3334 if n < 2 else 3332
    for i in range(count):
        day = random.randrange(0, 92)
        hour = random.randrange(7, 19)
        minute = random.choice([0, 15, 30, 45])
        month, d = (11, day + 1) if day < 30 else ((12, day - 29) if day < 61 else (1, day - 60))
        year = 2026 if month != 1 else 2027
        dt = f"{year}{month:02d}{d:02d}T{hour:02d}{minute:02d}00Z"
        lines += ["BEGIN:VEVENT", f"UID:{uid}-{i}", "DTSTAMP:20261101T000000Z", f"DTSTART:{dt}",
                  "DURATION:PT30M", f"SUMMARY:Meeting {i} of {name}"]
        link = random.choice(links)
        if link:
            lines.append("LOCATION:" + link.format(i))
        else:
            lines.append("DESCRIPTION:Agenda\\nItem one\\nItem two")
        if i % 10 == 0:
            lines.append("RRULE:FREQ=WEEKLY;COUNT=12")
        lines += ["ATTENDEE;CN=Jane;PARTSTAT=ACCEPTED:mailto:jane@example.com",
                  "ATTENDEE;CN=Joe;PARTSTAT=NEEDS-ACTION:mailto:joe@example.com", "END:VEVENT"]
    lines.append("END:VCALENDAR")
    text = "\r\n".join(lines) + "\r\n"
    open(os.path.join(folder, "calendar.ics"), "w").write(text)
    open(ics, "w").write(text)
PY

bus_address=$(dbus-daemon --session --print-address=1 --print-pid=3 --fork 3>"$work/bus.pid" | head -1)
bus_pid=$(cat "$work/bus.pid")
export DBUS_SESSION_BUS_ADDRESS="$bus_address"
/usr/libexec/evolution-source-registry >"$work/registry.log" 2>&1 &
service_pids="$!"
/usr/libexec/evolution-calendar-factory >"$work/factory.log" 2>&1 &
service_pids="$service_pids $!"
gdbus wait --session --timeout 30 org.gnome.evolution.dataserver.Sources5
gdbus wait --session --timeout 30 org.gnome.evolution.dataserver.Calendar8

now=2026-12-10T08:00:00Z
common=(--config-dir "$work/vellmora" --cache-dir "$work/vellmora/cache" meetings --now "$now" --time-zone UTC)
measure() { # label, command...
    local label=$1; shift
    local best=999999 total=0 t
    for _ in $(seq "$runs"); do
        /usr/bin/time -f '%e %M' -o "$work/time" "$@" >/dev/null 2>&1
        t=$(tail -1 "$work/time")
        local ms=$(awk -v s="${t% *}" 'BEGIN{printf "%d", s*1000}')
        total=$((total + ms)); ((ms < best)) && best=$ms
        rss=${t#* }
    done
    printf '%-44s best %4d ms  mean %4d ms  max RSS %6d kB\n' "$label" "$best" $((total / runs)) "$rss"
}
cold_start=$(date +%s%N)
count=$("$binary" "${common[@]}" | wc -l)
echo "first run, the factory loading the three calendars: $(( ($(date +%s%N) - cold_start) / 1000000 )) ms"
echo "meetings in the window: $count (10,000 events in 3 calendars)"
measure "meetings over EDS (warm)" "$binary" "${common[@]}"
measure "meetings over the same .ics files, no EDS" "$binary" "${common[@]}" --no-desktop-calendars \
    --calendar "$work/ics/Work.ics" --calendar "$work/ics/Team.ics" --calendar "$work/ics/Home.ics"
measure "calendars (catalogue only, EDS)" "$binary" --config-dir "$work/vellmora" calendars
# On a desktop the calendars are already open (GNOME Shell's calendar server, the host itself keep them),
# so the factory's backends hold the events in memory: a running host keeps them open here.
mkdir -p "$work/host"
VELLMORA_CONFIG_HOME="$work/host" VELLMORA_DATA_HOME="$work/host" VELLMORA_CACHE_HOME="$work/host" \
    VELLMORA_STATE_HOME="$work/host" "$binary" run --terminal-only --no-input >"$work/host.log" 2>&1 &
host_pid=$!
service_pids="$service_pids $host_pid"
"$binary" "${common[@]}" >/dev/null 2>&1 # waits for nothing but makes sure the backends answered once
measure "meetings over EDS, calendars kept open" "$binary" "${common[@]}"

# Idle wake-ups of that host, connected to EDS: context switches of all its threads over an idle spell. EDS
# pushes changes over D-Bus, so nothing should wake the host beyond the planner's timer (compare with
# bench/host_run.sh, which runs the host without a session bus).
idle_seconds=${IDLE_SECONDS:-60}
switches() { cat /proc/"$host_pid"/task/*/status | awk '/_ctxt_switches/ {n += $2} END {print n}'; }
sleep 3
before=$(switches)
sleep "$idle_seconds"
after=$(switches)
echo "host connected to EDS: $((after - before)) context switches in ${idle_seconds} s idle," \
    "$(ls /proc/"$host_pid"/task | wc -l) threads, RSS $(awk '/VmRSS/ {print $2, $3}' /proc/"$host_pid"/status)"
