# For the tests of programs as processes; sourced with FOLDER-OF-PROGRAMS [EMULATOR...] as arguments.
set -eu
bin=$1
shift
emulator=("$@")
folder=$(mktemp -d)
modem=
others=
finish() {
  for pid in $modem $others; do
    # In this order: a SIGCONT would also undo the stop that a leak check makes of a process that ends.
    kill -CONT "$pid" 2>/dev/null && kill "$pid" 2>/dev/null || true
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
    folder=$(mktemp -d) modem='' others=''
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
# free_port [OTHER]: a port of the loopback that nobody listens at, and another one than OTHER.
free_port() {
  local port
  for port in $(shuf -i 20000-29999 -n 50 | grep -v "^${1:-none}\$"); do
    (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null || { echo "$port"; return; }
  done
}
# start_broker PORT: runs mosquitto with $folder/broker.conf until something listens at the port; its id is in $broker.
start_broker() {
  PATH=$PATH:/usr/sbin mosquitto -c "$folder/broker.conf" >>"$folder/broker.txt" 2>&1 &
  broker=$!
  others+=" $broker"
  until_true mosquitto_pub -h 127.0.0.1 -p "$1" -t probe -n
}
# gateway NAME STATUS ARGUMENT...: runs gsm-gateway with $folder/gateway.json, or the file that $config names without its
# ending, its output and errors into NAME, and checks how it ended.
gateway() {
  local name=$1 expected=$2 status=0
  shift 2
  "$bin/gsm-gateway" --config "$folder/${config:-gateway}.json" "$@" >"$folder/$name.txt" 2>&1 || status=$?
  [[ $status == "$expected" ]] || fail "$name ended with $status, not $expected"
}
# start_gateway: runs the service until it answers; its id is in $service, its log in service.
start_gateway() {
  "$bin/gsm-gateway" --config "$folder/gateway.json" run >>"$folder/service.txt" 2>&1 &
  service=$!
  others+=" $service"
  until_true curl -sf -o "$folder/healthz.txt" --unix-socket "$folder/gateway.sock" http://localhost/healthz
}
# kill_now PROCESS: ends it without a chance to say anything.
kill_now() {
  kill -9 "$1"
  wait "$1" 2>/dev/null || true
}
