#!/usr/bin/env bash
# gsm-host compared with Debian's gammu as whole processes, each on a fresh simulated modem; a table in Markdown.
# Usage: peers.sh FOLDER-OF-PROGRAMS
. "$(dirname "$0")/../tests/programs.sh"
export LC_ALL=C.UTF-8
readonly runs=3
link=$folder/modem
printf '[gammu]\ndevice = %s\nconnection = at115200\n' "$link" >"$folder/gammurc"

gsm_host() { echo "$bin/gsm-host" --device "$link:115200,n,8,1" "$@"; }
gammu_client() { echo gammu -c "$folder/gammurc" "$@"; }

# client COMMAND...: runs it on a modem of its own; its output must hold what the modem said. gammu ends with a failure
# when it learned the signal but the modem knows no GPRS.
client() {
  start_modem --link "$link"
  "$@" >"$folder/client.txt" 2>"$folder/client.err" </dev/null || true
  stop_modem 0
  grep -qE -- '-79 dBm|the modem answered .CMGS: |message reference=' "$folder/client.txt" || fail "no answer: $*"
}

# Milliseconds of processor and wall, and kilobytes at the peak.
measure() {
  local TIMEFORMAT='%3U %3S %3R' times
  start_modem --link "$link"
  { time /usr/bin/time -q -o "$folder/peak" -f %M "$@" >/dev/null 2>&1 </dev/null; } 2>"$folder/times" || true
  stop_modem 0
  read -r -a times <"$folder/times"
  awk -v u="${times[0]}" -v s="${times[1]}" -v w="${times[2]}" '{ print (u + s) * 1000, w * 1000, $1 }' "$folder/peak"
}

# What strace(1) saw: calls, bytes to and from the line, milliseconds asleep and waiting for input.
trace() {
  client strace -f -y -T -o "$folder/trace" "$@"
  awk '
    /^[0-9]+ +(\+\+\+|---)/ { next }
    !/resumed>/ { calls++ }
    match($0, /<[0-9.]+>$/) { spent = substr($0, RSTART + 1, RLENGTH - 2) * 1000 }
    /nanosleep/ { asleep += spent }
    /(poll|select)[0-9]*[( ]/ { waiting += spent }
    / (read|write)\([0-9]+<\/dev\/pts\// && match($0, /= [0-9]+ </) {
      bytes[$2 ~ /^write/] += substr($0, RSTART + 2, RLENGTH - 4)
    }
    { spent = 0 }
    END { print calls, bytes[1], bytes[0], asleep, waiting }' "$folder/trace"
}

median() { sort -n | sed -n "$(((runs + 1) / 2))p"; }

# row WHAT COMMAND...
row() {
  local what=$1 measured traced
  shift
  measured=$(for _ in $(seq $runs); do measure "$@"; done)
  traced=$(trace "$@")
  echo "$what" "$(cut -d' ' -f1 <<<"$measured" | median)" "$(cut -d' ' -f2 <<<"$measured" | median)" \
    "$(cut -d' ' -f3 <<<"$measured" | median)" "$traced" | awk '{
    printf "| %s | %.0f | %.1f | %d | %d | %d | %.1f | %.1f | %.1f | %.2f |\n", $1 " " $2, $3, $5 / 1024, $6, $7, $8,
      $4 / 1000, $9 / 1000, $10 / 1000, ($4 - $9 - $10) / 1000 }'
}

echo '| program | CPU ms | peak MB | system calls | bytes sent | received | wall s | asleep | awaiting bytes | rest |'
echo '|---|---|---|---|---|---|---|---|---|---|'
# shellcheck disable=SC2046 # the words of a command
{
  row 'gsm-host report' $(gsm_host report)
  row 'gammu monitor' $(gammu_client monitor 1)
  row 'gsm-host sms' $(gsm_host sms 0170 hello)
  row 'gammu sendsms' $(gammu_client sendsms TEXT 0170 -text hello)
}
