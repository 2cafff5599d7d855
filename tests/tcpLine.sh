#!/usr/bin/env bash
# A modem behind TCP in "ip" mode: simulator on TCP, socat line, gsm-host. Needs root for /dev/tcp.
# Usage: tcpLine.sh FOLDER-OF-PROGRAMS [EMULATOR...]
if ((EUID != 0)); then
  exec sudo "$0" "$@"
fi
. "$(dirname "$0")/programs.sh"

start_modem --listen 127.0.0.1:0 --signal 31
port=${line##*:}
"$(dirname "$0")/../scripts/tcp-line" 127.0.0.1 "$port" >"$folder/line.txt" 2>&1 &
others=$!
until_true test -e "/dev/tcp/127.0.0.1/$port"

host report 0 --tcp "127.0.0.1:$port" report
expect report "-51 dBm, 100 %"

# The connection is lost; the line comes back by itself.
children="/proc/$others/task/$others/children"
lost=$(cat "$children")
# shellcheck disable=SC2086
kill $lost
is_back() { [[ -e /dev/tcp/127.0.0.1/$port && $(cat "$children") != "$lost" ]]; }
until_true is_back
host again 0 --tcp "127.0.0.1:$port" report
expect again "-51 dBm, 100 %"

kill "$others"
wait "$others" || fail "tcp-line ended with $?"
others=
[[ ! -e /dev/tcp/127.0.0.1/$port ]] || fail "tcp-line left its link"
stop_modem 0
echo PASSED
