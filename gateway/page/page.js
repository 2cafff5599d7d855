'use strict';
// Shows the gateway by its public API alone. What comes from there is set as text, never as markup.
const $ = (id) => document.getElementById(id);
const modems = new Map();
const messages = new Map();
const traffic = new Map();
let token = '';
let stream = null;
let draft = null;
const kKept = 50;
const kListed = 200;

if (location.hash.startsWith('#token=')) {
  sessionStorage.setItem('token', decodeURIComponent(location.hash.slice(7)));
  history.replaceState(null, '', location.pathname);
}

class Refused extends Error {
  constructor(status, text) { super(text); this.status = status; }
}

async function call(method, path, body) {
  const headers = {Authorization: 'Bearer ' + token};
  if (body !== undefined) headers['Content-Type'] = 'application/json';
  const answer = await fetch(path, {method, headers, body: body === undefined ? undefined : JSON.stringify(body)});
  if (answer.ok) return answer;
  const told = await answer.json().catch(() => ({}));
  throw new Refused(answer.status, (told.field ? told.field + ': ' : '') + (told.error || 'HTTP ' + answer.status));
}

const load = async (path) => (await call('GET', path)).json();
const time = (text) => text ? new Date(text).toLocaleString() : '';

// Modems.

function signalText(report) {
  if (!report || report.dBm === null) return 'unknown';
  return report.dBm + ' dBm' + (report.percent === null ? '' : ', ' + report.percent + ' %');
}

function showModem(modem) {
  let card = document.querySelector('[data-modem="' + CSS.escape(modem.name) + '"]');
  if (!card) {
    card = $('modem-form').content.firstElementChild.cloneNode(true);
    card.dataset.modem = modem.name;
    card.querySelector('h3').textContent = modem.name;
    $('modems').append(card);
    drawHistory(modem.name);
  }
  const set = (name, text) => { card.querySelector('.' + name).textContent = text; };
  const words = {ready: 'ready', notAvailable: 'not available', noData: 'no data yet'};
  set('state', (words[modem.state] || modem.state) + (modem.reason ? ': ' + modem.reason : ''));
  card.querySelector('.state').className = 'state ' + modem.state;
  set('signal', signalText(modem.report));
  set('registration', modem.report ? modem.report.registration : 'unknown');
  set('doing', modem.sending ? 'sending ' + modem.sending + (modem.doing ? ', ' + modem.doing : '')
                             : modem.doing || 'waiting');
  set('line', modem.line);
}

// -113 dBm is the bottom of the picture, -51 dBm its top: the range that a modem reports.
function draw(picture, points, fromMs, toMs, label) {
  const x = (point) => (Date.parse(point.time) - fromMs) / (toMs - fromMs) * 288;
  const y = (dBm) => 60 - (Math.max(-113, Math.min(-51, dBm)) + 113) / 62 * 58 - 1;
  const known = points.filter((point) => point.dBm && point.dBm.mean !== null);
  const gap = (toMs - fromMs) / 24;
  const path = (made, name) => {
    const element = document.createElementNS('http://www.w3.org/2000/svg', 'path');
    element.setAttribute('d', made);
    if (name) element.setAttribute('class', name);
    return element;
  };
  let line = '';
  let last = -Infinity;
  for (const point of known) {
    const at = Date.parse(point.time);
    line += (at - last > gap ? 'M' : 'L') + x(point).toFixed(1) + ' ' + y(point.dBm.mean).toFixed(1);
    if (at - last > gap) line += 'h.5';
    last = at;
  }
  const upper = known.map((point) => x(point).toFixed(1) + ' ' + y(point.dBm.max).toFixed(1));
  const lower = known.map((point) => x(point).toFixed(1) + ' ' + y(point.dBm.min).toFixed(1)).reverse();
  picture.replaceChildren(path(known.length > 1 ? 'M' + upper.concat(lower).join('L') + 'Z' : '', 'band'), path(line));
  const values = known.map((point) => point.dBm.mean);
  picture.setAttribute('aria-label', label + (values.length === 0 ? ': no signal known' :
    ': signal from ' + Math.round(Math.min(...values)) + ' to ' + Math.round(Math.max(...values)) + ' dBm'));
}

async function drawHistory(name) {
  const card = document.querySelector('[data-modem="' + CSS.escape(name) + '"]');
  for (const [kind, days] of [['day', 1], ['month', 30]]) {
    const toMs = Date.now();
    const fromMs = toMs - days * 86400000;
    const range = '?from=' + encodeURIComponent(new Date(fromMs).toISOString()) + '&to=' +
      encodeURIComponent(new Date(toMs).toISOString()) + '&points=288';
    const told = await load('/v1/modems/' + encodeURIComponent(name) + '/history' + range).catch(() => ({points: []}));
    draw(card.querySelector('.' + kind), told.points, fromMs, toMs, 'last ' + kind);
  }
}

// Messages.

const kActions = {uncertain: [['sent', 'It was sent'], ['resend', 'Send again'], ['drop', 'Drop it']],
  queued: [['cancel', 'Cancel']]};

async function act(message, action, button) {
  button.disabled = true;
  try {
    const path = '/v1/messages/' + encodeURIComponent(message.id);
    const answer = action === 'cancel' ? await call('DELETE', path) : await call('POST', path + '/resolve', {as: action});
    take(await answer.json());
  } catch (error) {
    button.disabled = false;
    button.closest('.message').querySelector('.why').textContent = error.message;
  }
}

function whyText(message) {
  const parts = [];
  if (message.modem) parts.push('modem ' + message.modem);
  if (message.reference !== null) parts.push('reference ' + message.reference);
  if (message.code !== null) parts.push('code ' + message.code);
  if (message.reason) parts.push(message.reason);
  if (message.due) parts.push('waits until ' + time(message.due));
  return parts.join(', ');
}

// The last lines of what went over the modem's line, as a recording tells them.
async function showTraffic(message, place) {
  const attempt = message.attempts[message.attempts.length - 1];
  if (!attempt) return;
  const key = message.id + '/' + attempt.number;
  if (!traffic.has(key)) {
    const path = '/v1/messages/' + encodeURIComponent(message.id) + '/attempts/' + attempt.number + '/recording';
    const lines = await call('GET', path).then((answer) => answer.text()).catch(() => '');
    const mark = {sent: '>', received: '<'};
    traffic.set(key, lines.split('\n').slice(1).filter((line) => line).map((line) => JSON.parse(line))
      .filter((piece) => mark[piece.kind]).map((piece) => mark[piece.kind] + ' ' + piece.text).slice(-8).join('\n'));
  }
  place.textContent = traffic.get(key);
  place.hidden = place.textContent === '';
  place.setAttribute('aria-label', 'last lines between gateway and modem');
}

function entryOf(message) {
  const entry = $('message-form').content.firstElementChild.cloneNode(true);
  entry.dataset.message = message.id;
  entry.dataset.state = message.state;
  const set = (name, text) => { entry.querySelector(name).textContent = text; };
  set('.word', message.state);
  entry.querySelector('.word').className = 'word ' + message.state;
  set('.to', message.to);
  set('time', time(message.ended || message.accepted));
  set('.body', message.text);
  set('.why', whyText(message));
  for (const [action, words] of kActions[message.state] || []) {
    const button = document.createElement('button');
    button.type = 'button';
    button.dataset.action = action;
    button.textContent = words;
    button.addEventListener('click', () => act(message, action, button));
    entry.querySelector('.actions').append(button);
  }
  if (message.state === 'uncertain') showTraffic(message, entry.querySelector('.traffic'));
  return entry;
}

const listOf = (state) => state === 'uncertain' ? 'uncertain' :
  state === 'queued' || state === 'attempting' ? 'queued' : 'past';

// Puts a message where its state belongs; the focus stays on a message whose buttons went.
function take(message) {
  const entry = entryOf(message);
  const old = messages.get(message.id);
  const list = $(listOf(message.state));
  const hadFocus = old && old.entry.contains(document.activeElement);
  if (old && old.entry.parentElement === list) {
    old.entry.replaceWith(entry);
  } else {
    if (old) old.entry.remove();
    if (list.id === 'past') list.prepend(entry); else list.append(entry);
  }
  if (hadFocus) $('main').focus();
  messages.set(message.id, {entry, state: message.state});
  trim();
  count();
}

function trim() {
  const past = $('past');
  while (past.childElementCount > kKept) {
    messages.delete(past.lastElementChild.dataset.message);
    past.lastElementChild.remove();
  }
}

// The queue may be longer than what is listed, so its length is asked for, once for any number of changes.
let counting = null;
function count() {
  $('doubt').hidden = $('uncertain').childElementCount === 0;
  counting = counting || setTimeout(async () => {
    counting = null;
    const metrics = await call('GET', '/metrics').then((answer) => answer.text()).catch(() => '');
    const found = /^gsm_outbox_messages\{state="queued"\} (\d+)/m.exec(metrics);
    if (!found) return;
    $('queue').textContent = found[1];
    $('queue').dataset.queue = found[1];
  }, 100);
}

const loadState = async (state) => (await load('/v1/messages?limit=' + kListed + '&state=' + state)).messages.forEach(take);

// Live.

function onEvent(name, data) {
  if (name === 'message') take(data);
  if (name === 'modem') modems.set(data.name, data);
  // A report tells its modem's name alone.
  const modem = modems.get(name === 'report' ? data.modem : data.name);
  if (name === 'report' && modem) modem.report = data;
  if (name !== 'message' && modem) showModem(modem);
}

async function follow(body) {
  const reader = body.pipeThrough(new TextDecoderStream()).getReader();
  let rest = '';
  for (;;) {
    const {value, done} = await reader.read();
    if (done) return;
    rest += value;
    const blocks = rest.split('\n\n');
    rest = blocks.pop();
    for (const block of blocks) {
      const field = (name) => block.split('\n').filter((line) => line.startsWith(name + ': '))
        .map((line) => line.slice(name.length + 2)).join('\n');
      if (field('data')) onEvent(field('event'), JSON.parse(field('data')));
    }
  }
}

function connected(isOn, text) {
  $('link').dataset.link = isOn ? 'on' : 'off';
  $('link').textContent = text;
}

// Events come first, so that no change falls between the lists and them.
async function show() {
  stream = new AbortController();
  const events = await fetch('/v1/events', {headers: {Authorization: 'Bearer ' + token}, signal: stream.signal});
  if (!events.ok) throw new Refused(events.status, events.status === 401 ? 'This token is not known.' : 'HTTP ' + events.status);
  const following = follow(events.body).catch(() => {});
  $('entry').hidden = true;
  $('gateway').hidden = false;
  $('leave').hidden = false;
  for (const modem of (await load('/v1/modems')).modems) onEvent('modem', modem);
  messages.clear();
  for (const list of ['uncertain', 'queued', 'past']) $(list).replaceChildren();
  for (const state of ['uncertain', 'attempting', 'queued']) await loadState(state);
  count();
  connected(true, 'connected');
  await following;
}

async function run() {
  let waitMs = 1000;
  while (token) {
    const begun = Date.now();
    try {
      await show();
    } catch (error) {
      if (error.status === 401) return forget('This token is not known.');
    }
    connected(false, 'connection lost, trying again');
    waitMs = Date.now() - begun > 60000 ? 1000 : Math.min(waitMs * 2, 30000);
    await new Promise((go) => setTimeout(go, waitMs));
  }
}

function forget(trouble) {
  token = '';
  sessionStorage.removeItem('token');
  if (stream) stream.abort();
  $('entry').hidden = false;
  $('gateway').hidden = true;
  $('leave').hidden = true;
  $('token-trouble').textContent = trouble;
  connected(false, 'not connected');
}

// Forms.

$('token-form').addEventListener('submit', (event) => {
  event.preventDefault();
  token = $('token').value.trim();
  $('token').value = '';
  $('token-trouble').textContent = '';
  sessionStorage.setItem('token', token);
  run();
});

$('leave').addEventListener('click', () => forget(''));

// Some characters take two places in the alphabet of text messages.
const septets = (text) => [...text].reduce((sum, c) => sum + ('^{}[]~|\\'.includes(c) ? 2 : 1), 0);

const newId = () => 'page-' + [...crypto.getRandomValues(new Uint8Array(8))]
  .map((byte) => byte.toString(16).padStart(2, '0')).join('');

$('text').addEventListener('input', () => {
  const left = 160 - septets($('text').value);
  $('left').textContent = left >= 0 ? left + ' characters left' : -left + ' characters too many';
  $('left').className = left < 0 ? 'over' : '';
});

$('send-form').addEventListener('submit', async (event) => {
  event.preventDefault();
  const button = event.submitter || event.target.querySelector('button');
  button.disabled = true;
  $('send-trouble').textContent = '';
  try {
    // The same form sent again after a lost answer is the same message, by its id.
    const wanted = {to: $('to').value.trim(), text: $('text').value};
    if (!draft || draft.to !== wanted.to || draft.text !== wanted.text) draft = {id: newId(), ...wanted};
    const told = await (await call('POST', '/v1/messages', draft)).json();
    draft = null;
    (told.messages || [told]).forEach(take);
    $('text').value = '';
    $('text').dispatchEvent(new Event('input'));
  } catch (error) {
    $('send-trouble').textContent = error.message;
  }
  button.disabled = false;
});

token = sessionStorage.getItem('token') || '';
if (token) run();
