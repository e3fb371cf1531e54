#!/usr/bin/env bash
# Installs the build into a fresh DESTDIR (prefix /opt/vellmora-test: any prefix must work) and checks what a
# user meets there: the installed program and helper with the build's version, a desktop entry and metainfo
# the desktop's validators accept, the icon, man page, completions and user unit, `mcp connect` naming the
# installed helper, and `autostart on/off` writing and removing exactly one entry.
# Usage: [INSTALL_TEST_ROOT=DIR] InstallTests.sh BUILD_DIR VERSION
set -euo pipefail
build=$(cd "$1" && pwd)
version=$2

# Inside the build folder by default; INSTALL_TEST_ROOT=/tmp checks how a Vellmora in a temporary folder
# behaves.
root=$(mktemp -d "${INSTALL_TEST_ROOT:-$build}/install-test.XXXXXX")
trap 'rm -rf "$root"' EXIT
prefix=/opt/vellmora-test
inst="$root/dest$prefix"
failures=0
fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}
expect_eq() { # what, expected, actual
  [ "$2" = "$3" ] || fail "$1: expected [$2], got [$3]"
}

DESTDIR="$root/dest" cmake --install "$build" --prefix "$prefix" >/dev/null

# Nothing here may touch the real home folder.
mkdir -p "$root/home/share/applications" "$root/home/config" "$root/runtime"
chmod 700 "$root/runtime"
export HOME="$root/home" XDG_CONFIG_HOME="$root/home/config" XDG_DATA_HOME="$root/home/share"
export XDG_CACHE_HOME="$root/home/cache" XDG_STATE_HOME="$root/home/state" XDG_RUNTIME_DIR="$root/runtime"
export XDG_DATA_DIRS="$root/none"
# In the sanitizer build, leaks are the unit tests' business; here only what the programs say counts.
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=0}
unset VELLMORA_MCP_HELPER VELLMORA_CONFIG_HOME VELLMORA_DATA_HOME VELLMORA_CACHE_HOME VELLMORA_STATE_HOME

echo "== files"
for f in bin/vellmora libexec/vellmora/vellmora-mcp share/applications/dev.tessadine.vellmora.desktop \
  share/metainfo/dev.tessadine.vellmora.metainfo.xml share/icons/hicolor/scalable/apps/dev.tessadine.vellmora.svg \
  share/man/man1/vellmora.1.gz share/bash-completion/completions/vellmora share/zsh/site-functions/_vellmora \
  lib/systemd/user/vellmora.service; do
  [ -f "$inst/$f" ] || fail "$f is not installed"
done
for size in 16 24 32 48 64 128 256 512; do
  png="$inst/share/icons/hicolor/${size}x${size}/apps/dev.tessadine.vellmora.png"
  [ -f "$png" ] || fail "no ${size}px icon"
done
[ -x "$inst/bin/vellmora" ] && [ -x "$inst/libexec/vellmora/vellmora-mcp" ] || fail "programs not executable"
# The windowed program and the desktop calendars' module, when the build has them (Qt, EDS).
[ ! -e "$build/App/vellmora-windows" ] || [ -x "$inst/libexec/vellmora/vellmora-windows" ] ||
  fail "vellmora-windows is not installed"
[ ! -e "$build/App/vellmora-eds.so" ] || [ -f "$inst/libexec/vellmora/vellmora-eds.so" ] ||
  fail "vellmora-eds.so is not installed"

echo "== one version everywhere"
expect_eq "vellmora --version" "vellmora $version" "$("$inst/bin/vellmora" --version)"
expect_eq "vellmora-mcp --version" "vellmora-mcp $version" "$("$inst/libexec/vellmora/vellmora-mcp" --version)"
grep -q "<release version=\"$version\"" "$inst/share/metainfo/dev.tessadine.vellmora.metainfo.xml" ||
  fail "the metainfo's release is not $version"

echo "== desktop entry, metainfo, unit, man page"
desktop-file-validate "$inst/share/applications/dev.tessadine.vellmora.desktop" || fail "desktop-file-validate"
grep -qx "Exec=$prefix/bin/vellmora run --no-input" "$inst/share/applications/dev.tessadine.vellmora.desktop" ||
  fail "the desktop entry does not start the installed tray host"
appstreamcli validate --no-net "$inst/share/metainfo/dev.tessadine.vellmora.metainfo.xml" >"$root/as.log" 2>&1 ||
  { cat "$root/as.log" >&2; fail "appstreamcli validate"; }
grep -qx "ExecStart=$prefix/bin/vellmora run --no-input" "$inst/lib/systemd/user/vellmora.service" ||
  fail "the user unit does not start the installed tray host"
man_page=$(gzip -dc "$inst/share/man/man1/vellmora.1.gz")
for command in $("$inst/bin/vellmora" --help | awk 'tolower($0) ~ /^subcommands:/ { s = 1; next }
    s && /^  [a-z]/ { print $1; next } s && /^[^ ]/ { s = 0 }'); do
  grep -qx ".SS $command" <<<"$man_page" || fail "the man page lacks the command $command"
done
grep -q '^\.TH VELLMORA 1 .*'"$version" <<<"$man_page" || fail "the man page's title lacks the version"

echo "== mcp connect"
printf '[Desktop Entry]\nType=Application\nName=Cursor\nExec=cursor\n' >"$HOME/share/applications/cursor.desktop"
installed_helper="$inst/libexec/vellmora/vellmora-mcp"
if [ "$(cd "$inst" && pwd -P)" != "$inst" ]; then
  inst_real=$(cd "$inst" && pwd -P)
  installed_helper="$inst_real/libexec/vellmora/vellmora-mcp"
fi
case "$installed_helper" in
/tmp/* | /var/tmp/* | /dev/shm/*) temporary=1 ;;
*) temporary=0 ;;
esac
set +e
out=$("$inst/bin/vellmora" mcp connect cursor --yes 2>"$root/err")
status=$?
set -e
if [ "$temporary" = 1 ]; then
  # A build under /tmp installs under /tmp too: that Vellmora must refuse like any temporary copy.
  expect_eq "connect from a temporary folder: status" 1 "$status"
  expect_eq "connect from a temporary folder" "vellmora: Move Vellmora to Applications first, then connect." \
    "$(cat "$root/err")"
else
  expect_eq "connect: status" 0 "$status"
  [[ $out == *"Connected. Restart Cursor to use Vellmora." ]] || fail "connect said [$out] [$(cat "$root/err")]"
  grep -qF "\"command\": \"$installed_helper\"" "$HOME/.cursor/mcp.json" ||
    fail "Cursor's settings do not name the installed helper: $(cat "$HOME/.cursor/mcp.json" 2>/dev/null)"
fi
set +e
"$build/App/vellmora" mcp connect cursor --yes >/dev/null 2>"$root/err"
status=$?
set -e
expect_eq "connect from the build folder: status" 1 "$status"
expect_eq "connect from the build folder" "vellmora: Move Vellmora to Applications first, then connect." \
  "$(cat "$root/err")"

echo "== autostart"
entries() { find "$XDG_CONFIG_HOME/autostart" -type f 2>/dev/null | sort; }
set +e
status_text=$("$inst/bin/vellmora" autostart status)
status=$?
set -e
expect_eq "status before" "off/1" "$status_text/$status"
if [ "$temporary" = 1 ]; then
  # An entry pointing into a temporary folder would break: a Vellmora there refuses.
  set +e
  "$inst/bin/vellmora" autostart on >/dev/null 2>"$root/err"
  status=$?
  set -e
  expect_eq "autostart from a temporary folder: status" 1 "$status"
  [[ $(cat "$root/err") == *"install Vellmora first"* ]] || fail "autostart from a temporary folder said $(cat "$root/err")"
  expect_eq "entries after a refusal" "" "$(entries)"
else
"$inst/bin/vellmora" autostart on >/dev/null
"$inst/bin/vellmora" autostart on >/dev/null
expect_eq "entries after on" "$XDG_CONFIG_HOME/autostart/dev.tessadine.vellmora.desktop" "$(entries)"
desktop-file-validate "$XDG_CONFIG_HOME/autostart/dev.tessadine.vellmora.desktop" || fail "autostart entry invalid"
grep -qx "Exec=$(cd "$inst" && pwd -P)/bin/vellmora run --no-input" \
  "$XDG_CONFIG_HOME/autostart/dev.tessadine.vellmora.desktop" || fail "the autostart entry starts something else"
expect_eq "status when on" "on ($XDG_CONFIG_HOME/autostart/dev.tessadine.vellmora.desktop)" \
  "$("$inst/bin/vellmora" autostart status)"
touch "$XDG_CONFIG_HOME/autostart/someone-else.desktop"
expect_eq "off" "Vellmora will no longer start when you log in." "$("$inst/bin/vellmora" autostart off)"
expect_eq "entries after off" "$XDG_CONFIG_HOME/autostart/someone-else.desktop" "$(entries)"
expect_eq "off again" "Vellmora was not set to start when you log in." "$("$inst/bin/vellmora" autostart off)"
fi

echo "== the windows and the desktop calendars, found from the installed program"
if [ -e "$build/App/vellmora-windows" ]; then
  QT_QPA_PLATFORM=offscreen "$inst/bin/vellmora" screenshots "$root/shots" >"$root/shots.txt" 2>"$root/err" ||
    fail "screenshots through the installed vellmora-windows: $(cat "$root/err")"
  [ -f "$root/shots/library-summary.png" ] || fail "no screenshot of the library was written"
fi
if [ -e "$build/App/vellmora-eds.so" ]; then
  said=$(DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent "$inst/bin/vellmora" calendars 2>&1 || true)
  [[ $said != *"module"* ]] || fail "the installed vellmora does not load its module: $said"
fi

echo "== completions"
completions=$(PATH="$inst/bin:$PATH" bash -c '
  source "$1"
  COMP_WORDS=(vellmora auto); COMP_CWORD=1; _vellmora; echo "${COMPREPLY[*]}"
  COMP_WORDS=(vellmora autostart s); COMP_CWORD=2; _vellmora; echo "${COMPREPLY[*]}"
  COMP_WORDS=(vellmora mcp connect --y); COMP_CWORD=3; _vellmora; echo "${COMPREPLY[*]}"
' _ "$inst/share/bash-completion/completions/vellmora")
expect_eq "bash completions" $'autostart\nstatus\n--yes' "$completions"
if command -v zsh >/dev/null; then
  zsh -n "$inst/share/zsh/site-functions/_vellmora" || fail "zsh completion does not parse"
fi

if [ "$failures" -ne 0 ]; then
  echo "$failures check(s) failed" >&2
  exit 1
fi
echo "all install checks passed"
