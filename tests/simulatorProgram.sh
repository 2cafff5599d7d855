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
talk 'AT\r' "yes"
modem_ends 0
start_modem --listen 0 --replay "$folder/fits"
printf 'ATI\r' | socat - "TCP:$line" >/dev/null
modem_ends 1
expect errors 'expected line 2: "AT\r", received "ATI\r"'
start_modem --listen 0 --replay "$folder/fits"
stop_modem 1
expect errors 'ended before line 2: "AT\r"'
sed 's/"version": 1/"version": 2/' "$folder/fits" >"$folder/newer"
refuses "line 1: version" --replay "$folder/newer"
echo '{' >>"$folder/fits"
refuses "line 4: " --replay "$folder/fits"
refuses "has no place beside --replay" --replay "$folder/fits" --signal 3
echo PASSED
