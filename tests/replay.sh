#!/usr/bin/env bash
# Record at one place, replay at another: the shipped recordings, and one made here, give gsm-host what they gave then.
# Usage: replay.sh FOLDER-OF-PROGRAMS [EMULATOR...]
. "$(dirname "$0")/programs.sh"
recordings=$(dirname "$0")/../examples/recordings

# replay NAME RECORDING STATUS-OF-HOST ARGUMENT...: the simulator is content with what the host sends.
replay() {
  local name=$1 recording=$2 expected=$3
  shift 3
  start_modem --replay "$recording" --link "$folder/modem"
  host "$name" "$expected" --device "$folder/modem:115200,n,8,1" "$@"
  modem_ends 0
}

replay notice "$recordings/reportWithNotice.jsonl" 0 report
replay refused "$recordings/smsRefused.jsonl" 6 sms 0123456789 hello
expect refused "may have been sent: the modem answered +CMS ERROR: 500 (unknown error"
replay late "$recordings/lateAnswer.jsonl" 0 report

host made 0 --simulate --record "$folder/made.jsonl" --json report
replay again "$folder/made.jsonl" 0 --json report
signal() { jq .GSMModem.report.signalQuality "$folder/$1.txt"; }
[[ $(signal made) == "$(signal again)" ]] || fail "the replay gave another report"
echo PASSED
