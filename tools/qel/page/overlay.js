// The overlay of both views: axes, the picked token, its normal, the nearest tokens with their distances.
const axisColours = ['#d1495b', '#4f9d54', '#3d7dca'];

function ring(pen, x, y, radius, stroke, fill, halo) {
  pen.beginPath();
  pen.arc(x, y, radius, 0, 7);
  if (fill) { pen.fillStyle = fill; pen.fill(); }
  pen.lineWidth = 4;
  pen.strokeStyle = halo;
  pen.stroke();
  pen.lineWidth = 2;
  pen.strokeStyle = stroke;
  pen.stroke();
}

function label(pen, text, x, y, ink, halo) {
  pen.lineWidth = 3.5;
  pen.strokeStyle = halo;
  pen.strokeText(text, x, y);
  pen.fillStyle = ink;
  pen.fillText(text, x, y);
}

// Small axes of the world in the corner of a view.
function drawAxes(pen, pane, look) {
  const x = pane.left + 44, y = pane.top + pane.height - 44, length = 25;
  const ends = [0, 1, 2].map((axis) => ({ axis, way: [0, 1, 2].map((row) => pane.seen.turned[axis * 3 + row]) }));
  ends.sort((a, b) => a.way[2] - b.way[2]);
  for (const { axis, way } of ends) {
    const toX = x + way[0] * length, toY = y - way[1] * length;
    pen.beginPath();
    pen.moveTo(x, y);
    pen.lineTo(toX, toY);
    pen.lineWidth = 2;
    pen.strokeStyle = axisColours[axis];
    pen.stroke();
    label(pen, 'xyz'[axis], x + way[0] * (length + 10), y - way[1] * (length + 10), axisColours[axis], look.paper);
  }
}

// Axis names beside the middle of visible outer edges.
function drawCubeLabels(pen, pane, look, zUp) {
  const { turned } = pane.seen, up = zUp ? 2 : 1, flat = [0, 1, 2].filter((axis) => axis !== up);
  const side = (axis) => (turned[axis * 3 + 2] > 0 ? 52 : -5);
  const places = flat.map((axis, i) => {
    const point = [23.5, 23.5, 23.5], other = flat[1 - i];
    point[other] = side(other);
    point[up] = -4;
    return [axis, point];
  });
  const corners = [[-4, -4], [-4, 51], [51, -4], [51, 51]].map(([a, b]) => {
    const point = [0, 0, 0];
    point[up] = 23.5; point[flat[0]] = a; point[flat[1]] = b;
    return point;
  });
  corners.sort((a, b) => projected(pane.seen, a, 1, 1)[0] - projected(pane.seen, b, 1, 1)[0]);
  for (const [axis, point] of [...places, [up, corners[0]]]) {
    const [x, y, w] = projected(pane.seen, point, pane.width, pane.height);
    if (w > 0 && x > 8 && y > 12 && x < pane.width - 8 && y < pane.height - 12)
      label(pen, 'xyz'[axis], pane.left + x, pane.top + y, look.quiet, look.paper);
  }
}

// `near` holds [vertex, distance]; `place(pane, vertex)` is the position of a vertex in a view.
function drawPicked(pen, pane, look, { vertex, near, colour, normal, place }) {
  const at = (point) => {
    const [x, y, w] = projected(pane.seen, point, pane.width, pane.height);
    return w > 0 ? [pane.left + x, pane.top + y] : null;
  };
  const here = at(place(pane, vertex)), taken = [];
  if (!here) return;
  for (const [other, distance] of [...near].reverse()) {
    const there = at(place(pane, other));
    if (!there) continue;
    pen.beginPath();
    pen.moveTo(...here);
    pen.lineTo(...there);
    pen.lineWidth = 1;
    pen.strokeStyle = look.near;
    pen.stroke();
    ring(pen, ...there, 4, look.near, null, look.paper);
    const apart = taken.every(([x, y]) => Math.hypot(x - there[0], y - there[1]) > 16) && Math.hypot(here[0] - there[0], here[1] - there[1]) > 16;
    if (apart) label(pen, grouped(distance), there[0] + 13, there[1] - 8, look.near, look.paper);
    taken.push(there);
  }
  if (normal && pane.isMesh) {
    const from = place(pane, vertex), size = 0.16 / pane.seen.scale / Math.max(1, pane.camera.zoom);
    const to = at(from.map((value, axis) => value + normal[axis] * size));
    if (to) {
      pen.beginPath();
      pen.moveTo(...here);
      pen.lineTo(...to);
      pen.lineWidth = 2;
      pen.strokeStyle = look.ink;
      pen.stroke();
    }
  }
  ring(pen, ...here, 9, look.ink, null, look.paper);
  ring(pen, ...here, 4, look.ink, colour, look.paper);
}

function drawOverlay(canvas, panes, ratio, look, picked, zUp) {
  const pen = canvas.getContext('2d');
  pen.setTransform(ratio, 0, 0, ratio, 0, 0);
  pen.clearRect(0, 0, canvas.width, canvas.height);
  pen.font = '13px system-ui, "Noto Sans", sans-serif';
  pen.textAlign = 'center';
  pen.textBaseline = 'middle';
  pen.lineJoin = 'round';
  for (const pane of panes) {
    pen.save();
    pen.beginPath();
    pen.rect(pane.left, pane.top, pane.width, pane.height);
    pen.clip();
    if (pane.isMesh && look.grid) drawAxes(pen, pane, look);
    if (!pane.isMesh) drawCubeLabels(pen, pane, look, zUp);
    if (picked) drawPicked(pen, pane, look, picked);
    pen.restore();
  }
}

// Grid lines under the scene, with a step of 1, 2 or 5 times a power of ten. The two axes are first.
function floorOf({ low, high }, zUp) {
  const up = zUp ? 2 : 1, [a, b] = [0, 1, 2].filter((axis) => axis !== up);
  const size = Math.max(high[a] - low[a], high[b] - low[b]) || Math.max(high[up] - low[up], 1) || 1;
  const power = 10 ** Math.floor(Math.log10(size / 8)), step = [1, 2, 5, 10].map((n) => n * power).find((n) => size / n <= 14);
  const from = [a, b].map((axis) => Math.floor((low[axis] - size * 0.15) / step)), to = [a, b].map((axis) => Math.ceil((high[axis] + size * 0.15) / step));
  const level = low[up], axes = [], lines = [];
  const add = (list, along, place, start, end) => {
    for (const value of [start, end]) {
      const point = [0, 0, 0];
      point[up] = level; point[along] = value * step; point[along === a ? b : a] = place * step;
      list.push(...point);
    }
  };
  const inside = (side) => (from[side] <= 0 && to[side] >= 0 ? 0 : from[side]);
  add(axes, a, inside(1), from[0], to[0]);
  add(axes, b, inside(0), from[1], to[1]);
  for (let place = from[1]; place <= to[1]; ++place) add(lines, a, place, from[0], to[0]);
  for (let place = from[0]; place <= to[0]; ++place) add(lines, b, place, from[1], to[1]);
  return { values: new Float32Array([...axes, ...lines]), step };
}
