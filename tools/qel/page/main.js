// Ties the parts together: what is chosen, how it looks, when it is drawn.
const canvas = document.getElementById('canvas'), labels = document.getElementById('labels');
const gl = canvas.getContext('webgl2', { antialias: true, alpha: true, premultipliedAlpha: true });
const chosen = { vertex: -1, kept: false, x: 0, y: 0 };
let scene = null, mode = 'level', panes = [], pointer = null, waiting = false;

const root = document.documentElement;
const tone = (name) => channels(getComputedStyle(root).getPropertyValue(name).trim()).map((channel) => channel / 255);
const ratio = () => Math.min(window.devicePixelRatio || 1, 2);

function layOut() {
  const box = canvas.getBoundingClientRect(), scale = ratio();
  canvas.width = Math.max(1, Math.round(box.width * scale));
  canvas.height = Math.max(1, Math.round(box.height * scale));
  panes = ['mesh-pane', 'token-pane'].map((id) => {
    const own = document.getElementById(id).getBoundingClientRect(), isMesh = id === 'mesh-pane';
    const left = own.left - box.left, top = own.top - box.top;
    const size = [own.width * scale, own.height * scale].map(Math.round);
    return {
      isMesh, left, top, width: own.width, height: own.height,
      pixels: [Math.round(left * scale), canvas.height - Math.round(top * scale) - size[1], ...size],
      from: isMesh ? low : [-0.5, -0.5, -0.5], to: isMesh ? high : [47.5, 47.5, 47.5],
      place: (i) => (isMesh ? [...positions.subarray(i * 3, i * 3 + 3)] : cellOf(i)),
    };
  });
}

for (const name of ['x', 'y', 'z']) labels.append(element('span', name));

// Beside the middle of edges that one sees from outside: x and z in front at the bottom, y at the left.
function labelPlaces(matrix) {
  const r = rotation(), middle = 23.5, nearX = r[2] > 0 ? 52 : -5, nearZ = r[8] > 0 ? 52 : -5, bottom = -4;
  const upright = [[-4, -4], [-4, 51], [51, -4], [51, 51]].map(([x, z]) => [x, middle, z]);
  const across = (point) => projected(matrix, point, 1, 1)[0];
  return [[middle, bottom, nearZ], upright.sort((a, b) => across(a) - across(b))[0], [nearX, bottom, middle]];
}

function placeLabels(pane) {
  labelPlaces(pane.transform).forEach((point, i) => {
    const [x, y] = projected(pane.transform, point, pane.width, pane.height);
    const inside = x > 8 && y > 12 && x < pane.width - 8 && y < pane.height - 12;
    labels.children[i].style.visibility = inside ? 'visible' : 'hidden';
    labels.children[i].style.transform = `translate(${pane.left + x - 4}px, ${pane.top + y - 11}px)`;
  });
}

function paneAt(x, y) {
  return panes.find((p) => x >= p.left && x < p.left + p.width && y >= p.top && y < p.top + p.height);
}

function pickAt(x, y) {
  const pane = paneAt(x, y);
  return pane ? scene.pick(pane, Math.round(x * ratio()), canvas.height - Math.round(y * ratio()), ratio()) : -1;
}

function draw() {
  waiting = false;
  if (!scene || gl.isContextLost()) return;
  for (const pane of panes)
    pane.transform = projection(pane.width / pane.height, pane.isMesh ? meshCentre : cubeCentre, pane.isMesh ? meshScale : cubeScale);
  if (pointer && !chosen.kept) choose(pickAt(...pointer), ...pointer);
  pointer = null;
  const fill = chosen.vertex >= 0 ? modes[mode].colour(chosen.vertex).map((channel) => channel / 255) : [0, 0, 0];
  scene.draw(panes, {
    edge: tone('--edge'), mesh: tone('--mesh'), marker: tone('--marker'), fill, ratio: ratio(),
    tint: document.getElementById('tint').checked ? 0.72 : 0, chosen: chosen.vertex,
  });
  placeLabels(panes[1]);
}

function redraw() {
  if (!waiting) requestAnimationFrame(draw);
  waiting = true;
}

function choose(vertex, x, y) {
  chosen.vertex = vertex;
  card.hidden = vertex < 0;
  if (vertex >= 0) {
    fillCard(vertex, mode);
    placeCard(x, y, canvas.clientWidth, canvas.clientHeight);
  }
  redraw();
}

// By number, keyboard or the search field: the card goes to the corner, out of the way.
function chooseKept(vertex) {
  chosen.kept = vertex >= 0;
  choose(vertex, canvas.clientWidth, canvas.clientHeight * 2);
}

listenTo(canvas, {
  changed: redraw,
  pointed(x, y) { pointer = [x, y]; redraw(); },
  clicked(x, y) {
    const vertex = pickAt(x, y);
    chosen.kept = vertex >= 0;
    choose(vertex, x, y);
  },
  left() { if (!chosen.kept) choose(-1); },
  stepped(by) {
    if (by === 0) chooseKept(-1);
    else chooseKept(chosen.vertex < 0 ? (by > 0 ? 0 : count - 1) : (chosen.vertex + by + count) % count);
  },
});

function found(text) {
  const cell = text.match(/^\s*(\d+)[\s,]+(\d+)[\s,]+(\d+)\s*$/);
  for (let i = 0; cell && i < count; ++i) if (cellOf(i).every((value, axis) => value === Number(cell[axis + 1]))) return i;
  if (cell) return -1;
  const wanted = text.trim().toUpperCase();
  if (wanted.length === 8) for (let i = 0; i < count; ++i) if (identityOf(i).toUpperCase() === wanted) return i;
  return /^\d+$/.test(wanted) && Number(wanted) < count ? Number(wanted) : -1;
}

const find = document.getElementById('find');
find.addEventListener('input', () => {
  const vertex = found(find.value);
  find.setAttribute('aria-invalid', String(vertex < 0 && find.value.trim() !== ''));
  chooseKept(vertex);
});

function setMode(name) {
  mode = name;
  scene?.setColours(coloursOf(mode));
  showLegend(mode);
  if (chosen.vertex >= 0) fillCard(chosen.vertex, mode);
  redraw();
}
for (const input of document.querySelectorAll('input[name="mode"]')) input.addEventListener('change', () => setMode(input.value));
document.getElementById('tint').addEventListener('change', redraw);
document.getElementById('reset').addEventListener('click', () => { Object.assign(turn, startTurn); redraw(); });
canvas.addEventListener('dblclick', () => { Object.assign(turn, startTurn); redraw(); });

const themes = ['auto', 'light', 'dark'], theme = document.getElementById('theme');
theme.addEventListener('click', () => {
  const next = themes[(themes.indexOf(root.dataset.theme || 'auto') + 1) % themes.length];
  root.dataset.theme = next;
  theme.textContent = next[0].toUpperCase() + next.slice(1);
  theme.setAttribute('aria-label', `Theme: ${next}`);
  redraw();
});
matchMedia('(prefers-color-scheme: dark)').addEventListener('change', redraw);

const plural = (number, noun, many) => `${grouped(number)} ${number === 1 ? noun : many}`;
document.getElementById('counts').textContent =
  `${plural(count, 'vertex', 'vertices')} · ${plural(triangles.length / 3, 'triangle', 'triangles')}` +
  (data.parts.length > 1 ? ` · ${data.parts.length} meshes` : '');
const size = high.map((value, axis) => Number((value - low[axis]).toPrecision(3)));
document.getElementById('mesh-note').textContent = `${size.join(' × ')}`;
document.getElementById('token-note').textContent = `${plural(crowd.size, 'cell', 'cells')} taken`;

if (gl) {
  const start = () => { scene = createScene(gl); setMode(document.querySelector('input[name="mode"]:checked').value); };
  canvas.addEventListener('webglcontextlost', (event) => { event.preventDefault(); scene = null; });
  canvas.addEventListener('webglcontextrestored', start);
  layOut();
  start();
  new ResizeObserver(() => { layOut(); redraw(); }).observe(canvas);
} else {
  document.getElementById('unsupported').hidden = false;
  setMode('level');
}
