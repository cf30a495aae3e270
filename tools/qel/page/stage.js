// Draws both views on the canvas and the overlay when something changed, coarsely during slow movements.
// `hooks` returns the look (look, overlayLook), the picked token and whether frames play; pointed() gets pointer moves.
const restTime = 120, minResolution = 0.5; // milliseconds without a move; share of the pixels along each edge
const maxFineInSoftware = 30000; // triangles; more are drawn coarsely by software from the first frame on

function createStage(gl, model, state, cameras, spaces, cells, hooks) {
  const stage = { renderer: null, panes: [], moving: false, pointer: null };
  let asked = 0, dirty = true, overlayDirty = true, share = 1, coarse = false, drawn = false, full = [1, 1], slow = 0, resting = 0;
  let lastMove = -Infinity, prepared = false;
  const ratio = () => Math.min(window.devicePixelRatio || 1, 2);

  stage.layOut = () => {
    const box = canvas.getBoundingClientRect(), scale = ratio();
    full = [Math.max(1, Math.round(box.width * scale)), Math.max(1, Math.round(box.height * scale))];
    [overlay.width, overlay.height] = full;
    stage.panes = [['mesh', 'mesh-pane'], ['tokens', 'token-pane']].map(([name, id]) => {
      const own = by(id).getBoundingClientRect();
      return { name, isMesh: name === 'mesh', left: own.left - box.left, top: own.top - box.top, width: own.width, height: own.height,
        camera: cameras[name], seen: null };
    }).filter((pane) => pane.width > 2 && pane.height > 2);
    stage.redraw();
  };
  stage.paneAt = (x, y) => stage.panes.find((p) => x >= p.left && x < p.left + p.width && y >= p.top && y < p.top + p.height);
  stage.redraw = () => {
    dirty = true;
    stage.refresh();
  };
  stage.refresh = () => { // draws the overlay only
    overlayDirty = true;
    asked ||= requestAnimationFrame(draw);
  };
  stage.drawNow = () => {
    dirty = overlayDirty = true;
    cancelAnimationFrame(asked);
    draw(performance.now());
  };
  stage.endMoving = () => {
    stage.moving = false;
    restAfter(restTime);
  };
  stage.moved = () => { // after a wheel or key event, which has no end event
    lastMove = performance.now();
    stage.redraw();
  };
  const restAfter = (time) => {
    clearTimeout(resting);
    resting = setTimeout(rest, time);
  };

  function draw(now) {
    asked = 0;
    if (!stage.renderer || gl.isContextLost() || stage.panes.length === 0) return;
    if (dirty) drawViews(now);
    if (stage.pointer && !stage.moving) {
      hooks.pointed(...stage.pointer);
      stage.pointer = null;
    }
    if (overlayDirty && !coarse) {
      drawOverlay(overlay, stage.panes, ratio(), hooks.overlayLook(), hooks.picked(), state.zUp);
      overlayDirty = false;
    }
  }
  // Draws coarsely during slow movements, and once more in full at rest.
  function drawViews(now) {
    dirty = false;
    const busy = stage.moving || hooks.playing() || performance.now() - lastMove < restTime;
    if (!drawn && stage.renderer.software && trianglesAtOnce(model) > maxFineInSoftware) share = minResolution;
    if (busy) requestAnimationFrame((later) => judge(later - now));
    coarse = busy && share < 1;
    const [width, height] = coarse ? full.map((size) => Math.ceil(size * share)) : full;
    if (canvas.width !== width || canvas.height !== height) [canvas.width, canvas.height] = [width, height];
    overlay.style.visibility = coarse ? 'hidden' : '';
    for (const pane of stage.panes) pane.seen = sight(pane.camera, pane.width / pane.height, spaces[pane.name], state.zUp);
    stage.renderer.draw(stage.panes, hooks.look(), coarse ? ratio() * share : ratio(), coarse);
    if (!drawn) performance.mark('first picture');
    drawn = true;
    restAfter(200);
  }
  // After two frames that took longer than a thirtieth of a second, the next ones are coarse.
  function judge(took) {
    slow = took > 34 ? slow + 1 : 0;
    if (slow > 1) share = Math.max(minResolution, share * 0.7);
  }
  function rest() {
    const left = lastMove + restTime - performance.now();
    if (stage.moving || hooks.playing()) return;
    if (left > 0) restAfter(left);
    else if (coarse) stage.redraw();
    else if (!prepared && stage.renderer) prepare();
  }
  // Prepares, when idle, the coarse scene and the boxes for picking.
  function prepare() {
    prepared = true;
    stage.renderer.makeCoarse();
    for (const mesh of model.meshes) if (!mesh.out) boxBlocks(model, mesh);
  }

  // The vertex at a position: the corner nearest to the visible point of a triangle; -1 for none.
  stage.pickAt = (x, y) => {
    const pane = stage.paneAt(x, y);
    return pane?.seen && stage.renderer ? pickVertex(model, cells, pane, x, y, stage.renderer.sizesOf(pane)) : -1;
  };
  return stage;
}
