
// The session: what is shown for a token, live, and the forms.

const kQuietMs = 45000;  // the service says something every 15 s
let stream = null;
let isConnected = false;
let lostAt = '';
let held = null;  // events that wait until lists are loaded
// The message that was handed in last, until an answer says that it was taken.
let draft = null;

// Summary.

// A token may see its own messages only, and a list has an end.
function shownText(state, count) {
  const shown = document.querySelectorAll('[data-message][data-state=' + state + ']').length;
  return shown < count ? ', ' + shown + ' of them shown here' : '';
}

function facts(status) {
  const list = [];
  if (!isConnected) list.push('The connection is lost since ' + lostAt + '. What is shown here is from then.');
  list.push(...status.reasons);
  const count = status.queue.uncertain;
  if (count) {
    list.push(count + (count === 1 ? ' message is' : ' messages are') + ' uncertain' + shownText('uncertain', count) + '.');
  }
  for (const modem of status.modems.filter((one) => one.state !== 'ready')) {
    list.push('Modem ' + modem.name + ': ' + kStateWords[modem.state] + (modem.reason ? ', ' + modem.reason : ''));
  }
  for (const modem of status.modems.filter((one) => one.state === 'ready' && one.report && !one.report.registered)) {
    list.push('Modem ' + modem.name + ' has no network.');
  }
  for (const door of status.doors.filter((one) => one.state === 'not connected')) {
    list.push('No connection to ' + door.address + '.');
  }
  return list;
}

let lastStatus = null;

// Written only when it changed, since it is read aloud.
function summarise() {
  const list = facts(lastStatus);
  document.title = (list.length ? '(' + list.length + ') ' : '') + 'GSM gateway';
  const shown = list.length ? list : ['All is well.'];
  $('summary').className = list.length ? 'bad' : 'good';
  if (shown.join() === [...$('summary').children].map((item) => item.textContent).join()) return;
  $('summary').replaceChildren(...shown.map((text) => {
    const item = document.createElement('li');
    item.textContent = text;
    return item;
  }));
}

// The queue may be longer than what is listed, so its length is asked for, once for any number of changes.
let counting = null;
function count() {
  counting = counting || setTimeout(() => { counting = null; recount().catch(() => {}); }, 250);
}

async function recount() {
  const mine = session;
  const status = await load('/v1/status');
  if (mine !== session) return;
  lastStatus = status;
  const queue = status.queue;
  $('queue').textContent = queue.queued;
  $('queue').dataset.queue = queue.queued;
  $('oldest').textContent = queue.oldestSeconds === null ? '' :
    ', the oldest since ' + time(Date.parse(status.time) - queue.oldestSeconds * 1000);
  $('more').textContent = shownText('queued', queue.queued);
  summarise();
  // A list that has run down to half, though the service has more, is filled up again.
  const short = Object.keys(kMoreIn).filter((state) => kMoreIn[state] && $(kLists[state]).childElementCount < kListed / 2);
  if (short.length && !held) await whileHeld(async () => { for (const state of short) (await listState(state)).forEach(take); });
}

// Live.

function onEvent(name, data) {
  if (held) return held.push([name, data]);
  if (name === 'message') take(data);
  if (name === 'modem') modems.set(data.name, data);
  const modem = modems.get(name === 'report' ? data.modem : data.name);
  if (name === 'report' && modem) modem.report = data;
  if (name !== 'message' && modem) showModem(modem);
  count();
}

// Events are followed first and used last, so that no change is lost between them and the lists, and none undone.
async function whileHeld(work) {
  const mine = held = [];
  try {
    await work();
  } finally {
    if (held === mine) {
      held = null;
      mine.forEach(([name, data]) => onEvent(name, data));
    }
  }
}

function connected(isOn) {
  if (isConnected && !isOn) lostAt = new Date().toLocaleTimeString();
  isConnected = isOn;
  $('link').textContent = isOn ? 'connected' : 'not connected';
  document.body.dataset.link = isOn ? 'on' : 'off';
  if (lastStatus) summarise();
}

function reveal(part) {
  for (const id of ['entry', 'gateway']) $(id).hidden = id !== part;
  $('leave').hidden = part === 'entry';
}

async function loadAll() {
  modems.clear();
  $('modems').replaceChildren();
  for (const modem of (await load('/v1/modems')).modems) {
    modems.set(modem.name, modem);
    showModem(modem);
  }
  await loadMessages();
  await recount();
}

// One connection, from its first event to its end. Throws what ended it before everything was shown.
async function show() {
  const mine = stream = new AbortController();
  let quiet = setTimeout(() => mine.abort(), kQuietMs);
  const alive = () => { clearTimeout(quiet); quiet = setTimeout(() => mine.abort(), kQuietMs); };
  try {
    const events = await call('GET', '/v1/events', undefined, mine.signal);
    let following;
    await whileHeld(() => {
      following = follow(events.body, onEvent, alive).catch(() => {});
      return loadAll();
    });
    connected(true);
    reveal('gateway');
    await following;
  } finally {
    clearTimeout(quiet);
    mine.abort();
  }
}

async function run() {
  const mine = session;
  let waitMs = 1000;
  while (mine === session) {
    const begun = Date.now();
    const error = await show().catch((thrown) => thrown);
    if (mine !== session) return;
    if (error && error.status === 401) return forget('This token is not known.');
    connected(false);
    // Doubled up to 10 s; 1 s after a connection that held for a minute.
    waitMs = Date.now() - begun > 60000 ? 1000 : Math.min(waitMs * 2, 10000);
    await new Promise((go) => setTimeout(go, waitMs));
  }
}

// Nothing of one token is left for the next.
function clear() {
  ++session;
  if (stream) stream.abort();
  held = null;
  token = '';
  draft = lastStatus = null;
  isConnected = false;
  sessionStorage.removeItem('token');
  modems.clear();
  entries.clear();
  for (const list of ['modems', 'summary', 'uncertain', 'queued', 'past']) $(list).replaceChildren();
  $('send-form').reset();
  countLeft();
  $('send-told').textContent = $('send-trouble').textContent = $('link').textContent = '';
  document.title = 'GSM gateway';
}

function begin(text) {
  clear();
  // A header carries nothing else: fetch would throw.
  if (!/^[!-~]+$/.test(text)) return forget('This is no token.');
  token = text;
  sessionStorage.setItem('token', token);
  $('link').textContent = 'connecting';
  reveal('');
  run();
}

function forget(trouble) {
  clear();
  $('token-trouble').textContent = trouble;
  reveal('entry');
  $('token').focus();
}

// Forms.

// Some characters take two places in the alphabet of text messages.
function countLeft() {
  const left = 160 - [...$('text').value].reduce((sum, c) => sum + ('^{}[]~|\\'.includes(c) ? 2 : 1), 0);
  $('left').textContent = left >= 0 ? left + ' characters left' : -left + ' characters more than one message holds';
  $('left').className = left < 0 ? 'over' : '';
  $('left').setAttribute('aria-live', left < 20 ? 'polite' : 'off');
}

// getRandomValues, since randomUUID is there over HTTPS alone and many a gateway is reached without.
const newId = () => 'page-' + [...crypto.getRandomValues(new Uint8Array(8))]
  .map((byte) => byte.toString(16).padStart(2, '0')).join('');

// Beside the form, for whoever sent it.
function tellSent(message) {
  if ($('send-told').dataset.id === message.id) $('send-told').textContent = message.to + ': ' + message.state;
}

async function send() {
  // The same form sent again after a lost answer is the same message, by its id.
  const wanted = {to: $('to').value.trim(), text: $('text').value};
  if (!draft || draft.to !== wanted.to || draft.text !== wanted.text) draft = {id: newId(), ...wanted};
  const told = await (await call('POST', '/v1/messages', draft)).json();
  draft = null;
  const messages = told.messages || [told];
  $('send-told').dataset.id = messages[0].id;
  for (const message of messages) {
    // An event may have been faster than this answer; what it told is newer.
    if (entries.has(message.id)) tellSent({...message, state: entries.get(message.id).dataset.state});
    else take(message);
  }
  $('text').value = '';
  countLeft();
}

$('send-form').addEventListener('submit', async (event) => {
  event.preventDefault();
  const button = event.target.querySelector('button');
  button.disabled = true;
  $('send-trouble').textContent = $('send-told').textContent = '';
  await send().catch((error) => { $('send-trouble').textContent = error.message; });
  button.disabled = false;
});
$('text').addEventListener('input', countLeft);

$('token-form').addEventListener('submit', (event) => {
  event.preventDefault();
  const text = $('token').value.trim();
  $('token').value = '';
  begin(text);
});
$('leave').addEventListener('click', () => forget(''));

function tokenFromAddress() {
  if (!location.hash.startsWith('#token=')) return '';
  const text = location.hash.slice(7);
  // Out of the address at once, so that it is in no bookmark and on no screen.
  history.replaceState(null, '', location.pathname);
  return text;
}
addEventListener('hashchange', () => {
  const text = tokenFromAddress();
  if (text) begin(text);
});

// The age of the oldest message grows without any event.
setInterval(() => { if (isConnected) count(); }, 15000);
const kept = tokenFromAddress() || sessionStorage.getItem('token');
if (kept) begin(kept); else forget('');
