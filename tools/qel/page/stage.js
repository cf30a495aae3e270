// The stage: both views on the canvas and what lies over them, drawn when something changed, coarsely while it is slow.
// `hooks` tells how it looks (look, overlayLook), what is picked, whether time runs, and is told of a pointer at rest.
function createStage(gl, model, state, cameras, spaces, cells, hooks) {
  const stage = { renderer: null, panes: [], moving: false, pointer: null };
  let asked = 0, dirty = true, overlayDirty = true, share = 1, coarse = false, drawn = false, full = [1, 1], slow = 0, resting = 0;
  const ratio = () => Math.min(window.devicePixelRatio || 1, 2);

  stage.layOut = () => {
    const box = canvas.getBoundingClientRect(), scale = ratio();
    full = [Math.max(1, Math.round(box.width * scale)), Math.max(1, Math.round(box.height * scale))];
    [overlay.width, overlay.height] = full;
    stage.panes = [['mesh', 'mesh-pane'], ['tokens', 'token-pane']].map(([name, id]) => {
      const own = by(id).getBoundingClientRect();
      return { name, isMesh: name === 'mesh', left: own.left - box.left, top: own.top - box.top, width: own.width, height: own.height,
        camera: cameras[name], seen: null, numbered: false };
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
    clearTimeout(resting);
    resting = setTimeout(rest, 120);
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
    const busy = stage.moving || hooks.playing();
    if (busy) requestAnimationFrame((later) => judge(later - now));
    coarse = busy && share < 1;
    const [width, height] = coarse ? full.map((size) => Math.ceil(size * share)) : full;
    if (canvas.width !== width || canvas.height !== height) [canvas.width, canvas.height] = [width, height];
    overlay.style.visibility = coarse ? 'hidden' : '';
    for (const pane of stage.panes) {
      pane.seen = sight(pane.camera, pane.width / pane.height, spaces[pane.name], state.zUp);
      pane.numbered = false;
    }
    stage.renderer.draw(stage.panes, hooks.look(), coarse ? ratio() * share : ratio(), coarse);
    if (!drawn) requestAnimationFrame(() => performance.mark('first picture'));
    drawn = true;
    clearTimeout(resting);
    resting = setTimeout(rest, 200);
  }
  // Two frames that took longer than a thirtieth of a second make the next ones coarse.
  function judge(took) {
    slow = took > 34 ? slow + 1 : 0;
    if (slow > 1) share = Math.max(0.5, share * 0.7);
  }
  function rest() {
    if (stage.moving || hooks.playing()) return;
    if (coarse) stage.redraw();
    else if (model.count > 100000) for (const pane of stage.panes) number(pane); // before a pointer asks
  }
  function number(pane) {
    if (!pane.seen || pane.numbered || !stage.renderer) return;
    stage.renderer.number(pane, ratio(), full);
    pane.numbered = true;
  }

  // The vertex at a place: of a triangle the one nearest to the point that is seen there; -1 for none.
  stage.pickAt = (x, y) => {
    const pane = stage.paneAt(x, y);
    if (!pane || !stage.renderer || !pane.seen) return -1;
    number(pane);
    const hit = stage.renderer.pick(pane, x, y, ratio(), full);
    if (!hit) return -1;
    if (!pane.isMesh) return cells.vertices[hit.number];
    const mesh = meshOf(model, hit.number);
    if (mesh.triangleCount === 0) return hit.number;
    const point = unprojected(pane.seen, (hit.x - pane.left) / pane.width * 2 - 1, 1 - (hit.y - pane.top) / pane.height * 2, hit.depth);
    return nearestVertex(model, mesh, point);
  };
  return stage;
}
