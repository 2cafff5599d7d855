#!/usr/bin/env bash
# gsm-host against gsm-modem-simulator as real processes with the true waits.
# Usage: endToEnd.sh FOLDER-OF-PROGRAMS [EMULATOR...]
set -eu
bin=$1
shift
folder=$(mktemp -d)
simulator=
finish() {
  [[ -z $simulator ]] || { kill "$simulator" 2>/dev/null || true; wait "$simulator" || true; }
  rm -rf "$folder"
}
trap finish EXIT
fail() {
  echo "FAILED: $1"
  tail -n 50 "$folder"/*.txt
  exit 1
}
expect() { grep -qF -- "$2" "$folder/$1.txt" || fail "no \"$2\" in $1"; }

start_modem() {
  "$@" "$bin/gsm-modem-simulator" --link "$folder/modem" --signal 20 --registration 5 >"$folder/modem.txt" &
  simulator=$!
  for _ in $(seq 200); do
    grep -q '^modem on ' "$folder/modem.txt" && return
    sleep 0.05
  done
  fail "the simulator did not start"
}
host() {
  local name=$1 expected=$2 status=0
  shift 2
  "${emulator[@]}" "$bin/gsm-host" "$@" >"$folder/$name.txt" 2>&1 || status=$?
  [[ $status == "$expected" ]] || fail "$name ended with $status, not $expected"
}

emulator=("$@")
start_modem "$@"
line="$folder/modem:115200,n,8,1"

host report 0 --device "$line" report
expect report "-73 dBm, 63 %"
expect report "roaming"
expect report "status  ready"

host sms 0 --device "$line" --trace sms 0123456789 "two  words"
expect sms 'SMS { "id" : "GSMModem", "TransmissionResult" : "OK" }'
expect sms '> two  words\x1a\r\n\r'
expect modem "SMS to 0123456789"
expect modem "  two  words"

host missing 4 --device "$folder/none:9600,n,8,1" report
expect missing "$folder/none: No such file or directory"
host settings 4 --device "$folder/modem:9600,x,8,1" report
expect settings "are not accepted"
host config 3 --config "$folder/none.json" report
expect config "Failed to open $folder/none.json: No such file or directory"
host usage 2 report
expect usage "which modem?"

kill "$simulator"
wait "$simulator" || fail "the simulator ended with $?"
simulator=
[[ ! -e $folder/modem ]] || fail "the simulator left its link"
echo PASSED
