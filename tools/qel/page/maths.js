// A camera that turns about the centre of a box whose half diagonal is 1. Matrices are column-major.
const startTurn = { yaw: 0.65, pitch: 0.5, zoom: 1 };
const turn = { ...startTurn };
const lens = Math.tan(0.24); // of half the field of view
const near = 0.05;

function rotation() {
  const cy = Math.cos(turn.yaw), sy = Math.sin(turn.yaw), cp = Math.cos(turn.pitch), sp = Math.sin(turn.pitch);
  return [cy, sp * sy, -cp * sy, 0, cp, sp, sy, -sp * cy, cp * cy];
}

// Clip coordinates of a box: `centre` and `scale` bring it to half diagonal 1.
function projection(aspect, centre, scale) {
  const r = rotation();
  const distance = 1.06 / lens / turn.zoom / Math.min(1, aspect);
  const far = distance + 4, fx = 1 / (lens * aspect), fy = 1 / lens;
  const front = Math.max(near, distance - 2.5);
  const a = -(far + front) / (far - front), b = -2 * far * front / (far - front);
  const m = new Float32Array(16);
  for (let i = 0; i < 3; ++i) {
    const x = r[i * 3] * scale, y = r[i * 3 + 1] * scale, z = r[i * 3 + 2] * scale;
    m.set([fx * x, fy * y, a * z, -z], i * 4);
  }
  const eye = [0, 1, 2].map((row) => -scale * (r[row] * centre[0] + r[3 + row] * centre[1] + r[6 + row] * centre[2]));
  m.set([fx * eye[0], fy * eye[1], a * (eye[2] - distance) + b, distance - eye[2]], 12);
  return m;
}

// Where a point falls in a rectangle of pixels.
function projected(matrix, point, width, height) {
  const at = (row) => matrix[row] * point[0] + matrix[4 + row] * point[1] + matrix[8 + row] * point[2] + matrix[12 + row];
  const w = at(3);
  return [(at(0) / w + 1) / 2 * width, (1 - at(1) / w) / 2 * height];
}
