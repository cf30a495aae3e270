// Cameras that orbit a target, in a space where the whole scene has the radius 1. Matrices are column-major.
const startTurn = { yaw: 0.65, pitch: 0.5, zoom: 1 };
const lens = Math.tan(0.24); // the tangent of half the field of view
const newCamera = () => ({ ...startTurn, target: [0, 0, 0] });

const dot3 = (a, b) => a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
const sub3 = (a, b) => [a[0] - b[0], a[1] - b[1], a[2] - b[2]];

// Rows: right, up and towards the camera.
function axesOf({ yaw, pitch }) {
  const cy = Math.cos(yaw), sy = Math.sin(yaw), cp = Math.cos(pitch), sp = Math.sin(pitch);
  return [[cy, 0, sy], [sp * sy, cp, -sp * cy], [-cp * sy, sp, cp * cy]];
}

// With Z up the scene is rotated so that its Z is the picture's Y.
const upright = (zUp, [x, y, z]) => zUp ? [x, z, -y] : [x, y, z];

// The view of one space, which `centre` and `scale` normalize to radius 1.
function sight(camera, aspect, { centre, scale }, zUp) {
  const axes = axesOf(camera), distance = 1.06 / lens / camera.zoom / Math.min(1, aspect);
  const reach = 1.8 + Math.hypot(...camera.target);
  const front = Math.max(distance * 0.02, distance - reach), far = distance + reach;
  const a = -(far + front) / (far - front), b = -2 * far * front / (far - front);
  const columns = [0, 1, 2].map((axis) => {
    const unit = upright(zUp, [0, 1, 2].map((i) => (i === axis ? scale : 0)));
    return axes.map((row) => dot3(row, unit));
  });
  const shift = axes.map((row) => -columns.reduce((sum, column, i) => sum + column[axes.indexOf(row)] * centre[i], 0) - dot3(row, camera.target));
  const fx = 1 / (lens * aspect), fy = 1 / lens, matrix = new Float32Array(16);
  columns.forEach(([x, y, z], i) => matrix.set([fx * x, fy * y, a * z, -z], i * 4));
  const depth = shift[2] - distance;
  matrix.set([fx * shift[0], fy * shift[1], a * depth + b, -depth], 12);
  const turned = new Float32Array(columns.flat().map((value) => value / scale));
  return { matrix, turned, front, aspect, scale };
}

// Projects a point to a rectangle of pixels; the third number is below 0 for a point behind the camera.
function projected({ matrix }, [x, y, z], width, height) {
  const at = (row) => matrix[row] * x + matrix[4 + row] * y + matrix[8 + row] * z + matrix[12 + row], w = at(3);
  return [(at(0) / w + 1) / 2 * width, (1 - at(1) / w) / 2 * height, w];
}

const clamp = (value, min, max) => Math.min(Math.max(value, min), max);

function turnBy(camera, yaw, pitch) {
  camera.yaw += yaw;
  camera.pitch = clamp(camera.pitch + pitch, -Math.PI / 2, Math.PI / 2);
}

// `dx` and `dy` are fractions of the picture's height.
function panBy(camera, dx, dy, aspect) {
  const [right, up] = axesOf(camera), size = 2.12 / camera.zoom / Math.min(1, aspect);
  camera.target = camera.target.map((value, i) => clamp(value - (right[i] * dx - up[i] * dy) * size, -20, 20));
}

// Zooms to a place (−1 to 1): the point there keeps its place.
function zoomBy(camera, factor, nx, ny, aspect) {
  const before = camera.zoom;
  camera.zoom = clamp(camera.zoom * factor, 0.2, 5000);
  const share = 1 - before / camera.zoom;
  const size = 1.06 / before / Math.min(1, aspect), [right, up] = axesOf(camera);
  camera.target = camera.target.map((value, i) => value + (right[i] * nx * aspect + up[i] * ny) * size * share);
}

// The space in which a box has the radius 1.
function spaceOf({ low, high }) {
  return {
    centre: low.map((value, axis) => (value + high[axis]) / 2),
    scale: 2 / (Math.hypot(...low.map((value, axis) => high[axis] - value)) || 1),
  };
}
