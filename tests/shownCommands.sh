#!/usr/bin/env bash
# The commands that the README and the guides show and that need no modem: each runs and succeeds.
# Usage: shownCommands.sh FOLDER-OF-PROGRAMS [EMULATOR...]
. "$(dirname "$0")/programs.sh"
cd "$(dirname "$0")/.."
gsm-host() { "${emulator[@]}" "$bin/gsm-host" "$@"; }

shown=$(grep -hE '^    gsm-host --simulate ' README.md docs/*.md | sed 's/^ *//' | sort -u)
[[ -n $shown ]] || fail "no commands found"
while read -r command; do
  beside eval "$command </dev/null"
done <<<"$shown"
all_done
echo PASSED
