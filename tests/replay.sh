#!/usr/bin/env bash
# Record at one place, replay at another: the shipped recordings, and one made here, give gsm-host what they gave then.
# Usage: replay.sh FOLDER-OF-PROGRAMS [EMULATOR...]
. "$(dirname "$0")/programs.sh"
recordings=$(dirname "$0")/../examples/recordings

# replay RECORDING STATUS-OF-HOST TEXT ARGUMENT...: the simulator is content with what the host sends, the host's output
# holds the text.
replay() {
  start_modem --replay "$1" --link "$folder/modem"
  host replay "$2" --device "$folder/modem:115200,n,8,1" "${@:4}"
  modem_ends 0
  expect replay "$3"
}
again() {
  host made 0 --simulate --record "$folder/made.jsonl" --json report
  replay "$folder/made.jsonl" 0 '{' --json report
  signal() { jq .GSMModem.report.signalQuality "$folder/$1.txt"; }
  [[ $(signal made) == "$(signal replay)" ]] || fail "the replay gave another report"
}

beside replay "$recordings/reportWithNotice.jsonl" 0 dBm report
beside replay "$recordings/smsRefused.jsonl" 6 "may have been sent: the modem answered +CMS ERROR: 500 (unknown error" \
  sms 0123456789 hello
beside replay "$recordings/lateAnswer.jsonl" 0 dBm report
beside again
all_done
echo PASSED
