#!/usr/bin/env bash
# The status page in a real browser: token, modems, a message on its way, one in doubt, a modem that goes, a service that
# goes and comes back. Usage: gatewayPage.sh FOLDER-OF-PROGRAMS
. "$(dirname "$0")/programs.sh"
. "$(dirname "$0")/browser.sh"

origin=http://127.0.0.1:$(free_port)
cat >"$folder/scenario.json" <<'END'
{"signal": 20, "faults": [{"body": "doubtful*", "count": 1, "silence": true}]}
END
start_modem --link "$folder/modem" --scenario "$folder/scenario.json"
sed "s|/dev/ttyUSB0|$folder/modem|" "$(dirname "$0")/../packaging/modem.json" >"$folder/modem.json"
"$bin/gsm-gateway" token people >"$folder/token.txt"
token=$(head -n 1 "$folder/token.txt")
cat >"$folder/gateway.json" <<END
{"plugin": "$bin/libgsmmodem.so", "modems": [{"name": "main", "config": "$folder/modem.json"}],
 "storage": {"folder": "$folder/store"}, "sending": {"lateSeconds": 1},
 "http": {"socket": "$folder/gateway.sock", "listen": "${origin#http://}", "tokens": [$(tail -n 1 "$folder/token.txt")]}}
END
start_gateway
start_browser

# Without a token nothing but the field for it.
open "$origin/"
until_true is 'document.querySelector("input[name=token]").checkVisibility()'
is '!document.querySelector("[data-modem], [data-message], [data-queue]") &&
  !document.querySelector("[name=to]").checkVisibility()' || fail "more than the field"
write '[name=token]' $'wrong\n'
until_true is 'document.body.innerText.includes("This token is not known.")'
console >"$folder/console.txt"
[[ $(jq 'map(.message | contains("401")) == [true]' "$folder/console.txt") == true ]] || fail "more than a 401"
write '[name=token]' "$token"$'\n'
card='document.querySelector("[data-modem=main]")'
until_true is "$card?.matches('.ready') && $card.innerText.includes('-73 dBm')"
until_true is "$card.querySelectorAll('svg[aria-label*=\"-73\"] path.mean').length == 2"
until_true is 'document.querySelector("[data-queue]").dataset.queue === "0"'
is '!document.querySelector("[name=token]").checkVisibility()' || fail "the field is left"

# Every state is noted with which the page shows a message; reloading would lose the notes.
page 'window.notes = []; new MutationObserver((changes) => changes.forEach((one) => notes.push(one.oldValue)))
  .observe(document.body, {subtree: true, attributeFilter: ["data-state"], attributeOldValue: true})' >/dev/null
text='<b>5</b> & "6" <img src=x onerror="document.title=1"> {}'
write '[name=to]' +491701234567
write '[name=text]' "$text"
is 'document.querySelector("#left").textContent == "102 characters left"' || fail "the count of what is left"
click '#send-form button'
until_true is 'notes.length > 0 && document.querySelector("[data-message]").dataset.state == "sent"'
# One may be told twice, and the first be over before the page has the message.
is '["queued,attempting", "attempting"].includes(notes.filter((one, i) => one !== notes[i - 1]).join())' ||
  fail "not each state was shown, or in another order: $(page 'return notes')"
is "document.querySelector('.body').textContent == $(jq -n --arg text "$text" '$text')" || fail "the text is shown otherwise"
is '!document.querySelector("img, .body *")' || fail "the text became markup"
grep -qF "$text" "$folder/modem.txt" || fail "the text arrived otherwise"

# In doubt: before everything else, with its traffic; a person decides.
write '[name=text]' "doubtful \\ text"
click '#send-form button'
doubt='document.querySelector("[data-state=uncertain]")'
until_true is "$doubt?.querySelector('.traffic').innerText.includes('gateway  AT+CMGS=\"+491701234567\"')"
is "$doubt.innerText.includes('gateway  doubtful \\\\ text') && $doubt.innerText.includes('modem    > ')" ||
  fail "the traffic cannot be read: $(page "return $doubt.innerText")"
is "$doubt.getBoundingClientRect().bottom < $card.getBoundingClientRect().top" || fail "the doubt is not first"
until_true is 'document.querySelector("#summary").innerText.includes("1 message is uncertain.")'
is "[...$doubt.querySelectorAll('[data-action]')].map((button) => button.dataset.action).join() == 'sent,resend,drop'" ||
  fail "other buttons"
for shape in "360 light" "360 dark" "1920 light"; do
  device $shape
  is 'document.documentElement.scrollWidth <= innerWidth' || fail "wider than the screen of $shape"
done
click '[data-state=uncertain] [data-action=resend]'
until_true is '!document.querySelector("[data-state=uncertain]") && notes.includes("uncertain") &&
  document.querySelectorAll("[data-state=sent]").length == 2'

stop_modem 0
until_true is "$card.matches('.notAvailable')"
curl -sS -H "Authorization: Bearer $token" "$origin/v1/messages" -d '{"id": "waits", "to": "112", "text": "x"}' -o /dev/null
until_true is 'document.querySelector("[data-message=waits]")?.dataset.state == "queued" &&
  document.querySelector("[data-queue]").dataset.queue == "1" && notes.length > 2'

# Nothing to complain of, nothing from elsewhere, nothing that is not the page's own.
is "performance.getEntriesByType('resource').every((one) => one.name.startsWith('$origin/'))" || fail "a request elsewhere"
[[ $(console) == '[]' ]] || fail "the console tells something"
is 'document.fonts !== undefined && getComputedStyle(document.body).margin == "0px"' || fail "the style is not used"
page 'const script = document.createElement("script"); script.textContent = "window.alien = 1"; document.body.append(script)' \
  >/dev/null
is 'window.alien === undefined' || fail "a foreign script runs"
bytes=$(curl -sS "$origin/" -D "$folder/head.txt" | wc -c)
((bytes < 60000)) || fail "$bytes bytes"
grep -qi "^Content-Security-Policy: default-src 'none';" "$folder/head.txt" || fail "no policy"

# The service goes, and the page says so; it comes back, and what changed meanwhile is shown.
kill_now "$service"
until_true is 'document.querySelector("#summary").innerText.includes("connection is lost")'
start_gateway
curl -sS --unix-socket "$folder/gateway.sock" -X DELETE http://localhost/v1/messages/waits -o /dev/null
until_true is 'document.body.dataset.link == "on" && document.querySelector("[data-message=waits]").dataset.state == "cancelled"'
until_true is 'document.querySelector("[data-queue]").dataset.queue == "0" && notes.length > 2'

# The token is kept for the session, until it is forgotten; the address may bring it.
ask POST "/$session/refresh" '{}' >/dev/null
until_true is "$card?.checkVisibility()"
click '#leave'
until_true is '!document.querySelector("[data-modem], [data-message]") && sessionStorage.length == 0'
open "$origin/#token=$token"
until_true is "$card?.checkVisibility() && location.hash == ''"
echo PASSED
