
// Modems and the pictures of their signal.

const modems = new Map();
const kStateWords = {ready: 'ready', notAvailable: 'not available', noData: 'no data yet'};
const kPictures = {day: {days: 1, everyMs: 30000}, month: {days: 30, everyMs: 3600000}};

// What a modem reported before it went away is not known of now.
function known(modem, value) {
  if (!modem.report || value === null) return 'unknown';
  return modem.state === 'ready' ? value : 'unknown; was ' + value + ' at ' + time(modem.report.time);
}

function signalText(report) {
  if (!report || report.dBm === null) return null;
  return report.dBm + ' dBm' + (report.percent === null ? '' : ', ' + report.percent + ' %');
}

function cardOf(name) {
  const found = document.querySelector('[data-modem="' + CSS.escape(name) + '"]');
  if (found) return found;
  const card = $('modem-form').content.firstElementChild.cloneNode(true);
  card.dataset.modem = name;
  card.querySelector('h3').textContent = name;
  $('modems').append(card);
  return card;
}

function showModem(modem) {
  const card = cardOf(modem.name);
  const set = (name, text) => { card.querySelector('.' + name).textContent = text; };
  set('state', kStateWords[modem.state]);
  set('reason', modem.reason || '');
  card.className = 'modem ' + modem.state;
  set('doing', (modem.doing || 'nothing') + (modem.sending ? ' (' + modem.sending + ')' : ''));
  set('signal', known(modem, signalText(modem.report)));
  set('registration', known(modem, modem.report && modem.report.registration));
  set('line', modem.line);
  for (const kind of Object.keys(kPictures)) drawWhenDue(card, kind, modem.report !== null);
}

// An empty picture does not wait its time once there is something to show.
async function drawWhenDue(card, kind, hasReport) {
  const picture = card.querySelector('.' + kind);
  const toMs = Date.now();
  const isEmpty = picture.dataset.points === '0';
  if (toMs - (picture.dataset.drawn || 0) < kPictures[kind].everyMs && !(isEmpty && hasReport)) return;
  picture.dataset.drawn = toMs;
  delete picture.dataset.points;
  const fromMs = toMs - kPictures[kind].days * 86400000;
  const range = new URLSearchParams({from: new Date(fromMs).toISOString(), to: new Date(toMs).toISOString()});
  try {
    const {points} = await load('/v1/modems/' + encodeURIComponent(card.dataset.modem) + '/history?' + range);
    draw(picture, points, fromMs, toMs, 'Last ' + kind);
    picture.dataset.points = points.length;
  } catch (error) {
    // The next event of the modem tries again.
    delete picture.dataset.drawn;
  }
}

// -113 dBm is the bottom of the picture, -51 dBm its top: the range that a modem reports. A band from least to most, a
// line through the means with gaps where nothing is known, and marks at the bottom where the modem had no network.
function draw(picture, points, fromMs, toMs, label) {
  const x = (point) => ((Date.parse(point.time) - fromMs) / (toMs - fromMs) * 288).toFixed(1);
  const y = (dBm) => (57 - (Math.max(-113, Math.min(-51, dBm)) + 113) / 62 * 54).toFixed(1);
  const measured = points.filter((point) => point.dBm.mean !== null);
  const pieces = [];
  let lastMs = -Infinity;
  for (const point of measured) {
    const atMs = Date.parse(point.time);
    // A gap is an hour in the picture of a day, and more than a day in that of a month.
    if (atMs - lastMs > (toMs - fromMs) / 24) pieces.push([]);
    pieces[pieces.length - 1].push(point);
    lastMs = atMs;
  }
  const through = (piece, kind) => piece.map((point) => x(point) + ' ' + y(point.dBm[kind])).join('L');
  const shapes = {
    band: pieces.map((piece) => 'M' + through(piece, 'max') + 'L' + through([...piece].reverse(), 'min') + 'Z'),
    // h.1: a piece of a single point would draw nothing.
    mean: pieces.map((piece) => 'M' + through(piece, 'mean') + 'h.1'),
    away: points.filter((point) => !point.registered).map((point) => 'M' + x(point) + ' 59h1'),
  };
  picture.querySelector('svg').replaceChildren(...Object.entries(shapes).map(([name, drawn]) => {
    const path = document.createElementNS('http://www.w3.org/2000/svg', 'path');
    path.setAttribute('class', name);
    path.setAttribute('d', drawn.join(''));
    return path;
  }));
  const lowest = Math.min(...measured.map((point) => point.dBm.min));
  const highest = Math.max(...measured.map((point) => point.dBm.max));
  const signal = measured.length === 0 ? 'no signal known' :
    'signal ' + (lowest === highest ? lowest : 'from ' + lowest + ' to ' + highest) + ' dBm';
  const told = label + ': ' + signal + (shapes.away.length ? ', at times without network (marked at the bottom)' : '');
  picture.querySelector('svg').setAttribute('aria-label', told);
  picture.querySelector('figcaption').textContent = told;
}
