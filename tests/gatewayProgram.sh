#!/usr/bin/env bash
# gsm-gateway as a plant meets it: its client, HTTP, a real MQTT broker, kill -9 in the middle, a second one, SIGTERM.
# Usage: gatewayProgram.sh FOLDER-OF-PROGRAMS
. "$(dirname "$0")/programs.sh"

port=$(free_port)
printf 'listener %s 127.0.0.1\nallow_anonymous true\n' "$port" >"$folder/broker.conf"
start_broker "$port"

start_modem --link "$folder/modem" --signal 20
sed "s|/dev/ttyUSB0|$folder/modem|" "$(dirname "$0")/../packaging/modem.json" >"$folder/modem.json"
cat >"$folder/gateway.json" <<END
{"plugin": "$bin/libgsmmodem.so", "modems": [{"name": "main", "config": "$folder/modem.json"}],
 "storage": {"folder": "$folder/store"}, "http": {"socket": "$folder/gateway.sock", "listen": ""},
 "mqtt": {"broker": "mqtt://127.0.0.1:$port", "id": "test", "homeAssistant": "homeassistant"}}
END
echo '{"plugin": "/none", "modems": [{"name": "a b", "config": "/none"}], "colour": 1}' >"$folder/bad.json"
modem_has() { grep -q "$1" "$folder/modem.txt"; }

gateway check 0 check
gateway nobody 4 list
gateway usage 2 list --state odd
config=none gateway noFile 3 list
config=bad gateway problems 3 check
for key in plugin 'modems[0].name' 'modems[0].config' colour; do expect problems "bad.json: $key: "; done
start_gateway
getent group orvix >/dev/null || expect service "there is no group orvix, our own one may use it"
gateway second 4 run
expect second "another"
mosquitto_sub -p "$port" -t 'gsm/test/#' -t 'homeassistant/#' -F '%t %p' >"$folder/told.txt" &
others+=" $!"
until_true grep -q 'gsm/test/availability online' "$folder/told.txt"
mosquitto_pub -p "$port" -q 1 -t gsm/test/send -m '{"id": "m", "to": "+491701234567", "text": "over MQTT"}'
mosquitto_pub -p "$port" -q 1 -t gsm/test/send -m '{"id": "n", "to": "12", "text": "bad"}'
gateway refused 8 send 12 text
expect refused "12"
gateway sent 0 send +491701234567 "over the socket" --id s --wait 120
[[ $(cat "$folder/sent.txt") == s ]] || fail "more than the id"
until_true grep -q 'gsm/test/message/m .*"state":"sent"' "$folder/told.txt"
expect told '"status":422'
expect told 'homeassistant/sensor/gsm_test/queue/config'
grep 'message/m ' "$folder/told.txt" | sed 's/.*"state":"\([a-z]*\)".*/\1/' | xargs >"$folder/states.txt"
expect states "queued attempting sent"
gateway notYet 7 send +491701234567 "takes its time" --wait 0
gateway expired 5 send +491701234567 "behind it" --expires 1 --wait 120
expect expired " is expired: "
gateway unknown 8 show nothing
"$bin/gsm-gateway" --config "$folder/gateway.json" list >/dev/full 2>&1 && fail "a full disk is no failure" || [[ $? == 1 ]]

curl -sf --unix-socket "$folder/gateway.sock" http://localhost/metrics >"$folder/metrics.txt"
expect metrics 'gsm_send_seconds_count{modem="main"} 2'
! command -v promtool >/dev/null || promtool check metrics <"$folder/metrics.txt" || fail "promtool dislikes the metrics"

gateway queued 0 send +491701234567 "in the middle" --id k
until_true modem_has "in the middle"
kill_now "$service"
start_gateway
gateway uncertain 6 send +491701234567 "in the middle" --id k --wait 1
gateway show 0 show k --json
jq -e '.state == "uncertain" and .ended == null' "$folder/show.txt" >/dev/null || fail "the doubt is not told"
gateway resolve 0 resolve k drop
gateway again 8 resolve k drop
gateway after 0 send +491701234567 "after the kill" --wait 120
[[ $(grep -c "in the middle" "$folder/modem.txt") == 1 ]] || fail "sent twice"

kill -TERM "$service"
status=0
wait "$service" || status=$?
[[ $status == 0 ]] || fail "SIGTERM ended it with $status"
until_true grep -q 'gsm/test/availability offline' "$folder/told.txt"
! grep -q "+491701234567" "$folder/service.txt" || fail "a full number in the log"
echo PASSED
