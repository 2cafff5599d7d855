#!/usr/bin/env bash
# An integrator's first hour: build examples/host against the installed files alone, and run it on a simulated modem.
# Usage: integrator.sh BUILD-FOLDER "CMAKE-OPTIONS" [EMULATOR...]
build=$1
options=$2
shift 2
. "$(dirname "$0")/programs.sh" "" "$@"
bin=$folder/usr/bin

for component in runtime dev; do
  cmake --install "$build" --component "$component" --prefix "$folder/usr" >/dev/null
done
# A copy, so that no include reaches back into the sources.
cp -r "$(dirname "$0")/../examples/host" "$folder/source"
# shellcheck disable=SC2086
cmake -G Ninja -S "$folder/source" -B "$folder/build" -DCMAKE_FIND_ROOT_PATH="$folder/usr" \
  -DCMAKE_PREFIX_PATH="$folder/usr" $options >/dev/null
cmake --build "$folder/build"

start_modem --link "$folder/modem" --signal 20
sed "s|/dev/ttyUSB0|$folder/modem|" "$folder/usr/share/doc/orvix-gsm/examples/modem.json" >"$folder/modem.json"
"${emulator[@]}" "$folder/build/example-host" "$folder/modem.json" | tee "$folder/report.txt"
grep -qF '"percent" : 63, "dBm" : -73, "valid" : true' "$folder/report.txt"
