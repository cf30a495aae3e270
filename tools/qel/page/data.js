// The model, out of the block of JSON: typed arrays over base64.
const data = JSON.parse(document.getElementById('data').textContent);

function decoded(text, Type) {
  const characters = atob(text);
  const bytes = new Uint8Array(characters.length);
  for (let i = 0; i < bytes.length; ++i) bytes[i] = characters.charCodeAt(i);
  return new Type(bytes.buffer);
}

const positions = decoded(data.positions, Float32Array);
const normals = decoded(data.normals, Int16Array);
const triangles = decoded(data.triangles, Uint32Array);
const cells = decoded(data.cells, Uint8Array);
const levels = decoded(data.levels, Int8Array);
const states = decoded(data.states, Int8Array);
const norms = decoded(data.norms, Float32Array);
const layers = decoded(data.layers, Uint8Array);
const keys = data.keys ? decoded(data.keys, BigUint64Array) : null;
const identities = data.identities ? decoded(data.identities, Uint8Array) : null;
const count = layers.length;

const partOf = (vertex) => data.parts.find((part) => vertex < part.first + part.count);

// Bit i of x goes to bit 3i, of y to 3i + 1, of z to 3i + 2.
function cellKey(x, y, z) {
  let key = 0;
  for (let bit = 5; bit >= 0; --bit) key = key * 8 + ((x >> bit) & 1) + 2 * ((y >> bit) & 1) + 4 * ((z >> bit) & 1);
  return key;
}

const cellOf = (vertex) => [cells[vertex * 3], cells[vertex * 3 + 1], cells[vertex * 3 + 2]];
const keyOf = (vertex) => String(keys ? keys[vertex] : cellKey(...cellOf(vertex)));

function identityOf(vertex) {
  if (!identities) return (vertex - partOf(vertex).first & 0xFFFFFF).toString(16).toUpperCase().padStart(8, '0');
  const bytes = identities.subarray(vertex * 8, vertex * 8 + 8);
  const end = bytes.indexOf(0);
  return String.fromCharCode(...(end < 0 ? bytes : bytes.subarray(0, end)));
}

// How many tokens stand in each cell.
const crowd = new Map();
const cellNumber = (vertex) => cells[vertex * 3] << 16 | cells[vertex * 3 + 1] << 8 | cells[vertex * 3 + 2];
for (let i = 0; i < count; ++i) crowd.set(cellNumber(i), (crowd.get(cellNumber(i)) || 0) + 1);

// The positions' box.
const low = [Infinity, Infinity, Infinity], high = [-Infinity, -Infinity, -Infinity];
for (let i = 0; i < positions.length; ++i) {
  low[i % 3] = Math.min(low[i % 3], positions[i]);
  high[i % 3] = Math.max(high[i % 3], positions[i]);
}

const grouped = (number) => number.toLocaleString('en').replace(/,/g, '\u2009');
const signed = (number) => String(number).replace('-', '\u2212');
