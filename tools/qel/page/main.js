// Connects the parts: the state of the page, its look, and when it is drawn.
const by = (id) => document.getElementById(id);
const root = document.documentElement, canvas = by('canvas'), overlay = by('overlay'), card = by('card');

function showStatus(text) {
  by('found').textContent = text;
}

function fail(text) {
  by('message').textContent = text;
  by('message').hidden = false;
  document.body.classList.remove('opening');
}

// Guesses whether Z is up: if the scene begins at z = 0 and extends below y = 0, unless it is flat in y as ground is.
function guessZUp({ low, high }) {
  const [wide, deep, tall] = high.map((value, axis) => value - low[axis]);
  const ground = deep < Math.min(wide, tall) * 0.3;
  return tall > 0 && Math.abs(low[2]) < tall * 0.01 && low[1] < -deep * 0.05 && !ground;
}

function wholeBox(model) {
  const low = [0, 1, 2].map((axis) => Math.min(...model.meshes.map((mesh) => mesh.low[axis])));
  const high = [0, 1, 2].map((axis) => Math.max(...model.meshes.map((mesh) => mesh.high[axis])));
  return { low, high };
}

function startPage(model, read) {
  const gl = canvas.getContext('webgl2', { antialias: false, alpha: false });
  const state = { mode: 'level', layout: 'both', linked: true, zUp: false, fitted: true };
  const chosen = { vertex: -1, kept: false, near: [] };
  const cameras = { mesh: newCamera(), tokens: newCamera() };
  const colours = createColours(model), cells = createCells(model);
  const whole = model.count > 0 ? wholeBox(model) : { low: [0, 0, 0], high: [1, 1, 1] };
  const spaces = { mesh: spaceOf(whole), tokens: { centre: [23.5, 23.5, 23.5], scale: 1 / (24 * Math.sqrt(3)) } };
  let tones = null, active = null, selectedMeshes = [], outliner = null, time = null, floor = null;

  const style = (name) => getComputedStyle(root).getPropertyValue(name).trim();
  const tone = (name) => channels(style(name)).map((channel) => channel / 255);
  const look = () => ({
    paper: tone('--page'), edge: tone('--edge'), mesh: tone('--mesh'), ink: tone('--ink'), accent: tone('--accent'), tint: by('tint').checked ? 0.78 : 0,
    grid: by('grid').checked, box: selectedMeshes.length > 0 ? boxOf(model, selectedMeshes) : null,
  });
  const overlayLook = () => ({ ink: style('--ink'), paper: style('--page'), quiet: style('--quiet'), near: style('--near'), grid: by('grid').checked });

  const stage = createStage(gl, model, state, cameras, spaces, cells, {
    look, overlayLook, playing: () => Boolean(time?.playing),
    pointed: (x, y) => { if (!chosen.kept) hover(x, y); },
    picked: () => (chosen.vertex < 0 ? null : {
      vertex: chosen.vertex, near: chosen.kept ? chosen.near : [], colour: colours.of(chosen.vertex), place: placeIn, normal: normalOf(model, chosen.vertex),
    }),
  });
  const { redraw, refresh, paneAt } = stage;
  const placeIn = (pane, vertex) => (pane.isMesh ? positionOf(model, vertex) : cellOf(model, vertex));
  const moved = () => { state.fitted = false; stage.moved(); };
  const turned = (act) => {
    const own = active && stage.panes.includes(active) ? active : stage.panes[0];
    for (const pane of state.linked ? stage.panes : [own]) act(pane.camera, pane);
    moved();
  };

  // ---- picking
  function hover(x, y) {
    choose(stage.pickAt(x, y), false);
    if (chosen.vertex >= 0) placeCard(card, x, y, canvas.clientWidth, canvas.clientHeight);
  }
  function choose(vertex, kept) {
    if (vertex === chosen.vertex && kept === chosen.kept && vertex < 0) return;
    Object.assign(chosen, { vertex, kept: kept && vertex >= 0, near: kept && vertex >= 0 ? nearestTo(model, tones, vertex, 8) : [] });
    showCard();
    refresh();
  }
  function showCard() {
    card.hidden = chosen.vertex < 0;
    card.classList.toggle('kept', chosen.kept);
    by('take-record').disabled = chosen.vertex < 0;
    if (chosen.vertex < 0) return;
    const cell = cellNumberOf(model, chosen.vertex);
    fillCard(card, model, chosen.vertex, colours.of(chosen.vertex), cells.crowd[cell], chosen.near, keep);
    if (chosen.kept) card.style.transform = '';
  }
  const keep = (vertex) => choose(vertex, true);

  // ---- visibility and look
  function repaint(movingOnly = false) {
    tones = colours.paint(state.mode, movingOnly);
    cells.gather(tones);
    if (stage.renderer) {
      stage.renderer.setColours(tones);
      stage.renderer.setCells(cells);
    }
    by('token-note').textContent = `${plural(cells.count, 'cell')} taken`;
    redraw();
  }
  function showChanged() {
    stage.renderer?.setShown();
    if (chosen.vertex >= 0 && meshOf(model, chosen.vertex).out) choose(-1, false);
    repaint();
    noteMesh();
  }
  function filtered() {
    repaint();
    explain();
    if (chosen.kept) keep(chosen.vertex);
  }
  function explain() {
    const held = colours.isFiltered() ? ' Some tokens are held back by a filter.' : '';
    by('explain').textContent = explanations[state.mode] + held;
  }
  function setMode(name) {
    state.mode = name;
    document.querySelector(`input[name="mode"][value="${name}"]`).checked = true;
    repaint();
    showLegend(by('legend'), model, colours, name, filtered);
    explain();
    showCard();
    outliner?.redraw();
  }
  function goTo(frame) {
    goToFrame(model, frame);
    stage.renderer?.setFrame();
    if (model.meshes.some((mesh) => mesh.frames)) stage.renderer?.setShown();
    if (chosen.vertex >= 0 && meshOf(model, chosen.vertex).out) choose(-1, false);
    repaint(true);
    noteMesh();
    if (chosen.vertex >= 0) {
      if (chosen.kept && !time?.playing) chosen.near = nearestTo(model, tones, chosen.vertex, 8);
      if (chosen.kept && time?.playing) chosen.near = [];
      showCard();
    }
  }
  function noteMesh() {
    const shown = model.meshes.filter((mesh) => !mesh.out), box = boxOf(model, shown);
    const size = box ? box.high.map((value, axis) => Number((value - box.low[axis]).toPrecision(3))).join(' × ') : 'nothing shown';
    by('mesh-note').textContent = `${size}${floor && by('grid').checked ? ` · grid ${Number(floor.step.toPrecision(3))}` : ''}`;
  }
  function setUp(zUp) {
    state.zUp = zUp;
    by('up').textContent = zUp ? 'Z up' : 'Y up';
    floor = floorOf(whole, zUp);
    stage.renderer?.setFloor(floor.values);
    noteMesh();
    redraw();
  }
  function setLayout(name) {
    state.layout = name;
    by('stage').dataset.views = name;
    by('views').textContent = { both: 'Both', mesh: 'Mesh', tokens: 'Tokens' }[name];
    by('linked').disabled = name !== 'both';
    stage.layOut();
  }
  function setLinked(linked) {
    state.linked = linked;
    by('linked').setAttribute('aria-pressed', String(linked));
    by('linked').textContent = linked ? 'Linked' : 'Alone';
    if (!linked) return;
    const from = active && stage.panes.includes(active) ? active.camera : cameras.mesh; // the others follow the one that moved last
    for (const camera of Object.values(cameras)) Object.assign(camera, { yaw: from.yaw, pitch: from.pitch });
    redraw();
  }

  // ---- navigation
  const unitOf = (space, point) => upright(state.zUp, sub3(point, space.centre).map((value) => value * space.scale));
  function frameMeshes(meshes) {
    const box = boxOf(model, meshes.length > 0 ? meshes : model.meshes);
    if (!box) return;
    const own = spaceOf(box), camera = cameras.mesh;
    camera.target = unitOf(spaces.mesh, own.centre);
    camera.zoom = clamp(own.scale / spaces.mesh.scale, 0.2, 5000);
    Object.assign(cameras.tokens, { zoom: 1, target: [0, 0, 0] });
    redraw();
  }
  function fit() {
    if (state.fitted) for (const camera of Object.values(cameras)) Object.assign(camera, { yaw: startTurn.yaw, pitch: startTurn.pitch });
    frameMeshes(model.meshes.filter((mesh) => !mesh.out));
    state.fitted = true;
  }
  function focus() {
    if (chosen.vertex < 0) {
      frameMeshes(selectedMeshes);
      return;
    }
    const box = boxOf(model, [meshOf(model, chosen.vertex)]), size = box ? spaceOf(box).scale / spaces.mesh.scale : 1;
    for (const pane of stage.panes) {
      pane.camera.target = unitOf(spaces[pane.name], placeIn(pane, chosen.vertex));
      pane.camera.zoom = Math.max(pane.camera.zoom, pane.isMesh ? size * 2.5 : 2.5);
    }
    moved();
  }
  listenTo(canvas, {
    begin: (x, y) => { stage.moving = true; active = paneAt(x, y) || active; },
    end: stage.endMoving,
    turn: (dx, dy) => turned((camera) => {
      const slow = 0.008 / Math.max(1, Math.sqrt(camera.zoom) * 0.6);
      turnBy(camera, -dx * -slow, dy * slow);
    }),
    pan: (dx, dy) => turned((camera, pane) => panBy(camera, dx / pane.height, dy / pane.height, pane.width / pane.height)),
    zoom: (factor, x, y) => {
      const own = paneAt(x, y) || stage.panes[0], nx = (x - own.left) / own.width * 2 - 1, ny = 1 - (y - own.top) / own.height * 2;
      turned((camera, pane) => zoomBy(camera, factor, nx, ny, pane.width / pane.height));
    },
    pointed(x, y) { stage.pointer = [x, y]; refresh(); },
    clicked(x, y, twice) {
      const vertex = stage.pickAt(x, y);
      choose(vertex, true);
      if (vertex >= 0) outliner.reveal(meshOf(model, vertex).object);
      if (twice && vertex >= 0) focus();
    },
    left() { stage.pointer = null; if (!chosen.kept) choose(-1, false); },
  });

  // ---- search
  function find(after) {
    const answer = search(model, by('find').value, after);
    by('find').setAttribute('aria-invalid', String('nothing' in answer));
    showStatus(answer.nothing || '');
    if ('nothing' in answer) choose(-1, false);
    if ('object' in answer) {
      outliner.select(answer.object);
      showStatus(`${pathOf(model, answer.object)}: press Enter to frame it.`);
    } else if (answer.vertex >= 0) keep(answer.vertex);
    else if (answer.vertex < 0) choose(-1, false);
    return answer;
  }
  by('find').addEventListener('input', () => find(-1));
  by('find').addEventListener('keydown', (event) => {
    if (event.key === 'Enter') {
      const answer = find(chosen.vertex);
      if (answer.vertex >= 0) showStatus('Enter finds the next one.');
      if (answer.object >= 0) frameMeshes(selectedMeshes);
    }
    if (event.key === 'Escape') { by('find').value = ''; find(-1); canvas.focus(); }
  });

  // ---- export
  const fileName = (ending) => `${model.header.title.replace(/[^\w.-]+/g, '_').slice(0, 60) || 'scene'}${ending}`;
  const viewNow = () => viewText({ ...state, frame: model.frame, vertex: chosen.kept ? chosen.vertex : -1,
    hidden: model.meshes.filter((mesh) => mesh.hidden).map((mesh) => mesh.number) }, cameras);
  function takePicture() {
    stage.drawNow();
    picture(canvas, overlay, style('--page'), fileName('.png'));
    showStatus('The picture is saved.');
  }
  function takeLink() {
    history.replaceState(null, '', '#' + viewNow());
    copy(location.href, showStatus, 'The link is copied.');
  }
  function takeRecord() {
    if (chosen.vertex < 0) showStatus('No token is picked.');
    else copy(recordText(model, chosen.vertex), showStatus, 'The record is copied.');
  }

  // ---- controls
  const pickedMesh = () => (chosen.vertex >= 0 ? meshOf(model, chosen.vertex).object : outliner.selected);
  const showSide = (open) => {
    document.body.classList.toggle('side-shown', open);
    by('side-open').setAttribute('aria-expanded', String(open));
    stage.layOut();
  };
  function stepToken(step) {
    const passes = (vertex) => tones[vertex * 4 + 3] > 0 && !meshOf(model, vertex).out;
    let vertex = chosen.vertex < 0 ? (step > 0 ? -1 : model.count) : chosen.vertex;
    for (let tries = 0; tries < model.count; ++tries) {
      vertex = (vertex + step + model.count) % model.count;
      if (passes(vertex)) return keep(vertex);
    }
  }
  connectControls({
    state, model, fit, focus, stepToken, setMode, setLayout, setLinked, setUp, showSide, takePicture, takeLink, takeRecord, redraw, noteMesh,
    turn: (dx, dy) => turned((camera) => turnBy(camera, dx, dy)),
    pan: (dx, dy) => turned((camera, pane) => panBy(camera, dx, dy, pane.width / pane.height)),
    zoom: (factor) => turned((camera, pane) => zoomBy(camera, factor, 0, 0, pane.width / pane.height)),
    nearest: () => { if (chosen.vertex >= 0) keep((nearestTo(model, tones, chosen.vertex, 1)[0] || [-1])[0]); },
    letGo: () => { choose(-1, false); outliner.select(-1); showStatus(''); },
    play: () => { if (model.times.length > 1) time.toggle(); },
    stepFrame: (step) => { if (model.times.length > 1) time.step(step); },
    hide: () => { if (pickedMesh() >= 0) outliner.toggle(pickedMesh()); },
    isolate: () => { if (pickedMesh() >= 0) outliner.isolate(pickedMesh()); },
    showAll: () => outliner.showAll(),
    setEdges: (wanted) => stage.renderer?.setEdges(wanted),
  });

  // ---- start
  const objectsShown = new Set(model.meshes.map((mesh) => mesh.object)).size;
  const stills = model.times.length > 1 ? ` · ${plural(model.times.length, 'frame')}` : '';
  by('counts').textContent = `${plural(model.count, 'vertex', 'vertices')} · ${plural(model.triangleCount, 'triangle')}` +
    (objectsShown === 1 ? '' : ` · ${plural(objectsShown, 'mesh', 'meshes')}`) + stills;
  by('notes').replaceChildren(...model.header.notes.map((note) => element('p', note)));
  outliner = createOutliner(model, {
    colourOf: (mesh) => (state.mode === 'mesh' ? colours.ofMesh(mesh) : 'var(--edge)'),
    changed: showChanged, selected: (meshes) => { selectedMeshes = meshes; redraw(); }, focus: frameMeshes,
  });
  time = createTime(model, goTo);
  document.body.classList.toggle('side-shown', window.innerWidth > 760 && model.objects.length > 1);
  document.body.classList.remove('opening');

  function startDrawing() {
    stage.renderer = createRenderer(gl, model);
    stage.renderer.setShown();
    if (by('edges').checked) stage.renderer.setEdges(true);
    setUp(state.zUp);
    setMode(state.mode);
  }
  function restoreView(text) {
    const view = readView(text);
    if (!view.hasView) return;
    for (const name of ['mesh', 'tokens']) if (view[name]) Object.assign(cameras[name], view[name]);
    const hidden = new Set(view.hidden);
    for (const mesh of model.meshes) mesh.hidden = hidden.has(mesh.number);
    setUp(view.zUp);
    state.linked = view.linked;
    setLinked(view.linked);
    if (view.mode) state.mode = view.mode;
    if (view.layout) setLayout(view.layout);
    state.fitted = false;
    outliner.redraw();
    stage.renderer?.setShown();
    setMode(state.mode);
    if (view.frame > 0) state.wantedFrame = view.frame;
    if (view.token >= 0 && view.token < model.count) keep(view.token);
  }

  state.zUp = guessZUp(whole);
  if (gl) {
    canvas.addEventListener('webglcontextlost', (event) => { event.preventDefault(); stage.renderer = null; });
    canvas.addEventListener('webglcontextrestored', startDrawing);
    startDrawing();
    new ResizeObserver(stage.layOut).observe(by('stage'));
    stage.layOut();
    if (model.count === 0) fail('This scene has no mesh to show: every one of it is empty, hidden or missing.');
  } else {
    setUp(state.zUp);
    setMode('level');
    fail('This browser offers no WebGL 2, which the picture needs. The list of objects and the search work without it.');
  }
  restoreView(location.hash);
  window.addEventListener('hashchange', () => restoreView(location.hash));
  if (model.times.length > 1)
    readFrames(model, read, (number) => {
      time.show();
      if (number === state.wantedFrame) time.jump(number);
    }).catch((error) => fail(`This page is damaged: ${error.message}. Make it again with qel view.`));
}

try {
  if (!window.DecompressionStream) throw new Error('This browser is too old to unpack the page: it has no DecompressionStream.');
  const { header, read } = openPage(document);
  startPage(await openModel(header, read), read);
} catch (error) {
  by('counts').textContent = '';
  fail(error instanceof Damaged ? `This page is damaged: ${error.message}. Make it again with qel view.` : error.message);
}
