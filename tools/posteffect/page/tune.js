'use strict';
// The tuning page: settings live here, every picture comes from the tool's
// server, which renders through the library exactly as 'posteffect apply'.

const $ = (id) => document.getElementById(id);

const state = {
  info: null,
  effect: 4,
  param0: [0, 0, 0, 0],
  param1: [0, 0, 0, 0], // display coordinates, as the library takes them
  crop: null, // [x, y, w, h] in pixels of the full picture
  mode: 'preview',
};
let requested = 0; // sequence number of the newest render asked for
let shown = 0; // and of the newest one on the page
let pictureVersion = 0;

function effectInfo() {
  return state.info.effects.find((e) => e.number === state.effect);
}

function setStatus(text, kind) {
  $('status').textContent = text;
  document.body.dataset.state = kind;
}

async function errorText(response) {
  return `${response.status}: ${await response.text()}`;
}

// Display coordinates to pixels of the picture the page works on, rounding
// down as the library maps them, and back to the nearest display value.
function toWork(x, y) {
  const p = state.info.picture, d = state.info.display;
  return [Math.floor((p.workWidth * x) / d.width), Math.floor((p.workHeight * y) / d.height)];
}
function toDisplay(px, py) {
  const p = state.info.picture, d = state.info.display;
  const clamp = (v, hi) => Math.min(hi, Math.max(0, Math.round(v)));
  return [clamp((px * d.width) / p.workWidth, d.width), clamp((py * d.height) / p.workHeight, d.height)];
}

function renderQuery() {
  const q = new URLSearchParams({
    effect: state.effect,
    param0: state.param0.join(','),
    param1: state.param1.join(','),
    mode: state.mode,
  });
  if (state.crop) q.set('crop', state.crop.join(','));
  return q;
}

// Every change asks for a picture at once; the server keeps only the newest
// waiting request, and answers the replaced ones 409, which are ignored.
async function render() {
  const seq = ++requested;
  setStatus('rendering…', 'busy');
  let response;
  try {
    response = await fetch('/api/render?' + renderQuery());
  } catch (e) {
    if (seq === requested) setStatus(`the tool does not answer: ${e}`, 'error');
    return;
  }
  if (response.status === 409 || seq < shown) return;
  if (!response.ok) {
    if (seq === requested) setStatus(await errorText(response), 'error');
    return;
  }
  const blob = await response.blob();
  if (seq < shown) return;
  shown = seq;
  const img = $('after');
  const old = img.src;
  img.src = URL.createObjectURL(blob);
  await img.decode().catch(() => {});
  if (old.startsWith('blob:')) URL.revokeObjectURL(old);
  if (document.activeElement !== $('paramString')) {
    $('paramString').value = response.headers.get('X-Parameter-String');
    $('paramError').textContent = '';
  }
  if (seq === requested) {
    // The server's own split: rendering (with any wait), then encoding.
    const timing = (response.headers.get('Server-Timing') || '').replace(/;dur=/g, ' ') + ' ms';
    setStatus(`${state.info.picture.workWidth}x${state.info.picture.workHeight}: ${timing}`, 'idle');
  }
}

function drawOverlay() {
  const p = state.info.picture, f = p.factor;
  const svg = $('overlay');
  svg.setAttribute('viewBox', `0 0 ${p.workWidth} ${p.workHeight}`);
  const e = effectInfo();
  const points = e.points;
  const [cx, cy] = toWork(state.param1[0], state.param1[1]);
  const [ex, ey] = toWork(state.param1[2], state.param1[3]);
  for (const [id, x, y] of [['centre', cx, cy], ['edge', ex, ey]]) {
    $(id).setAttribute('cx', x);
    $(id).setAttribute('cy', y);
    $(id).style.display = points ? '' : 'none';
  }
  const line = $('radius');
  line.setAttribute('x1', cx);
  line.setAttribute('y1', cy);
  line.setAttribute('x2', ex);
  line.setAttribute('y2', ey);
  line.style.display = points ? '' : 'none';
  $('pointsText').textContent = points
    ? `centre ${cx * f},${cy * f}, edge ${ex * f},${ey * f} in picture pixels; ` +
      `${state.param1.join(',')} on the ${state.info.display.width}x${state.info.display.height} display`
    : '';
  const c = state.crop ? state.crop.map((v) => v / f) : null;
  const rect = $('cropRect');
  rect.style.display = c ? '' : 'none';
  $('cropShade').setAttribute('d', c
    ? `M0 0H${p.workWidth}V${p.workHeight}H0Z M${c[0]} ${c[1]}h${c[2]}v${c[3]}h${-c[2]}Z` : '');
  if (c) ['x', 'y', 'width', 'height'].forEach((k, i) => rect.setAttribute(k, c[i]));
  $('cropText').textContent = state.crop ? `crop: ${state.crop.join(',')}` : 'crop: none';
}

function showEffect() {
  const e = effectInfo();
  $('effect').value = e.number;
  const slider = $('param0');
  slider.min = e.min;
  slider.max = e.max;
  slider.value = state.param0[0];
  slider.disabled = e.min === e.max;
  $('param0Value').textContent = state.param0[0];
  $('param0Help').textContent = e.param0;
  $('param1Box').style.display = e.points ? '' : 'none';
  $('param1Help').textContent = e.param1;
  drawOverlay();
}

function changed() {
  showEffect();
  render();
}

function selectEffect(number) {
  state.effect = number;
  const e = effectInfo();
  state.param0 = e.defaultParam0.slice();
  state.param1 = e.defaultParam1.slice();
  changed();
}

async function loadInfo() {
  const response = await fetch('/api/info');
  if (!response.ok) return setStatus(await errorText(response), 'error');
  state.info = await response.json();
  const p = state.info.picture;
  $('pictureName').textContent = `${p.name}, ${p.width}x${p.height}` +
    (p.factor > 1 ? ` (shown at 1/${p.factor}, saved at full size)` : '');
  $('before').src = `/api/before.jpg?v=${++pictureVersion}`;
}

async function newPicture(request) {
  setStatus('loading the picture…', 'busy');
  const response = await fetch(request.url, request);
  if (!response.ok) return setStatus(await errorText(response), 'error');
  state.crop = null;
  await loadInfo();
  changed();
}

function upload(file) {
  newPicture({ url: '/api/picture?' + new URLSearchParams({ name: file.name }), method: 'POST', body: file });
}

// Dragging a handle moves a point; dragging elsewhere with the crop tool on
// draws the crop. Positions are in pixels of the picture the page works on.
function pointerPosition(event) {
  const r = $('overlay').getBoundingClientRect();
  const p = state.info.picture;
  const x = Math.min(p.workWidth, Math.max(0, ((event.clientX - r.left) * p.workWidth) / r.width));
  const y = Math.min(p.workHeight, Math.max(0, ((event.clientY - r.top) * p.workHeight) / r.height));
  return [x, y];
}

function setupPointer() {
  const svg = $('overlay');
  let drag = null;
  svg.addEventListener('pointerdown', (event) => {
    const id = event.target.id;
    if (id === 'centre' || id === 'edge') drag = { point: id === 'centre' ? 0 : 2 };
    else if ($('cropTool').checked) drag = { cropFrom: pointerPosition(event) };
    else return;
    svg.setPointerCapture(event.pointerId);
    event.preventDefault();
  });
  svg.addEventListener('pointermove', (event) => {
    if (!drag) return;
    const [x, y] = pointerPosition(event);
    if (drag.point !== undefined) {
      const [dx, dy] = toDisplay(x, y);
      state.param1[drag.point] = dx;
      state.param1[drag.point + 1] = dy;
      changed();
    } else {
      const f = state.info.picture.factor;
      const [x0, y0] = drag.cropFrom.map(Math.round);
      const [x1, y1] = [Math.round(x), Math.round(y)];
      const w = Math.abs(x1 - x0), h = Math.abs(y1 - y0);
      drag.crop = w >= 2 && h >= 2 ? [Math.min(x0, x1) * f, Math.min(y0, y1) * f, w * f, h * f] : null;
      state.crop = drag.crop;
      drawOverlay();
    }
  });
  const end = () => {
    if (drag && drag.cropFrom && drag.crop) render();
    drag = null;
  };
  svg.addEventListener('pointerup', end);
  svg.addEventListener('pointercancel', end);
}

// Settings from a camera parameter string, checked by the server.
async function loadString(text) {
  const response = await fetch('/api/parse?' + new URLSearchParams({ string: text }));
  if (!response.ok) {
    $('paramError').textContent = await errorText(response);
    return false;
  }
  const parsed = await response.json();
  state.effect = parsed.effect;
  state.param0 = parsed.param0;
  state.param1 = parsed.param1;
  $('paramString').blur();
  changed();
  return true;
}

function setupControls() {
  for (const e of state.info.effects) {
    const option = document.createElement('option');
    option.value = e.number;
    option.textContent = `${e.number} ${e.name} (GPU-effect ${e.code})`;
    $('effect').append(option);
  }
  $('effect').addEventListener('change', () => selectEffect(Number($('effect').value)));
  $('param0').addEventListener('input', () => {
    state.param0[0] = Number($('param0').value);
    changed();
  });
  for (const radio of document.querySelectorAll('input[name=mode]')) {
    radio.addEventListener('change', () => {
      state.mode = radio.value;
      render();
    });
  }
  $('cropTool').addEventListener('change', () =>
    document.body.classList.toggle('cropping', $('cropTool').checked));
  $('clearCrop').addEventListener('click', () => {
    state.crop = null;
    changed();
  });
  $('compare').addEventListener('input', () => {
    $('after').style.clipPath = `inset(0 0 0 ${$('compare').value}%)`;
  });
  $('copy').addEventListener('click', async () => {
    const text = $('paramString').value;
    try {
      await navigator.clipboard.writeText(text);
    } catch (e) {
      $('paramString').select();
      document.execCommand('copy');
    }
    setStatus('copied: ' + text, 'idle');
  });
  $('load').addEventListener('click', () => loadString($('paramString').value));
  $('save').addEventListener('click', async () => {
    setStatus('rendering the full-size picture…', 'busy');
    const q = renderQuery();
    q.set('full', '1');
    const response = await fetch('/api/render?' + q);
    if (!response.ok) return setStatus(await errorText(response), 'error');
    const a = document.createElement('a');
    a.href = URL.createObjectURL(await response.blob());
    a.download = `posteffect-${state.effect}.png`;
    a.click();
    setStatus('saved ' + a.download, 'idle');
  });
  $('file').addEventListener('change', () => $('file').files[0] && upload($('file').files[0]));
  $('chart').addEventListener('click', () => newPicture({ url: '/api/chart', method: 'POST' }));
  document.addEventListener('dragover', (event) => {
    event.preventDefault();
    document.body.classList.add('dragging');
  });
  document.addEventListener('dragleave', () => document.body.classList.remove('dragging'));
  document.addEventListener('drop', (event) => {
    event.preventDefault();
    document.body.classList.remove('dragging');
    const file = event.dataTransfer.files[0];
    if (file) upload(file);
  });
}

(async function main() {
  await loadInfo();
  if (!state.info) return;
  setupControls();
  setupPointer();
  // A page opened as .../#GPU-effect=2;GE-param0=... starts from those settings.
  const hash = decodeURIComponent(location.hash.slice(1));
  if (!hash || !(await loadString(hash))) selectEffect(state.effect);
})();
