// Pointer, wheel and touch over the canvas, as gestures: hooks.turn(dx, dy), pan(dx, dy), zoom(factor, x, y),
// pointed(x, y), clicked(x, y, twice), left(). Positions and distances are in pixels of the page.
function listenTo(canvas, hooks) {
  const pointers = new Map();
  let moved = 0, spread = 0, middle = null, lastTap = { at: 0, x: 0, y: 0 };
  const placeOf = (event) => {
    const box = canvas.getBoundingClientRect();
    return [event.clientX - box.left, event.clientY - box.top];
  };
  const pair = () => {
    const [a, b] = [...pointers.values()];
    return { spread: Math.hypot(a[0] - b[0], a[1] - b[1]), middle: [(a[0] + b[0]) / 2, (a[1] + b[1]) / 2] };
  };
  canvas.addEventListener('contextmenu', (event) => event.preventDefault());
  canvas.addEventListener('pointerdown', (event) => {
    canvas.setPointerCapture(event.pointerId);
    pointers.set(event.pointerId, placeOf(event));
    if (event.button === 1) event.preventDefault();
    if (pointers.size === 1) moved = 0;
    if (pointers.size === 2) ({ spread, middle } = pair());
    hooks.begin(...placeOf(event));
  });
  canvas.addEventListener('pointermove', (event) => {
    const now = placeOf(event), before = pointers.get(event.pointerId);
    if (!before) {
      if (event.pointerType !== 'touch') hooks.pointed(...now);
      return;
    }
    pointers.set(event.pointerId, now);
    const dx = now[0] - before[0], dy = now[1] - before[1];
    moved += Math.abs(dx) + Math.abs(dy);
    if (pointers.size === 2) {
      const two = pair();
      hooks.zoom(two.spread / (spread || two.spread), ...two.middle);
      hooks.pan(two.middle[0] - middle[0], two.middle[1] - middle[1]);
      ({ spread, middle } = two);
    } else if (moved > 4 && pointers.size === 1) {
      const panning = event.buttons & 6 || event.shiftKey;
      (panning ? hooks.pan : hooks.turn)(dx, dy);
    }
  });
  const end = (event) => {
    const single = pointers.size === 1 && pointers.has(event.pointerId);
    pointers.delete(event.pointerId);
    if (!single) return;
    hooks.end();
    if (moved > 4 || event.type !== 'pointerup' || event.button > 0) return;
    const [x, y] = placeOf(event), twice = event.timeStamp - lastTap.at < 350 && Math.hypot(x - lastTap.x, y - lastTap.y) < 12;
    lastTap = { at: twice ? 0 : event.timeStamp, x, y };
    hooks.clicked(x, y, twice);
  };
  canvas.addEventListener('pointerup', end);
  canvas.addEventListener('pointercancel', end);
  canvas.addEventListener('pointerleave', () => { if (pointers.size === 0) hooks.left(); });
  canvas.addEventListener('wheel', (event) => {
    event.preventDefault();
    const lines = event.deltaMode === 1 ? 30 : 1;
    hooks.begin(...placeOf(event));
    hooks.zoom(Math.exp(-clamp(event.deltaY * lines, -240, 240) * 0.0016), ...placeOf(event));
    hooks.end();
  }, { passive: false });
}

// The keys outside input fields: [keys, text of the help, action].
function keyTable(act) {
  return [
    [['ArrowLeft', 'ArrowRight', 'ArrowUp', 'ArrowDown'], 'Arrows: turn; with Shift: move', act.arrow],
    [['+', '=', '-'], '+ −: zoom', act.zoom],
    [['0', 'Home'], '0: show everything', act.fit],
    [['f'], 'F: focus on what is picked', act.focus],
    [[',', '.'], ', .: step through the tokens', act.stepToken],
    [['n'], 'N: to the nearest token', act.nearest],
    [['Escape'], 'Esc: let go', act.letGo],
    [[' '], 'Space: play or pause', act.play],
    [['[', ']'], '[ ]: frame back, frame on', act.stepFrame],
    [['1', '2', '3', '4', '5'], '1 to 5: colour by level, state, norm, layer, mesh', act.mode],
    [['w'], 'W: edges', act.edges],
    [['m'], 'M: tint the mesh', act.tint],
    [['g'], 'G: grid and axes', act.grid],
    [['v'], 'V: both views, mesh, tokens', act.views],
    [['l'], 'L: views linked or alone', act.linked],
    [['u'], 'U: Y or Z up', act.up],
    [['h'], 'H: hide the picked mesh', act.hide],
    [['i'], 'I: show the picked mesh alone', act.isolate],
    [['a'], 'A: show all', act.showAll],
    [['o'], 'O: list of objects', act.side],
    [['/'], '/: search', act.search],
    [['p'], 'P: picture (PNG)', act.picture],
    [['k'], 'K: link to this view', act.link],
    [['c'], 'C: picked token as text', act.record],
    [['t'], 'T: light or dark', act.theme],
    [['?'], '?: this list', act.help],
  ];
}

function listenToKeys(table, canvas) {
  const does = new Map(table.flatMap(([keys, , act]) => keys.map((key) => [key, act])));
  document.addEventListener('keydown', (event) => {
    const own = event.target.closest('input, select, button, summary, dialog, [role="tree"]');
    const onCanvas = event.target === canvas || event.target === document.body;
    const act = does.get(event.key.length === 1 ? event.key.toLowerCase() : event.key);
    if (event.ctrlKey || event.metaKey || event.altKey || !act) return;
    const typing = own?.matches('input[type="search"], select, dialog') || own?.closest('dialog');
    const needsCanvas = event.key.startsWith('Arrow') || event.key === ' ' || event.key === 'Home';
    if (typing || (needsCanvas && !onCanvas)) return;
    event.preventDefault();
    act(event.key, event.shiftKey);
  });
}
