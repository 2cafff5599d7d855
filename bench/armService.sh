# For what is measured of the gateway on 32-bit ARM, under emulation; sourced with FOLDER-OF-PROGRAMS
# FOLDER-OF-ARM-PROGRAMS ARM-SYSROOT as arguments. Works in a folder of its own, with two simulated modems.
. "$(dirname "${BASH_SOURCE[0]}")/../tests/programs.sh" "$1"
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
processes() { echo "$service" $(pgrep -P "$service"); }
stop_service() {
  kill "$service"
  wait "$service" || true
}

printf '#!/bin/sh\nexec qemu-arm %s worker\n' "$arm/gsm-gateway" >emulated
chmod +x emulated
simulators= broker=
for n in 1 2; do
  "$bin/gsm-modem-simulator" --link "$folder/modem$n" >/dev/null &
  simulators+=" $!"
done
