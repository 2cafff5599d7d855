# For the tests of programs as processes; sourced with FOLDER-OF-PROGRAMS [EMULATOR...] as arguments.
set -eu
bin=$1
shift
emulator=("$@")
folder=$(mktemp -d)
modem=
finish() {
  for pid in $modem ${others:-}; do
    kill "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
  done
  rm -rf "$folder"
}
trap finish EXIT
fail() {
  echo "FAILED: $1"
  tail -n 50 "$folder"/*.txt 2>/dev/null || true
  exit 1
}
# expect NAME TEXT: the output NAME holds the text.
expect() { grep -qF -- "$2" "$folder/$1.txt" || fail "no \"$2\" in $1"; }
# until_true COMMAND...: waits for it to succeed, two minutes at most.
until_true() {
  for _ in $(seq 2400); do
    "$@" 2>/dev/null && return
    sleep 0.05
  done
  fail "in vain: $*"
}
# start_modem OPTION...: starts the simulator; its line is in $line, its output in modem, its errors in errors.
start_modem() {
  : >"$folder/modem.txt" # what an earlier one said must not count
  "${emulator[@]}" "$bin/gsm-modem-simulator" "$@" >"$folder/modem.txt" 2>"$folder/errors.txt" &
  modem=$!
  until_true grep -q '^modem on ' "$folder/modem.txt"
  line=$(sed -n 's/^modem on \([^ ]*\).*/\1/p' "$folder/modem.txt")
}
# modem_ends STATUS: waits for the simulator's end and checks how it ended.
modem_ends() {
  local status=0
  wait "$modem" || status=$?
  modem=
  [[ $status == "$1" ]] || fail "the simulator ended with $status, not $1"
}
stop_modem() {
  kill "$modem"
  modem_ends "$1"
}
# beside COMMAND...: runs it in the background, with a folder and a modem of its own; all_done waits for all of them.
jobs=()
beside() {
  (
    folder=$(mktemp -d) modem=
    trap finish EXIT
    "$@"
  ) &
  jobs+=($!)
}
all_done() {
  for job in "${jobs[@]}"; do
    wait "$job" || fail "job $job ended with $?"
  done
}
# host NAME STATUS ARGUMENT...: runs gsm-host, its output and errors into NAME, and checks how it ended.
host() {
  local name=$1 expected=$2 status=0
  shift 2
  "${emulator[@]}" "$bin/gsm-host" "$@" >"$folder/$name.txt" 2>"$folder/$name.err" || status=$?
  cat "$folder/$name.err" >>"$folder/$name.txt"
  [[ $status == "$expected" ]] || fail "$name ended with $status, not $expected"
}
