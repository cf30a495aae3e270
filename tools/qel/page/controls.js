// Buttons and keys. Each calls one function of `app`.
const arrows = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };
const gestures = ['Drag: turn', 'Right drag, Shift drag, two fingers: move', 'Wheel, pinch: zoom to the pointer', 'Click, tap: keep a token',
  'Double click: focus'];
const cycle = (list, value) => list[(list.indexOf(value) + 1) % list.length];

function flip(id) {
  by(id).checked = !by(id).checked;
  by(id).dispatchEvent(new Event('change'));
}

function nextTheme(redraw) {
  const next = cycle(['auto', 'light', 'dark'], root.dataset.theme || 'auto');
  root.dataset.theme = next;
  by('theme').textContent = next[0].toUpperCase() + next.slice(1);
  by('theme').setAttribute('aria-label', `Theme: ${next}`);
  redraw();
}

// The actions of the keys in the table.
function keyActs(app, acts) {
  return keyTable({
    ...acts,
    arrow: (key, shift) => {
      const [x, y] = arrows[key];
      if (shift) app.pan(x * -0.04, y * -0.04);
      else app.turn(x * 0.1, y * 0.1);
    },
    zoom: (key) => app.zoom(key === '-' ? 1 / 1.15 : 1.15),
    stepToken: (key) => app.stepToken(key === '.' ? 1 : -1),
    stepFrame: (key) => app.stepFrame(key === ']' ? 1 : -1),
    mode: (key) => app.setMode(['level', 'state', 'norm', 'layer', 'mesh'][key - 1]),
    edges: () => flip('edges'), tint: () => flip('tint'), grid: () => flip('grid'),
    fit: app.fit, focus: app.focus, nearest: app.nearest, letGo: app.letGo, play: app.play, hide: app.hide, isolate: app.isolate,
    showAll: app.showAll, side: () => app.showSide(!document.body.classList.contains('side-shown')), search: () => by('find').focus(),
  });
}

function listHelp(table) {
  for (const text of [...table.map(([, words]) => words), ...gestures]) {
    const at = text.indexOf(': ');
    by('help-list').append(element('dt', text.slice(0, at)), element('dd', text.slice(at + 2)));
  }
}

function connectControls(app) {
  const { state } = app;
  const acts = { // of buttons and of keys
    views: () => app.setLayout(cycle(['both', 'mesh', 'tokens'], state.layout)), linked: () => app.setLinked(!state.linked),
    up: () => app.setUp(!state.zUp), theme: () => nextTheme(app.redraw), help: () => by('help').showModal(),
    picture: app.takePicture, link: app.takeLink, record: app.takeRecord,
  };
  const table = keyActs(app, acts);
  listenToKeys(table, canvas);
  listHelp(table);
  for (const input of document.querySelectorAll('input[name="mode"]')) input.addEventListener('change', () => app.setMode(input.value));
  by('tint').addEventListener('change', app.redraw);
  by('grid').addEventListener('change', () => { app.noteMesh(); app.redraw(); });
  by('edges').addEventListener('change', () => { app.setEdges(by('edges').checked); app.redraw(); });
  const pressed = { fit: app.fit, up: acts.up, views: acts.views, linked: acts.linked, theme: acts.theme, 'help-open': acts.help,
    'side-open': () => app.showSide(true), 'side-close': () => app.showSide(false) };
  for (const [id, act] of Object.entries(pressed)) by(id).addEventListener('click', act);
  for (const name of ['picture', 'link', 'record']) by(`take-${name}`).addEventListener('click', () => { by('take').open = false; acts[name](); });
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', app.redraw);
}
