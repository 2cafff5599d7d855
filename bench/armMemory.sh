#!/usr/bin/env bash
# What the gateway takes of a 32-bit ARM machine's memory, under emulation; a table in Markdown.
# Usage: armMemory.sh FOLDER-OF-PROGRAMS FOLDER-OF-ARM-PROGRAMS ARM-SYSROOT
#
# The emulator maps the files of the emulated process, as their own system would, and its memory at a fixed place: the
# pages there that are resident are those that the process would have on its own machine.
. "$(dirname "$0")/../tests/programs.sh" "$1"
bin=$(realpath "$bin")
top=$(realpath "$(dirname "$0")/..")
# Copies, so that no other emulated process on this machine shares them.
cp -r "$2" "$folder/arm"
mkdir -p "$folder/sysroot/usr"
cp -r "$3/lib" "$folder/sysroot"
cp -r "$3/usr/lib" "$folder/sysroot/usr"
arm=$folder/arm
export QEMU_LD_PREFIX=$folder/sysroot QEMU_GUEST_BASE=0x200000000
cd "$folder"
service=

# start_service MODEMS [MQTT-PORT]
start_service() {
  rm -rf store
  for ((n = 1; n <= $1; n++)); do
    jq --arg line "$folder/modem$n:115200,n,8,1" '.config.comstr = $line' "$top/packaging/modem.json" >"modem$n.json"
  done
  jq -n --argjson modems "$1" --arg folder "$folder" --arg plugin "$arm/libgsmmodem.so" --arg port "${2:-}" '{
    plugin: $plugin, storage: {folder: ($folder + "/store")},
    http: {socket: ($folder + "/sock"), listen: "127.0.0.1:0"},
    modems: [range(1; $modems + 1) | {name: "modem\(.)", config: "\($folder)/modem\(.).json"}]}
    + if $port == "" then {} else {mqtt: {id: "bench", broker: "mqtt://127.0.0.1:\($port)"}} end' >gateway.json
  # The emulator has the program's path execute itself: the script in its place has it emulated again.
  ln -sfn "$arm/gsm-gateway" gsm-gateway
  qemu-arm ./gsm-gateway --config gateway.json run >service.txt 2>&1 &
  service=$!
  others="$simulators $broker $service"
  until_true grep -q 'listening on 127' service.txt
  ln -sfn emulated gsm-gateway
  for ((n = 1; n <= $1; n++)); do
    until_true has_report "modem$n"
  done
}
has_report() {
  curl -s --unix-socket sock http://localhost/v1/modems |
    jq -e --arg name "$1" '.modems[] | select(.name == $name) | .report != null and .doing == "waiting"' >/dev/null
}
stop_service() {
  kill "$service"
  wait "$service" || true
}

# resident KEY PID...: kB of all these processes together.
resident() {
  local key=$1
  shift
  for process in "$@"; do
    cat "/proc/$process/smaps"
  done | awk -v key="$key:" '
    /^[0-9a-f]+-/ { on = /^2[0-9a-f][0-9a-f][0-9a-f][0-9a-f][0-9a-f][0-9a-f][0-9a-f][0-9a-f]-/ }
    on && $1 == key { sum += $2 }
    END { print sum }'
}
processes() { echo "$service" $(pgrep -P "$service"); }
# row WHAT VALUE [MARK]
row() {
  local verdict=-
  [[ -z ${3:-} ]] || verdict=$([[ $2 -le $3 ]] && echo ok || echo missed)
  echo "| $1 | $2 | ${3:+at most }${3:--} | $verdict |"
}

printf '#!/bin/sh\nexec qemu-arm %s worker\n' "$arm/gsm-gateway" >emulated
chmod +x emulated
simulators= broker=
for n in 1 2; do
  "$bin/gsm-modem-simulator" --link "$folder/modem$n" >/dev/null &
  simulators+=" $!"
done
port=$((20000 + $$ % 10000))
printf 'listener %s 127.0.0.1\nallow_anonymous true\n' "$port" >broker.conf
mosquitto -c broker.conf >broker.txt 2>&1 &
broker=$!

echo '| what, kB | value | mark | verdict |'
echo '|---|---|---|---|'
start_service 1
worker=$(pgrep -P "$service")
row 'supervisor, resident' "$(resident Rss "$service")"
row 'worker, resident' "$(resident Rss "$worker")"
row 'worker, memory of its own' "$(resident Private_Dirty "$worker")"
both=$(resident Pss $(processes))
row 'both, what they share counted once' "$both" 10240
stop_service
start_service 2
row 'a further modem' $(($(resident Pss $(processes)) - both)) 2048
stop_service
start_service 1 "$port"
until_true grep -q connected service.txt
row 'both, with a broker' "$(resident Pss $(processes))" 12288
stop_service
