'use strict';
// The console page: every gateway request goes through api(), which also
// feeds the request inspector; pushes arrive as Server-Sent Events.
const $ = (id) => document.getElementById(id);
const devices = new Map();
let current = null; // {devId, channel}
let playing = false;
// A console started with --token is opened as /?token=...; every URL carries it.
const token = new URLSearchParams(location.search).get('token');
const withToken = (url) => (token ? url + (url.includes('?') ? '&' : '?') + 'token=' + encodeURIComponent(token) : url);

async function api(name, args = {}) {
  const t0 = performance.now();
  let answer;
  try {
    const res = await fetch(withToken('/api/' + name), {method: 'POST', body: JSON.stringify(args)});
    answer = await res.json();
  } catch (e) {
    answer = {errorCode: -1, errorText: String(e)};
  }
  const li = document.createElement('li');
  const failed = answer.errorCode !== 0 || answer.transportError;
  li.className = failed ? 'err' : '';
  li.textContent = `${name} ${JSON.stringify(args)} → code ${answer.errorCode} ` +
    `${(performance.now() - t0).toFixed(1)} ms ${JSON.stringify(answer)}`;
  $('inspector').prepend(li);
  return answer;
}

function renderTree() {
  const tree = $('tree');
  tree.textContent = '';
  const here = (id, ch) => current && current.devId === id && (ch === undefined || current.channel === ch);
  for (const d of devices.values()) {
    const li = document.createElement('li');
    li.textContent = `${d.name || d.id} (${d.id})`;
    li.dataset.devId = d.id;
    li.classList.toggle('off', d.status === 0);
    li.classList.toggle('sel', here(d.id));
    li.onclick = () => select(d.id, 1);
    const channels = document.createElement('ul');
    for (const c of d.channels || []) {
      const item = document.createElement('li');
      item.className = 'channel';
      item.classList.toggle('off', !c.online);
      item.classList.toggle('sel', here(d.id, c.channel));
      item.textContent = `channel ${c.channel}${c.osd ? ' · ' + c.osd : ''}`;
      item.onclick = (e) => {
        e.stopPropagation();
        select(d.id, c.channel);
      };
      channels.append(item);
    }
    li.append(channels);
    tree.append(li);
  }
}

const feedQuery = (devId, channel) => `devId=${encodeURIComponent(devId)}&channel=${channel}`;

function showViews() {
  const views = $('views');
  // Abort the old streams first: a detached <img> keeps its connection.
  for (const img of views.querySelectorAll('img')) img.src = 'data:,';
  views.textContent = '';
  if (!current) return;
  const grid = $('grid').checked;
  views.className = grid ? '' : 'one';
  // The grid shows the first four channels the gateway has reported (channel 1
  // of each device until it has).
  const all = [...devices.values()].flatMap((d) => (d.channels || []).map((c) => [d.id, c.channel]));
  const first = all.length ? all : [...devices.keys()].map((id) => [id, 1]);
  const list = grid ? first.slice(0, 4) : [[current.devId, current.channel]];
  if (grid) {
    // A browser opens six connections to one site: four views, the events
    // and the requests leave none for a playback.
    $('playImg').src = 'data:,';
    playing = false;
  }
  for (const [id, ch] of list) {
    const fig = document.createElement('figure');
    const img = document.createElement('img');
    img.src = withToken('/video?' + feedQuery(id, ch));
    img.alt = id;
    const rate = document.createElement('figcaption');
    rate.className = 'rate';
    rate.dataset.feed = `${id}/${ch}`;
    rate.title = `${id} channel ${ch}`;
    const snap = document.createElement('a');
    snap.href = withToken('/snapshot?' + feedQuery(id, ch));
    snap.download = `${id}-${ch}.jpg`;
    snap.textContent = 'snapshot';
    snap.className = 'snapshot';
    fig.append(img, rate, snap);
    views.append(fig);
  }
}

async function loadPresets() {
  const ul = $('presets');
  ul.textContent = '';
  const a = await api('presets', current);
  for (const p of a.value || []) {
    const li = document.createElement('li');
    li.textContent = `${p.number} ${p.name} `;
    const call = document.createElement('button');
    call.textContent = 'go';
    call.onclick = () => api('preset', {...current, number: p.number, name: p.name, oper: 2});
    const del = document.createElement('button');
    del.textContent = '✕';
    del.onclick = () => api('preset', {...current, number: p.number, name: p.name, oper: 1}).then(loadPresets);
    li.append(call, del);
    ul.append(li);
  }
}

function select(devId, channel) {
  current = {devId, channel};
  $('devName').value = devices.get(devId).name || '';
  renderTree();
  showViews();
  loadPresets();
}

for (const b of document.querySelectorAll('#pad button')) {
  const ptz = (action) => current && api('ptz', {...current, operation: +b.dataset.op, action});
  b.addEventListener('pointerdown', () => ptz(0));
  for (const up of ['pointerup', 'pointerleave']) b.addEventListener(up, (e) => e.buttons === 0 && b.held && ptz(1));
  b.addEventListener('pointerdown', () => { b.held = true; });
  b.addEventListener('pointerup', () => { b.held = false; });
}

$('presetAdd').onclick = async () => {
  const taken = [...$('presets').children].map((li) => parseInt(li.textContent, 10));
  let n = 1;
  while (taken.includes(n)) n++;
  await api('preset', {...current, number: n, name: $('presetName').value, oper: 0});
  loadPresets();
};
$('nameSave').onclick = async () => {
  const name = $('devName').value;
  if ((await api('name', {devId: current.devId, name})).errorCode === 0) {
    devices.get(current.devId).name = name;
    renderTree();
  }
};
$('grid').onchange = showViews;
$('osdSave').onclick = () => api('osd', {...current, osd: $('osd').value});

// Frame and bit rate of every feed, from the console's counters (not logged
// in the inspector: they are not gateway requests).
let last = {};
setInterval(async () => {
  const now = (await (await fetch(withToken('/api/stats'), {method: 'POST', body: '{}'})).json()).value || {};
  for (const el of document.querySelectorAll('.rate')) {
    const a = now[el.dataset.feed], b = last[el.dataset.feed];
    if (a && b) el.textContent = `${a.frames - b.frames} fps, ${((a.bytes - b.bytes) * 8 / 1000).toFixed(0)} kbit/s`;
  }
  last = now;
}, 1000);

// Recordings on a timeline; a click starts playback there or seeks to it.
const fmt = (d) => new Date(d.getTime() - d.getTimezoneOffset() * 60000).toISOString().slice(0, 19).replace('T', ' ');
const parse = (s) => new Date(s.replace(' ', 'T'));
let span = null;
$('recTo').value = fmt(new Date());
$('recFrom').value = fmt(new Date(Date.now() - 2 * 3600 * 1000));
$('recSearch').onclick = async () => {
  span = [parse($('recFrom').value), parse($('recTo').value)];
  const a = await api('recordings', {...current, begin: $('recFrom').value, end: $('recTo').value});
  const tl = $('timeline');
  tl.textContent = '';
  const pos = (d) => (100 * (d - span[0]) / (span[1] - span[0])).toFixed(3) + '%';
  for (const r of a.value || []) {
    const seg = document.createElement('div');
    seg.className = 'rec';
    seg.title = r.file;
    seg.style.left = pos(Math.max(parse(r.begin), span[0]));
    seg.style.width = `calc(${pos(Math.min(parse(r.end), span[1]))} - ${seg.style.left})`;
    tl.append(seg);
  }
  const cursor = document.createElement('div');
  cursor.className = 'cursor';
  tl.append(cursor);
  tl.pos = pos;
};
$('timeline').onclick = (e) => {
  if (!span) return;
  const r = $('timeline').getBoundingClientRect();
  const at = fmt(new Date(span[0].getTime() + (span[1] - span[0]) * (e.clientX - r.left) / r.width));
  if (playing) {
    api('playctl', {seek: at});
  } else {
    playing = true;
    api('playback', {...current, start: at}).then(() => { $('playImg').src = withToken('/video?play=1&t=' + Date.now()); });
  }
};
$('play').onclick = () => api('playctl', {ctrl: 1});
$('pause').onclick = () => api('playctl', {ctrl: 0});
$('speed').onchange = () => api('playctl', {speed: $('speed').value});
// The filter holds for events that arrive after it was typed, too.
const filtered = (li) => {
  li.hidden = !li.textContent.toLowerCase().includes($('filter').value.toLowerCase());
};
$('filter').oninput = () => [...$('events').children].forEach(filtered);

const source = new EventSource(withToken('/events'));
source.onmessage = (m) => {
  const e = JSON.parse(m.data);
  if (e.type === 'gateway') {
    $('banner').style.display = e.up ? 'none' : 'block';
  } else if (e.type === 'devices') {
    for (const d of e.devices) devices.set(d.id, {...devices.get(d.id), ...d});
    renderTree();
    if (!current && devices.size) select(devices.keys().next().value, 1);
  } else if (e.type === 'progress') {
    $('progress').textContent = e.time;
    const cursor = document.querySelector('#timeline .cursor');
    if (cursor && span) cursor.style.left = $('timeline').pos(parse(e.time));
  } else if (e.type === 'channels') {
    devices.set(e.devId, {...devices.get(e.devId), id: e.devId, channels: e.channels});
    renderTree();
  } else if (e.type === 'status' && devices.has(e.devId)) {
    devices.get(e.devId).status = e.status;
    renderTree();
  }
  if (e.type === 'alarm' || e.type === 'face' || e.type === 'status') {
    const li = document.createElement('li');
    li.className = 'event ' + e.type;
    li.textContent = `${new Date().toLocaleTimeString()} ${e.type} ${JSON.stringify(e)}`;
    filtered(li);
    $('events').prepend(li);
  }
};
