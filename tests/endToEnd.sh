#!/usr/bin/env bash
# gsm-host against gsm-modem-simulator as real processes with the true waits: a report, a message, what a host says when it cannot.
# Usage: endToEnd.sh FOLDER-OF-PROGRAMS [EMULATOR...]
. "$(dirname "$0")/programs.sh"

start_modem --link "$folder/modem" --signal 20 --registration 5
line="$folder/modem:115200,n,8,1"

host report 0 --device "$line" report
expect report "-73 dBm, 63 %"
expect report "roaming"

host sms 0 --device "$line" --trace sms 0123456789 "two  words"
expect sms "the modem answered +CMGS: "
expect sms '> two  words\x1a\r\n\r'
expect modem "SMS to 0123456789"
expect modem "  two  words"

# A host that died in the middle of a message leaves the modem waiting for the text.
printf 'AT+CMGF=1\rAT+CMGS="123"\r' >"$folder/modem"
host waiting 5 --device "$line" report
expect waiting "doctor"
host doctor 0 --device "$line" doctor
expect doctor "an Escape brought it back"

host settings 4 --device "$folder/modem:9600,x,8,1" report
expect settings "are not accepted"
host config 3 --config "$folder/none.json" report
expect config "Failed to open $folder/none.json: No such file or directory"
stop_modem 0
[[ ! -e $folder/modem ]] || fail "the simulator left its link"
echo PASSED
