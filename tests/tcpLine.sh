#!/usr/bin/env bash
# A modem behind TCP in "ip" mode: simulator on TCP, socat line, gsm-host. Needs root to make /dev/tcp.
# Usage: tcpLine.sh FOLDER-OF-PROGRAMS [EMULATOR...]
if ((EUID != 0)); then
  exec sudo "$0" "$@"
fi
. "$(dirname "$0")/programs.sh"
tcp_line=$(dirname "$0")/../scripts/tcp-line

for address in '' ..:2233 /etc:2233 1.2.3.4,fork:2233 ::1:2233 '[::1]:2233' modem modem:0 modem:02233 modem:65536; do
  status=0
  "$tcp_line" "$address" 2>"$folder/refused.txt" || status=$?
  [[ $status == 2 ]] || fail "\"$address\" ended with $status, not 2"
done

# As the unit does: root makes the folder, the line belongs to a user of the group dialout. That user need not be able
# to read the sources.
start_modem --listen 127.0.0.1:0 --signal 31
port=${line##*:}
link=/dev/tcp/127.0.0.1/$port
install -d -m 0775 -g dialout /dev/tcp
setpriv --reuid nobody --regid dialout --clear-groups bash -c "$(<"$tcp_line")" tcp-line 127.0.0.1 "$port" \
  >"$folder/line.txt" 2>&1 &
others=$!
until_true test -c "$link"
[[ $(stat -Lc '%U %G %a' "$link") == 'nobody dialout 660' ]] || fail "the line is of $(stat -Lc '%U %G %a' "$link")"
host report 0 --tcp "127.0.0.1:$port" report
expect report "-51 dBm, 100 %"

# The connection drops, and another line that ends takes the folder with it.
stop_modem 0
until_true test ! -e "$link"
rmdir /dev/tcp/127.0.0.1 || fail "something else is in the folder"
start_modem --listen "127.0.0.1:$port" --signal 20
until_true test -c "$link"
host again 0 --tcp "127.0.0.1:$port" report
expect again "-73 dBm, 63 %"

kill "$others"
wait "$others" || fail "tcp-line ended with $?"
others=
[[ ! -e /dev/tcp/127.0.0.1 ]] || fail "tcp-line left its link"
stop_modem 0
echo PASSED
