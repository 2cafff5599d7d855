#!/usr/bin/env bash
# gsm-gateway as a plant meets it: its client with each exit code, HTTP, kill -9 in the middle, a second one, SIGTERM.
# Usage: gatewayProgram.sh FOLDER-OF-PROGRAMS
. "$(dirname "$0")/programs.sh"

start_modem --link "$folder/modem" --signal 20
sed "s|/dev/ttyUSB0|$folder/modem|" "$(dirname "$0")/../packaging/modem.json" >"$folder/modem.json"
cat >"$folder/gateway.json" <<END
{"plugin": "$bin/libgsmmodem.so", "modems": [{"name": "main", "config": "$folder/modem.json"}],
 "storage": {"folder": "$folder/store"}, "http": {"socket": "$folder/gateway.sock", "listen": ""}}
END
echo '{"plugin": "/none", "modems": [{"name": "a b", "config": "/none"}], "colour": 1}' >"$folder/bad.json"
modem_has() { grep -q "$1" "$folder/modem.txt"; }

gateway check 0 check
gateway nobody 4 list
gateway usage 2 list --state odd
gateway noId 2 send +491701234567 text --id ""
config=none gateway noFile 3 list
config=bad gateway problems 3 check
for key in plugin 'modems[0].name' 'modems[0].config' colour; do expect problems "bad.json: $key: "; done
start_gateway
getent group orvix >/dev/null || expect service "there is no group orvix, our own one may use it"
gateway second 4 run
expect second "another"
gateway refused 8 send 12 text
expect refused "12"
gateway sent 0 send +491701234567 "over the socket" --id s --wait 120
[[ $(cat "$folder/sent.txt") == s ]] || fail "more than the id"
curl -sf --unix-socket "$folder/gateway.sock" http://localhost/metrics >"$folder/metrics.txt"
expect metrics 'gsm_send_seconds_count{modem="main"} 1'
! command -v promtool >/dev/null || promtool check metrics <"$folder/metrics.txt" || fail "promtool dislikes the metrics"
gateway notYet 7 send +491701234567 "takes its time" --wait 0
gateway expired 5 send +491701234567 "behind it" --expires 1 --wait 120
expect expired " is expired: "
gateway unknown 8 show nothing
"$bin/gsm-gateway" --config "$folder/gateway.json" list >/dev/full 2>&1 && fail "a full disk is no failure" || [[ $? == 1 ]]

gateway queued 0 send +491701234567 "in the middle" --id k
until_true modem_has "in the middle"
kill_now "$service"
start_gateway
gateway uncertain 6 send +491701234567 "in the middle" --id k --wait 08
gateway show 0 show k --json
jq -e '.state == "uncertain" and .ended == null' "$folder/show.txt" >/dev/null || fail "the doubt is not told"
gateway resolve 0 resolve k drop
gateway again 8 resolve k drop

kill -TERM "$service"
status=0
wait "$service" || status=$?
[[ $status == 0 ]] || fail "SIGTERM ended it with $status"
! grep -q "+491701234567" "$folder/service.txt" || fail "a full number in the log"
echo PASSED
