#!/usr/bin/env bash
# gsm-host as a person and a script meet it: commands, JSON, exit codes, signals, pipes.
# Usage: hostProgram.sh FOLDER-OF-PROGRAMS [EMULATOR...]
. "$(dirname "$0")/programs.sh"

# The slow ones run side by side, each on a simulated modem of its own.
host json 0 --simulate --json report &
jobs+=($!)
host monitor 0 --simulate --json monitor --interval 0.1 --count 2 &
jobs+=($!)
(printf 'from a pipe\n' | host stdin 0 --simulate --trace sms 123 -) &
jobs+=($!)
host control 0 --simulate --json control sendSMS '{"phone":"123","text":"t"}' &
jobs+=($!)
host unknown 2 --simulate control sendsms &
jobs+=($!)
"${emulator[@]}" "$bin/gsm-host" --simulate monitor --interval 60 >"$folder/interrupted.txt" &
interrupted=$!
"${emulator[@]}" "$bin/gsm-host" --simulate monitor --interval 0.1 2>"$folder/closed.txt" | head -n 1 >/dev/null &
jobs+=($!)

# What needs no modem.
host nothing 2 report
expect nothing "which modem?"
host phone 2 --simulate sms "12 34" text
expect phone "is no phone number"
if [[ -w /dev/full ]]; then
  "${emulator[@]}" "$bin/gsm-host" get version >/dev/full 2>"$folder/full.txt" && fail "a full disk was no failure"
fi
host typo 2 --json --simulate reprot
expect typo '{"error":"\"reprot\" is no command; see gsm-host --help","exitCode":2}'
host count 2 --simulate monitor --count 0
expect count "not from 1 to"
host interval 2 --simulate monitor --interval nan
expect interval "not from 0 to 86400"
host version 0 get version
expect version '{"version":"0.00.1"}'
host property 2 get nonsense
expect property "Unknown Property: nonsense"
cp "$(dirname "$0")/../packaging/modem.json" "$folder/modem.json"
host check 0 check "$folder/modem.json"
expect check "accepted"
host set 0 --config "$folder/modem.json" set config.current "$folder/modem.json"
jq -e '.config.ip.port == 2233' "$folder/modem.json" >/dev/null || fail "set wrote no JSON"
ln -s modem.json "$folder/link.json"
chmod 640 "$folder/modem.json"
host link 0 --config "$folder/link.json" set config.current "$folder/modem.json"
[[ -L $folder/link.json && $(stat -c %a "$folder/modem.json") == 640 ]] || fail "set kept neither link nor mode"
jq '.config.comstr = "/dev/ttyUSB0:12345,n,8,1"' "$folder/modem.json" >"$folder/baud.json"
"${emulator[@]}" "$bin/gsm-host" --json check "$folder/baud.json" 2>/dev/null |
  jq -e '.exitCode == 3 and .key == "config.comstr"' >/dev/null || fail "check let a speed pass that no line has"
echo '{"id":"GSMModem","name":"x"}' >"$folder/bad.json"
host refused 3 check "$folder/bad.json"
expect refused "Parameter config missing."
host default 3 --config "$folder/bad.json" report
expect default "breaks a rule"
host tcp 4 --tcp 127.0.0.1:9 report
expect tcp "/dev/tcp/127.0.0.1/9: No such file or directory"
host help 0 --help
[[ ! -s $folder/help.err ]] || fail "help went to standard error"

until_true grep -q 'dBm' "$folder/interrupted.txt"
kill -INT "$interrupted"
wait "$interrupted" || fail "an interrupted monitor ended with $?"
expect interrupted "status  stopped"
all_done

jq -e '.GSMModem.report.signalQuality.percent == 53' "$folder/json.txt" >/dev/null || fail "report --json"
jq -se 'map(.kind) == ["status", "report", "report", "status"] and .[1].changed and (.[2].changed | not)' \
  "$folder/monitor.txt" >/dev/null || fail "monitor --json"
jq -e '.TransmissionResult == "OK"' "$folder/control.txt" >/dev/null || fail "control"
expect stdin '> from a pipe\x1a\r\n\r'
expect unknown "Control Code for IoControl unknown: sendsms"
[[ ! -s $folder/closed.txt ]] || fail "a closed pipe made a noise"
echo PASSED
