
// Messages: the uncertain ones, the queue, and what ended.

// By the message's id: the entry that shows it. What leaves a list leaves the map, so that a page that is open for
// weeks does not grow.
const entries = new Map();
const kListed = 200;  // of a list, at most
const kActions = {uncertain: [['sent', 'It was sent'], ['resend', 'Send again'], ['drop', 'Drop']],
  queued: [['cancel', 'Cancel']]};
const kPriorities = ['alarm', 'normal', 'bulk'];
const kLists = {uncertain: 'uncertain', queued: 'queued', attempting: 'queued'};
const kMoreIn = {};  // states of which the service has more than it listed

async function act(entry, id, action) {
  const disable = (isOff) => entry.querySelectorAll('button').forEach((button) => { button.disabled = isOff; });
  const trouble = entry.querySelector('.trouble');
  trouble.textContent = '';
  disable(true);
  try {
    // What became of it comes as an event, in order with all others.
    await (action === 'cancel' ? call('DELETE', messagePath(id)) : call('POST', messagePath(id) + '/resolve', {as: action}));
  } catch (error) {
    trouble.textContent = error.message;
    disable(false);
  }
}

function whyText(message) {
  const parts = [];
  if (message.modem) parts.push('modem ' + message.modem);
  if (message.reference !== null) parts.push('reference ' + message.reference);
  if (message.code !== null) parts.push('code ' + message.code);
  if (message.reason) parts.push(message.reason);
  if (message.due) parts.push('next attempt at ' + time(message.due));
  return parts.join(', ');
}

const kNamed = {0: 'NUL', 8: 'Backspace', 9: 'Tab', 26: 'Ctrl-Z', 27: 'Esc'};
// Every byte that is no printable ASCII by its name or number.
const readable = (line) => line.replace(/[^ -~]/g, (c) => '<' + (kNamed[c.charCodeAt(0)] || c.charCodeAt(0).toString(16)) + '>');

// The lines of a recording, each with who wrote it; bytes that came in pieces are put together first.
function trafficLines(recording) {
  const turns = [];
  for (const piece of recording.split('\n').slice(1).filter(Boolean).map((line) => JSON.parse(line))) {
    if (piece.kind !== 'sent' && piece.kind !== 'received') continue;
    const bytes = piece.hex.replace(/../g, (pair) => String.fromCharCode(parseInt(pair, 16)));
    if (turns.length && turns[turns.length - 1].kind === piece.kind) turns[turns.length - 1].bytes += bytes;
    else turns.push({kind: piece.kind, bytes});
  }
  return turns.flatMap(({kind, bytes}) => bytes.split(/[\r\n]+/).filter(Boolean)
    .map((line) => (kind === 'sent' ? 'gateway  ' : 'modem    ') + readable(line)));
}

async function showTraffic(message, place) {
  const attempt = [...message.attempts].reverse().find((one) => one.verdict === 'uncertain');
  if (!attempt || place.dataset.attempt === String(attempt.number)) return;
  // Noted before the request: the next event of this message must not ask for it again.
  place.dataset.attempt = attempt.number;
  const recording = await call('GET', messagePath(message.id) + '/attempts/' + attempt.number + '/recording')
    .then((answer) => answer.text()).catch(() => '');
  place.textContent = trafficLines(recording).slice(-8).join('\n') || 'The traffic was not recorded.';
  place.hidden = false;
}

function showActions(entry, message) {
  entry.querySelector('.actions').replaceChildren(...(kActions[message.state] || []).map(([action, words]) => {
    const button = document.createElement('button');
    button.type = 'button';
    button.dataset.action = action;
    button.textContent = words;
    button.addEventListener('click', () => act(entry, message.id, action));
    return button;
  }));
  entry.querySelector('.trouble').textContent = '';
}

function fill(entry, message) {
  const set = (name, text) => { entry.querySelector(name).textContent = text; };
  set('.word', message.state);
  set('.urgency', message.priority === 'normal' ? '' : message.priority);
  entry.dataset.priority = message.priority;
  set('.to', message.to);
  set('time', time(message.ended || message.accepted));
  set('.body', message.text);
  set('.why', whyText(message));
  if (entry.dataset.state !== message.state) showActions(entry, message);
  entry.dataset.state = message.state;
  if (message.state === 'uncertain') showTraffic(message, entry.querySelector('.traffic'));
  else entry.querySelector('.traffic').hidden = true;
}

// In the order in which the service takes them; what ended last is first.
function place(entry, message) {
  const list = $(kLists[message.state] || 'past');
  const urgency = list.id !== 'queued' ? '' : message.state === 'attempting' ? 0 : 1 + kPriorities.indexOf(message.priority);
  // Compared as text: one digit, then RFC 3339 in UTC, which sorts by time.
  const order = urgency + message.accepted;
  if (entry.parentElement === list && (list.id === 'past' || entry.dataset.order === order)) return;
  entry.dataset.order = order;
  entry.remove();
  let before = list.id === 'past' ? null : list.lastElementChild;
  while (before && before.dataset.order > order) before = before.previousElementSibling;
  if (before) before.after(entry); else list.prepend(entry);
  if (list.childElementCount > kListed) remove(list.lastElementChild);
}

function remove(entry) {
  entries.delete(entry.dataset.message);
  entry.remove();
}

// One entry for each message, whatever becomes of it. Where the button in use goes, the focus stays close by.
function take(message) {
  let entry = entries.get(message.id);
  if (!entry) {
    entry = $('message-form').content.firstElementChild.cloneNode(true);
    entry.dataset.message = message.id;
    entries.set(message.id, entry);
  }
  const hadFocus = entry.contains(document.activeElement);
  const list = entry.parentElement;
  const neighbour = entry.nextElementSibling || entry.previousElementSibling || $('summary');
  fill(entry, message);
  place(entry, message);
  if (hadFocus && !entry.contains(document.activeElement)) {
    (entry.parentElement === list ? entry : neighbour).focus({preventScroll: true});
  }
  tellSent(message);
  $('doubt').hidden = !$('uncertain').firstElementChild;
}

async function listState(state) {
  const told = await load('/v1/messages?limit=' + kListed + '&state=' + state);
  kMoreIn[state] = told.next !== null;
  return told.messages;
}

// What is waiting, and what became of that which was shown as waiting before.
async function loadMessages() {
  const before = new Set([...$('uncertain').children, ...$('queued').children].map((entry) => entry.dataset.message));
  for (const state of Object.keys(kLists)) {
    for (const message of await listState(state)) {
      before.delete(message.id);
      take(message);
    }
  }
  // It has left these states while nobody listened, or was purged: then it is gone here, too.
  for (const id of before) await load(messagePath(id)).then(take, () => remove(entries.get(id)));
}
