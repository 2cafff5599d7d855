#!/usr/bin/env bash
# gsm-modem-simulator as a program: TCP, messages, scenarios and recordings, with socat as the client.
# Usage: simulatorProgram.sh FOLDER-OF-PROGRAMS [EMULATOR...]
. "$(dirname "$0")/programs.sh"
examples=$(cd "$(dirname "$0")/../examples" && pwd)

# talk BYTES TEXT: sends the bytes and stays until the text has come.
talk() {
  { printf '%b' "$1" && until_true grep -qF -- "$2" "$folder/talk.txt"; } | socat - "TCP:$line" >"$folder/talk.txt"
  expect talk "$2"
}
refuses() {
  local status=0
  timeout 120 "${emulator[@]}" "$bin/gsm-modem-simulator" "${@:2}" >"$folder/refused.txt" 2>&1 || status=$?
  [[ $status == 2 ]] || fail "${*:2} ended with $status, not 2"
  expect refused "$1"
}

start_modem --listen 0 --messages "$folder/messages.txt" --signal 20
talk 'AT+CSQ\r' "+CSQ: 20,99"
talk 'AT+CMGF=1\rAT+CMGS="0170"\rsay "hi"\x1a' "+CMGS: 1"
expect messages '{"number":"0170","text":"say \"hi\"","mode":"text","reference":1,"at":"'
grep -qE '"at":"[0-9]{4}(-[0-9]{2}){2}T([0-9]{2}:){2}[0-9]{2}[+-][0-9]{2}:[0-9]{2}"}$' "$folder/messages.txt" ||
  fail "no ISO 8601 time"
stop_modem 0

# What was sent is in the file before the answer goes out, whatever becomes of the modem; a torn line stays one.
start_modem --listen 0 --messages "$folder/messages.txt" --result-delay 3600000
talk 'AT+CMGF=1\rAT+CMGS="0170"\rkilled\x1a' "> killed"
until_true grep -qF '"text":"killed"' "$folder/messages.txt"
kill -9 "$modem"
modem_ends 137
printf '{"number":"01' >>"$folder/messages.txt"
start_modem --listen 0 --messages "$folder/messages.txt"
talk 'AT+CMGF=1\rAT+CMGS="0170"\rnext\x1a' "+CMGS: 1"
[[ $(jq -rR 'fromjson? | .text' "$folder/messages.txt") == $'say "hi"\nkilled\nnext' ]] || fail "the messages are others"
stop_modem 0

# A signal ends it although its output is a pipe that nobody reads.
mkfifo "$folder/full"
exec 9<>"$folder/full"
dd if=/dev/zero of="$folder/full" bs=4096 count=999 oflag=nonblock 2>/dev/null || true
"${emulator[@]}" "$bin/gsm-modem-simulator" --link "$folder/stuck" >&9 2>&1 &
modem=$!
until_true test -L "$folder/stuck"
stop_modem 0
[[ ! -e $folder/stuck ]] || fail "its link stayed"
exec 9>&-

# Unplugged and plugged in again.
start_modem --link "$folder/link" --renumber
kill -USR1 "$modem"
until_true test ! -L "$folder/link"
kill -USR2 "$modem"
until_true test -L "$folder/link"
[[ $(readlink "$folder/link") != "$line" ]] || fail "it came back as the same terminal"
stop_modem 0

"${emulator[@]}" "$bin/gsm-modem-simulator" --version | grep -q '^gsm-modem-simulator [0-9.]*$' || fail "no version"
"${emulator[@]}" "$bin/gsm-modem-simulator" --help | grep -oE 'AT[+&]?[A-Z0-9]*[,.]$|AT[+&]?[A-Z0-9]*,' | tr -d ',.' |
  while read -r command; do
    grep -qF "\`$command\`" "$examples/../docs/simulator.md" || fail "docs/simulator.md lacks $command"
  done

for scenario in "$examples"/scenarios/*.json; do
  start_modem --listen 0 --scenario "$scenario"
  stop_modem 0
done
echo '{"faults": [{"command": "AT", "cmsError": 500}]}' >"$folder/good"
start_modem --listen 0 --scenario "$folder/good"
talk 'AT\r' "+CMS ERROR: 500"
stop_modem 0
echo '{"faults": [{"command": "AT", "silense": true}]}' >"$folder/bad"
refuses "faults[0].silense: unknown key" --scenario "$folder/bad"
refuses "cannot be read" --scenario "$folder/none"
refuses "--allow-remote" --listen 0.0.0.0:0
refuses "ADDRESS:PORT" --listen localhost:0
refuses "has no place beside --listen" --listen 0 --link "$folder/link"

hex() { printf '%b' "$1" | od -An -tx1 | tr -d ' \n'; }
record() { printf '{"us": %s, "kind": "%s", "hex": "%s"}\n' "$1" "$2" "$(hex "$3")"; }
{
  echo '{"format": "orvix-gsm-recording", "version": 1, "line": "here"}'
  record 1000 sent 'AT\r'
  record 50000 received 'yes\r\n'
} >"$folder/fits"
start_modem --listen 0 --replay "$folder/fits"
printf 'ATI\r' | socat - "TCP:$line" >/dev/null
modem_ends 1
expect errors 'expected line 2: "AT\r", received "ATI\r"'
start_modem --listen 0 --replay "$folder/fits"
stop_modem 1
expect errors 'ended before line 2: "AT\r"'
echo '{' >>"$folder/fits"
refuses "line 4: " --replay "$folder/fits"
refuses "has no place beside --replay" --replay "$folder/fits" --signal 3
echo PASSED
