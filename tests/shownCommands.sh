#!/usr/bin/env bash
# The commands that the README and the guides show and that need no modem: each runs and succeeds.
# Usage: shownCommands.sh FOLDER-OF-PROGRAMS [EMULATOR...]
. "$(dirname "$0")/programs.sh"
cd "$(dirname "$0")/.."
gsm-host() { "${emulator[@]}" "$bin/gsm-host" "$@"; }

shown=$(grep -hE '^    gsm-host --simulate ' README.md docs/*.md | sed 's/^ *//' | sort -u)
[[ -n $shown ]] || fail "no commands found"
pids=()
while read -r command; do
  eval "$command" >"$folder/${#pids[@]}.txt" 2>&1 </dev/null &
  pids+=($!)
done <<<"$shown"
for pid in "${pids[@]}"; do
  wait "$pid" || fail "one of these did not succeed: $shown"
done
echo PASSED
