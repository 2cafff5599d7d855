#!/usr/bin/env bash
# How many instructions of a 32-bit ARM processor the idle gateway takes in a minute: service and worker, with a report
# a minute, without the system's own. Usage: armIdle.sh FOLDER-OF-PROGRAMS FOLDER-OF-ARM-PROGRAMS ARM-SYSROOT MINUTES
. "$(dirname "$0")/armService.sh" "$@"
g++ -std=c++17 -O2 -shared -fPIC -o count.so "$top/bench/countInstructions.cpp"
export QEMU_PLUGIN=$folder/count.so,prefix=$folder/count

taken() {
  for process in $(processes); do
    od -An -t u8 -N 8 "count.$process"
  done | awk '{ sum += $1 } END { printf "%.0f\n", sum }'
}
start_service 1
before=$(taken)
sleep $(($4 * 60))
echo $((($(taken) - before) / $4))
stop_service
