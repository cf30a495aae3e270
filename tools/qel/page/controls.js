// Pointer, wheel, touch and keys over the canvas. They call `hooks`: changed, pointed(x, y), clicked(x, y), left.
function listenTo(canvas, hooks) {
  const pointers = new Map();
  let moved = 0, spread = 0;
  const clampTurn = () => {
    turn.pitch = Math.min(Math.max(turn.pitch, -Math.PI / 2), Math.PI / 2);
    turn.zoom = Math.min(Math.max(turn.zoom, 0.5), 40);
    hooks.changed();
  };
  const placeOf = (event) => {
    const box = canvas.getBoundingClientRect();
    return [event.clientX - box.left, event.clientY - box.top];
  };
  const distance = () => {
    const [a, b] = [...pointers.values()];
    return Math.hypot(a[0] - b[0], a[1] - b[1]);
  };

  canvas.addEventListener('pointerdown', (event) => {
    canvas.setPointerCapture(event.pointerId);
    pointers.set(event.pointerId, placeOf(event));
    if (pointers.size === 1) moved = 0;
    if (pointers.size === 2) spread = distance();
  });
  canvas.addEventListener('pointermove', (event) => {
    const now = placeOf(event), before = pointers.get(event.pointerId);
    if (!before) {
      if (event.pointerType !== 'touch') hooks.pointed(...now);
      return;
    }
    const dx = now[0] - before[0], dy = now[1] - before[1];
    pointers.set(event.pointerId, now);
    moved += Math.abs(dx) + Math.abs(dy);
    if (pointers.size === 2) {
      const wider = distance();
      turn.zoom *= wider / (spread || wider);
      spread = wider;
    } else if (moved > 4) {
      const slow = 0.008 / Math.max(1, Math.sqrt(turn.zoom));
      turn.yaw += dx * slow;
      turn.pitch += dy * slow;
    }
    clampTurn();
  });
  const end = (event) => {
    const single = pointers.size === 1 && pointers.has(event.pointerId);
    pointers.delete(event.pointerId);
    if (single && moved <= 4 && event.type === 'pointerup') hooks.clicked(...placeOf(event));
  };
  canvas.addEventListener('pointerup', end);
  canvas.addEventListener('pointercancel', end);
  canvas.addEventListener('pointerleave', () => { if (pointers.size === 0) hooks.left(); });
  canvas.addEventListener('wheel', (event) => {
    event.preventDefault();
    const lines = event.deltaMode === 1 ? 30 : 1;
    turn.zoom *= Math.exp(-Math.max(-240, Math.min(240, event.deltaY * lines)) * 0.0016);
    clampTurn();
  }, { passive: false });

  const keysDo = {
    ArrowLeft: () => { turn.yaw -= 0.1; }, ArrowRight: () => { turn.yaw += 0.1; },
    ArrowUp: () => { turn.pitch -= 0.1; }, ArrowDown: () => { turn.pitch += 0.1; },
    '+': () => { turn.zoom *= 1.15; }, '=': () => { turn.zoom *= 1.15; }, '-': () => { turn.zoom /= 1.15; },
    0: () => Object.assign(turn, startTurn),
    ',': () => hooks.stepped(-1), '.': () => hooks.stepped(1), Escape: () => hooks.stepped(0),
  };
  canvas.addEventListener('keydown', (event) => {
    if (event.ctrlKey || event.metaKey || event.altKey || !keysDo[event.key]) return;
    event.preventDefault();
    keysDo[event.key]();
    clampTurn();
  });
}
