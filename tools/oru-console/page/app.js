'use strict';
// The console page: every gateway request goes through api(), which also
// feeds the request inspector; pushes arrive as Server-Sent Events.
const $ = (id) => document.getElementById(id);
const devices = new Map();
let current = null; // {devId, channel}

async function api(name, args = {}) {
  const t0 = performance.now();
  let answer;
  try {
    const res = await fetch('/api/' + name, {method: 'POST', body: JSON.stringify(args)});
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
  for (const d of devices.values()) {
    const li = document.createElement('li');
    li.textContent = `${d.name || d.id} (${d.id})`;
    li.dataset.devId = d.id;
    if (d.status === 0) li.classList.add('off');
    if (current && current.devId === d.id) li.classList.add('sel');
    li.onclick = () => select(d.id, 1);
    tree.append(li);
  }
}

function liveUrl(devId, channel) {
  return `/live?devId=${encodeURIComponent(devId)}&channel=${channel}`;
}

function showViews() {
  const views = $('views');
  views.textContent = '';
  if (!current) return;
  const grid = $('grid').checked;
  views.className = grid ? '' : 'one';
  const list = grid ? [...devices.keys()].slice(0, 4).map((id) => [id, 1]) : [[current.devId, current.channel]];
  for (const [id, ch] of list) {
    const img = document.createElement('img');
    img.src = liveUrl(id, ch);
    img.alt = id;
    views.append(img);
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
$('nameSave').onclick = () => api('name', {devId: current.devId, name: $('devName').value});
$('grid').onchange = showViews;
$('filter').oninput = () => {
  const f = $('filter').value.toLowerCase();
  for (const li of $('events').children) li.hidden = !li.textContent.toLowerCase().includes(f);
};

const source = new EventSource('/events');
source.onmessage = (m) => {
  const e = JSON.parse(m.data);
  if (e.type === 'gateway') {
    $('banner').style.display = e.up ? 'none' : 'block';
  } else if (e.type === 'devices') {
    for (const d of e.devices) devices.set(d.id, {...devices.get(d.id), ...d});
    renderTree();
    if (!current && devices.size) select(devices.keys().next().value, 1);
  } else if (e.type === 'status' && devices.has(e.devId)) {
    devices.get(e.devId).status = e.status;
    renderTree();
  }
  if (e.type === 'alarm' || e.type === 'face' || e.type === 'status') {
    const li = document.createElement('li');
    li.className = 'event ' + e.type;
    li.textContent = `${new Date().toLocaleTimeString()} ${e.type} ${JSON.stringify(e)}`;
    $('events').prepend(li);
  }
};
