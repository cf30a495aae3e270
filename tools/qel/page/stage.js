// The stage: both views on the canvas and what lies over them, drawn when something changed, coarsely while it is slow.
// `hooks` tells how it looks (look, overlayLook), what is picked, whether time runs, and is told of a pointer at rest.
const restTime = 120, leastShare = 0.5; // milliseconds without a move; pixels in each direction of a coarse picture
const quickFrom = 30000;                // triangles: software draws more coarsely from the first move on

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
  stage.refresh = () => { // what lies over the views only
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
  stage.moved = () => { // by a wheel or a key, which have no end
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
  // While things move slowly they are drawn coarsely; at rest once more in full.
  function drawViews(now) {
    dirty = false;
    const busy = stage.moving || hooks.playing() || performance.now() - lastMove < restTime;
    if (!drawn && stage.renderer.software && trianglesAtOnce(model) > quickFrom) share = leastShare;
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
  // Two frames that took longer than a thirtieth of a second make the next ones coarse.
  function judge(took) {
    slow = took > 34 ? slow + 1 : 0;
    if (slow > 1) share = Math.max(leastShare, share * 0.7);
  }
  function rest() {
    const left = lastMove + restTime - performance.now();
    if (stage.moving || hooks.playing()) return;
    if (left > 0) restAfter(left);
    else if (coarse) stage.redraw();
    else if (!prepared && stage.renderer) prepare();
  }
  // Before a pointer asks: what is needed to turn and to answer quickly.
  function prepare() {
    prepared = true;
    stage.renderer.makeCoarse();
    for (const mesh of model.meshes) if (!mesh.out) boxBlocks(model, mesh);
  }

  // The vertex at a place: of a triangle the corner nearest to the point that is seen there; -1 for none.
  stage.pickAt = (x, y) => {
    const pane = stage.paneAt(x, y);
    return pane?.seen && stage.renderer ? pickVertex(model, cells, pane, x, y, stage.renderer.sizesOf(pane)) : -1;
  };
  return stage;
}
