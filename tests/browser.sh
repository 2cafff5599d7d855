# A browser for the tests of the page: headless Chromium by its driver, in the words of the W3C's WebDriver; sourced after
# programs.sh.
for program in chromium chromedriver; do
  command -v $program >/dev/null || fail "$program is missing; scripts/setup browser installs it"
done

# ask METHOD PATH [JSON]: a command of the session; prints its value.
ask() {
  curl -sS --max-time 120 -X "$1" "$driver/session$2" ${3:+-d "$3"} >"$folder/answer.json" || return
  ! jq -e '.value | objects | .error' "$folder/answer.json" >>"$folder/browser.txt" || return
  jq -c .value "$folder/answer.json"
}
start_browser() {
  setsid chromedriver --port=0 >"$folder/driver.txt" 2>&1 &
  browser=$!
  trap 'end_browser; finish' EXIT
  until_true grep -q 'started successfully on port' "$folder/driver.txt"
  driver=http://127.0.0.1:$(sed -n 's/.*started successfully on port \([0-9]*\).*/\1/p' "$folder/driver.txt")
  local flags=(--headless --no-sandbox --disable-gpu --disable-quic --disable-dev-shm-usage --no-first-run
    --disable-background-networking --disable-component-update --disable-sync "--user-data-dir=$folder/browser")
  session=$(ask POST "" "$(jq -n '{capabilities: {alwaysMatch: {"goog:loggingPrefs": {browser: "ALL"},
    "goog:chromeOptions": {args: $ARGS.positional}}}}' --args -- "${flags[@]}")" | jq -r .sessionId)
  [[ $session ]] || fail "no browser"
}
# The processes are a group of their own, so that none is left, nor writes any more.
end_browser() {
  kill -- "-$browser" 2>/dev/null || true
  while kill -0 -- "-$browser" 2>/dev/null; do sleep 0.05; done
}
# page SCRIPT: what the script returns in the page, as JSON; is SCRIPT: whether that is true.
page() { ask POST "/$session/execute/sync" "$(jq -n --arg script "$1" '{script: $script, args: []}')"; }
is() { [[ $(page "return $1") == true ]]; }
# open ADDRESS
open() { ask POST "/$session/url" "$(jq -n --arg url "$1" '{url: $url}')" >/dev/null; }
element() {
  ask POST "/$session/element" "$(jq -n --arg css "$1" '{using: "css selector", value: $css}')" | jq -er '.[]'
}
# click SELECTOR, write SELECTOR TEXT: as a person does, who scrolls first to see what is under the header.
click() {
  page "document.querySelector('$1').scrollIntoView({block: 'center'})" >/dev/null
  ask POST "/$session/element/$(element "$1")/click" '{}' >/dev/null || fail "no click on $1"
}
write() {
  ask POST "/$session/element/$(element "$1")/value" "$(jq -n --arg text "$2" '{text: $text}')" >/dev/null
}
# What the browser's console was told since the last time.
console() { ask POST "/$session/se/log" '{"type": "browser"}'; }
# device WIDTH light|dark: shows the page as on a screen of that many pixels.
device() {
  cdp Emulation.setDeviceMetricsOverride "{\"width\": $1, \"height\": 900, \"deviceScaleFactor\": 1, \"mobile\": false}"
  cdp Emulation.setEmulatedMedia "{\"features\": [{\"name\": \"prefers-color-scheme\", \"value\": \"$2\"}]}"
}
cdp() { ask POST "/$session/goog/cdp/execute" "{\"cmd\": \"$1\", \"params\": $2}" >/dev/null; }
