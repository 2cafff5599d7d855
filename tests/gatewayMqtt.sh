#!/usr/bin/env bash
# The MQTT door with a real broker: who is let in, what is answered, and a broker that is away, stuck or killed while the
# messages change their states and the gateway is killed, too. Usage: gatewayMqtt.sh FOLDER-OF-PROGRAMS
. "$(dirname "$0")/programs.sh"
docs=$(dirname "$0")/../docs
top=$folder
number=+491701234567

# certificate NAME SUBJECT [SIGNER]
certificate() {
  openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 -subj "/CN=$2" \
    -addext "subjectAltName=IP:127.0.0.1" ${3:+-CA "$top/$3.crt" -CAkey "$top/$3.key"} \
    -keyout "$top/$1.key" -out "$top/$1.crt" 2>>"$top/openssl.txt"
}
certificate ca CA
certificate other other
certificate server 127.0.0.1 ca
certificate client plant7 ca
for user in plant7 plant8 alarms; do
  echo "secret-$user" >"$folder/$user.password"
  mosquitto_passwd -b $([[ -e $folder/passwords ]] || echo -c) "$folder/passwords" "$user" "secret-$user"
done

port=$(free_port) secure=$(free_port "$port")
cat >"$folder/broker.conf" <<END
user $(id -un)
log_dest stderr
per_listener_settings true
persistence true
persistence_location $folder/
listener $port 127.0.0.1
allow_anonymous true
listener $secure 127.0.0.1
cafile $folder/ca.crt
certfile $folder/server.crt
keyfile $folder/server.key
require_certificate true
password_file $folder/passwords
acl_file $docs/mosquitto.acl
END
tls=(-h 127.0.0.1 -p "$secure" --cafile "$folder/ca.crt" --cert "$folder/client.crt" --key "$folder/client.key")
plain=(-h 127.0.0.1 -p "$port")
send() { mosquitto_pub "${plain[@]}" -q 1 -t gsm/plant7/send "$@"; }
told() { grep -q -- "$1" "$top/told.txt"; }
log() { grep -qE -- "$1" "$folder/service.txt"; }
post() { curl -sf --max-time 20 --unix-socket "$folder/gateway.sock" -d "$1" http://localhost/v1/messages >/dev/null; }
is_sent() { "$bin/gsm-gateway" --config "$folder/gateway.json" show "$1" --json | jq -e '.state == "sent"' >/dev/null; }
# configure KEYS: the gateway with one modem that is there and one that is not; KEYS change those of mqtt.
configure() {
  for name in modem absent; do
    sed "s|/dev/ttyUSB0|$folder/$name|" "$(dirname "$0")/../packaging/modem.json" >"$folder/$name.json"
  done
  jq -n --arg bin "$bin" --arg folder "$folder" --arg top "$top" --arg port "$secure" --argjson keys "$1" '{
    plugin: ($bin + "/libgsmmodem.so"), storage: {folder: ($folder + "/store")},
    modems: [{name: "main", config: ($folder + "/modem.json"), reportSeconds: 5},
             {name: "absent", config: ($folder + "/absent.json")}],
    http: {socket: ($folder + "/gateway.sock"), listen: ""},
    mqtt: ({broker: ("mqtts://127.0.0.1:" + $port), id: "plant7", homeAssistant: "homeassistant", to: ["+49*", "112233"],
            caFile: ($top + "/ca.crt"), certFile: ($top + "/client.crt"), keyFile: ($top + "/client.key"),
            user: "plant7", passwordFile: ($top + "/plant7.password")} + ($keys | map_values(sub("TOP"; $top))))
  }' >"$folder/gateway.json"
}

# The broker knows a retained message, and for whom it has to keep what comes; then it is away.
start_broker "$port"
send -r -m '{"id": "stale", "to": "'$number'", "text": "x"}'
mosquitto_sub "${plain[@]}" -q 1 -c -i watcher -t 'gsm/#' -t 'homeassistant/#' -F '%t %p' >"$folder/told.txt" &
others+=" $!"
until_true told 'plant7/send .*stale'
kill "$broker"
wait "$broker" || true

start_modem --link "$folder/modem" --signal 20
configure '{}'
start_gateway
post '{"id": "early", "to": "'$number'", "text": "no broker yet", "modem": "absent"}' || fail "not taken without a broker"
gateway status 0 status --json
jq -e '.doors[] | select(.name == "mqtt").state == "not connected"' "$folder/status.txt" >/dev/null || fail "the door"
start_broker "$port"
until_true told 'plant7/availability online'
until_true told 'plant7/modem/main/report {.*"dBm":-73'

socat TCP-LISTEN:"$secure",bind=127.0.0.2,fork,reuseaddr TCP:127.0.0.1:"$secure" &  # a name that the certificate lacks
others+=" $!"
# meets TEXT KEYS: a gateway with these keys says so in its log.
meets() {
  configure "$2"
  start_gateway
  until_true log "$1"
}
beside meets 'mqtt: connected' '{"id": "plant8", "user": "plant8", "passwordFile": "TOP/plant8.password"}'
beside meets 'no broker: .*certificate verify failed' '{"id": "a", "caFile": "TOP/other.crt"}'
beside meets 'no broker: .*certificate verify failed' '{"id": "b", "caFile": ""}'
beside meets 'no broker: .*certificate verify failed' '{"id": "f", "broker": "mqtts://127.0.0.2:'"$secure"'"}'
beside meets 'no broker: .*alert' '{"id": "c", "certFile": "", "keyFile": ""}'
beside meets 'no broker: .*refused.*not authori' '{"id": "d", "passwordFile": "TOP/alarms.password"}'
beside meets 'no broker: .*refused' '{"id": "e", "broker": "mqtt://127.0.0.1:1"}'
mosquitto_sub "${plain[@]}" -q 1 -c -i gsm-gateway-g -t 'gsm/g/#' -E  # somebody looks on under the gateway's own name
beside meets 'mqtt: connected' '{"id": "g", "broker": "mqtt://127.0.0.1:'"$port"'", "user": "", "passwordFile": ""}'
all_done

# What is retained, as somebody sees it who comes late.
mosquitto_sub "${plain[@]}" -t 'gsm/plant7/#' --retained-only -C 6 -W 60 -F '%t' | sort | xargs >"$folder/retained.txt"
expect retained "gsm/plant7/availability gsm/plant7/modem/absent/state gsm/plant7/modem/main/report \
gsm/plant7/modem/main/state gsm/plant7/queue gsm/plant7/send"

# What is answered, each in its turn: what was sent, and what is told of it.
last=$(printf 'x%.0s' $(seq 70000))
while IFS='~' read -r command answer; do
  send -m "${command//LONG/$last}"
  until_true told "$answer"
done <<END
{"id": "a", "to": "$number", "text": "x", "modem": "absent"}~message/a .*"state":"queued"
{"id": "a", "to": "$number", "text": "y"}~message/a .*"field":"id","id":"a","status":409
{"id": "b", "to": "+4317012345", "text": "x"}~message/b .*"field":"to","id":"b","status":403
{"id": "c", "to": "112233", "text": "x", "expiresSeconds": 0}~message/c .*"field":"expiresSeconds","id":"c","status":422
{"to": "$number", "text": "no id"}~refused .*"field":"id","id":null,"status":422
{"id": "not one", "to": "$number", "text": "x"}~refused .*"field":"id","id":null,"status":422
{"id": "d"~refused .*"field":null,"id":null,"status":400
LONG~refused .*"field":null,"id":null,"status":413
{"id": "e", "to": ["112233", "$number"], "text": "x", "modem": "absent"}~message/e~2 .*"state":"queued"
END

# Home Assistant's documents: keys that its components know, one device, and values that are really told.
wrong=$(jq -nR '
  def common: ["availability", "availability_mode", "device", "entity_category", "name", "origin", "qos", "unique_id"];
  def state: ["device_class", "state_topic", "value_template"];
  {sensor: (state + ["state_class", "unit_of_measurement"]), binary_sensor: (state + ["payload_off", "payload_on"]),
   notify: ["command_template", "command_topic"]} as $keys |
  {sensor: "state_topic", binary_sensor: "state_topic", notify: "command_topic"} as $topics |
  [inputs | capture("^(?<topic>[^ ]+) (?<text>.*)$")] as $told |
  ($told | map({key: .topic, value: .text}) | from_entries) as $last |
  [$told | unique_by(.topic)[] | . + (.topic | capture("^homeassistant/(?<kind>[a-z_]+)/gsm_plant7/(?<object>[A-Za-z0-9_-]+)/config$"))
    | .document = (.text | fromjson)] as $entities |
  ($entities[] | .document as $it | .topic + ": " + (
    (($it | keys) - common - $keys[.kind] | map("unknown " + .)),
    (["name", "unique_id", "device", "availability", $topics[.kind]] - ($it | keys) | map("without " + .)),
    [$it.state_topic, $it.availability[].topic | values | select($last[.] == null and (test("absent/report") | not))],
    [$it.value_template // "" | scan("value_json\\.([A-Za-z]+)")[] as $key | $key
      | select($last[$it.state_topic | sub("absent"; "main")] | fromjson | has($key) | not)],
    [$it.device_class // "none" | select(IN("none", "signal_strength", "connectivity", "duration") | not)]
  | .[])),
  ($entities | if map(.document.device) | unique | length == 1 then empty else "several devices" end),
  ($entities | if (map(.document.unique_id) | unique) != (map(.document.unique_id) | sort) then "ids" else empty end),
  ($entities | map(.object) - ["modem_absent_ready", "modem_absent_registration", "modem_absent_signal",
    "modem_main_ready", "modem_main_registration", "modem_main_signal", "last_result", "oldest", "queue",
    "send_112233", "uncertain"] | .[]),
  ($entities | if length == 11 then empty else length end)' "$folder/told.txt") || fail "discovery is not readable"
[[ -z $wrong ]] || fail "discovery: $wrong"

# Many messages, one of which the modem has, when the broker is stuck. Nothing waits for it.
cancel() {
  for i in $(seq "$1" "$2"); do
    gateway cancel 0 cancel "n$i"
  done
}
queue_told() { grep -c 'plant7/queue' "$folder/told.txt"; }
seq -f '{"id": "n%g", "to": "'$number'", "text": "x", "modem": "absent"}' 50 | send -l
send -m '{"id": "m", "to": "'$number'", "text": "meanwhile", "modem": "main"}'
until_true told 'message/n50 .*"queued"'
until_true told 'message/m .*"attempting"'
kill -STOP "$broker"
before=$(queue_told)
cancel 1 25
post '{"id": "late", "to": "'$number'", "text": "the broker is stuck", "modem": "absent"}' || fail "a stuck broker"
until_true is_sent m
kill -CONT "$broker"
until_true told 'message/m .*"sent"'
(($(queue_told) < before + 10)) || fail "each of 25 changes waited for the broker"
# Broker and gateway die. What the broker did not take comes in its order.
kill_now "$broker"
cancel 26 50
kill_now "$service"
start_gateway
start_broker "$port"
until_true told 'message/n50 .*"cancelled"'
grep -o 'message/.*"state":"[a-z]*"' "$folder/told.txt" | sed 's/{.*"state"//; s/[":]//g' | awk '!seen[$0]++' >"$folder/states.txt"
[[ $(grep -c . "$folder/states.txt") == $((3 + 100 + 3)) ]] || fail "a change of a state is missing"
grep cancelled "$folder/states.txt" | cmp - <(seq -f 'message/n%g cancelled' 50) || fail "in another order"
[[ $(grep 'message/m ' "$folder/states.txt" | xargs) == "message/m queued message/m attempting message/m sent" ]] || fail "m"
! told 'message/stale' || fail "a retained command was taken"
! told 'gsm/g/refused' || fail "its own words were taken for commands"

# The guide's lines for a sender, as a user who may send but neither read other topics nor be a gateway.
as() { command "$2" "${@:3}" "${tls[@]}" -u "$1" -P "secret-$1"; }
mosquitto_rr() { as alarms mosquitto_rr "$@"; }
eval "$(sed -n '/^Over MQTT/,/^\*\*Give/s/^    //p' "$docs/gateway.md")" >"$folder/example.txt"
grep -qE '^(queued|attempting)$' "$folder/example.txt" || fail "the example"
as plant8 mosquitto_pub -q 1 -t gsm/plant7/send -m '{"id": "foreign", "to": "'$number'", "text": "x"}'
as plant8 mosquitto_pub -q 1 -t gsm/plant7/availability -m foreign
mosquitto_sub "${tls[@]}" -u alarms -P secret-alarms -t 'gsm/#' -F '%t' >"$folder/seen.txt" &
others+=" $!"
until_true eval 'send -m "{\"id\": \"seen\"}" && grep -q message/seen "$folder/seen.txt"'
! grep -v '^gsm/plant7/message/' "$folder/seen.txt" || fail "a sender sees more than the answers"
! told foreign || fail "another gateway's user was heard"

is_now() { [[ $(grep ^gsm/plant7/availability "$folder/told.txt" | tail -n 1) == *" $1" ]]; }
kill_now "$service"
until_true is_now offline
start_gateway
until_true is_now online
kill -STOP "$broker"
kill -TERM "$service"
wait "$service" || fail "SIGTERM with a stuck broker"
kill -CONT "$broker"
until_true is_now offline
echo PASSED
