#!/usr/bin/env bash
# An independent client against gsm-modem-simulator: Debian's gammu identifies the modem and sends messages through it.
# Usage: gammu.sh FOLDER-OF-PROGRAMS [EMULATOR...]
. "$(dirname "$0")/programs.sh"
export LC_ALL=C.UTF-8
command -v gammu >/dev/null || fail "gammu is missing; scripts/setup installs it"

printf '[gammu]\ndevice = %s\nconnection = at115200\n' "$folder/modem" >"$folder/gammurc"
start_modem --link "$folder/modem" --messages "$folder/messages.txt" -v

client() {
  timeout 300 gammu -c "$folder/gammurc" "$@" >"$folder/gammu.txt" 2>&1 </dev/null || fail "gammu $1 ended with $?"
}
sent() { grep -qF -- "$1" "$folder/messages.txt" || fail "no message $1"; }

client identify
grep -q 'Manufacturer *: Orvix' "$folder/gammu.txt" || fail "gammu does not know the manufacturer"
grep -q 'IMEI *: 001010123456780' "$folder/gammu.txt" || fail "gammu does not know the IMEI"

client sendsms TEXT +4917012345 -text 'hello world'
sent '"number":"+4917012345","text":"hello world","mode":"pdu","reference":1'
client sendsms TEXT 0170 -text 'a[b]{c}~^|\'
sent '"number":"0170","text":"a[b]{c}~^|\\","mode":"pdu","reference":2'
client sendsms TEXT 0170 -unicode -text 'žluť'
sent '"text":"žluť","mode":"pdu","reference":3'
echo PASSED
