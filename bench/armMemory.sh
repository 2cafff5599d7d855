#!/usr/bin/env bash
# What the gateway takes of a 32-bit ARM machine's memory, under emulation; a table in Markdown.
# Usage: armMemory.sh FOLDER-OF-PROGRAMS FOLDER-OF-ARM-PROGRAMS ARM-SYSROOT
#
# The emulator maps the files of the emulated process, as their own system would, and its memory at a fixed place: the
# pages there that are resident are those that the process would have on its own machine.
. "$(dirname "$0")/armService.sh" "$@"

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
# row WHAT VALUE [MARK]
row() {
  local verdict=-
  [[ -z ${3:-} ]] || verdict=$([[ $2 -le $3 ]] && echo ok || echo missed)
  echo "| $1 | $2 | ${3:+at most }${3:--} | $verdict |"
}

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
