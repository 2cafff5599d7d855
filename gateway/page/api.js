'use strict';
// The public API: requests with the token, and the stream of events.

// Kept in sessionStorage as well, for a reload; it is in no address and no log of a server.
let token = '';
let session = 0;  // counts the tokens, so that what belongs to an earlier one ends
const $ = (id) => document.getElementById(id);
const kPatienceMs = 30000;

class Refused extends Error {
  constructor(status, text) { super(text); this.status = status; }
}

// Throws Refused: status 0 where no answer of the service came, else its status and words. The service answers a write
// only when it is on the disk, so a slow disk needs patience.
async function call(method, path, body, signal) {
  const mine = session;
  const headers = {Authorization: 'Bearer ' + token};
  if (body !== undefined) headers['Content-Type'] = 'application/json';
  const request = {method, headers, body: JSON.stringify(body), signal: signal || AbortSignal.timeout(kPatienceMs)};
  const answer = await fetch(path, request).catch(() => { throw new Refused(0, 'The gateway does not answer.'); });
  if (mine !== session) throw new Refused(0, 'The token was forgotten.');
  if (answer.ok) return answer;
  const told = await answer.json().catch(() => ({}));
  throw new Refused(answer.status, (told.field ? told.field + ': ' : '') + (told.error || 'HTTP ' + answer.status));
}

const load = async (path) => (await call('GET', path)).json();
const messagePath = (id) => '/v1/messages/' + encodeURIComponent(id);

// Server-sent events until the stream ends; alive() is called for whatever comes, also for a comment.
// By hand, for the browser's own EventSource cannot carry a token.
async function follow(body, onEvent, alive) {
  const reader = body.pipeThrough(new TextDecoderStream()).getReader();
  let rest = '';
  for (;;) {
    const {value, done} = await reader.read();
    if (done) return;
    alive();
    const blocks = (rest + value).split('\n\n');
    // What came behind the last empty line: the begin of an event whose rest is still on its way.
    rest = blocks.pop();
    for (const block of blocks) {
      const field = (name) => block.split('\n').filter((line) => line.startsWith(name + ': '))
        .map((line) => line.slice(name.length + 2)).join('\n');
      if (field('data')) onEvent(field('event'), JSON.parse(field('data')));
    }
  }
}

// The day is left out when it is today.
function time(text) {
  const at = new Date(text);
  return at.toDateString() === new Date().toDateString() ? at.toLocaleTimeString() : at.toLocaleString();
}
