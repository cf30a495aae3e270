// The model as typed arrays, and the values of each vertex. It does not use the page or the renderer.
const latticeSide = 48, cellCount = 48 ** 3;
const stateOf = [0, 1, -1, 2];

// Bit i of x becomes bit 3i, of y 3i + 1, of z 3i + 2.
const spread = new Uint32Array(64);
for (let i = 0; i < 64; ++i) for (let bit = 0; bit < 6; ++bit) spread[i] |= (i >> bit & 1) << 3 * bit;
const cellKey = (x, y, z) => spread[x] | spread[y] << 1 | spread[z] << 2;

const sumLevel = Int8Array.from({ length: 256 * 3 }, (_, sum) => sum % 23 - 11);

function makeMeshes(header, counts) {
  let first = 0, firstTriangle = 0, firstMoving = 0, firstNormal = 0, firstUv = 0, firstNumber = 0;
  return header.meshes.map((mesh, number) => {
    const made = {
      named: 0, ...mesh, number, count: mesh.vertices, first, firstTriangle, triangleCount: mesh.triangles, hidden: false,
      firstMoving: mesh.moves ? firstMoving : -1, firstNormal: mesh.normals ? firstNormal : -1,
      firstUv: mesh.uvs ? firstUv : -1, firstNumber: mesh.of ? firstNumber : -1,
      away: Boolean(mesh.frames) && mesh.frames[0] > 0, // another mesh shows the object at this frame
      get out() { return this.hidden || this.away; },
    };
    first += mesh.vertices;
    firstTriangle += mesh.triangles;
    if (mesh.moves) firstMoving += mesh.vertices;
    if (mesh.normals) firstNormal += mesh.vertices;
    if (mesh.uvs) firstUv += mesh.vertices;
    if (mesh.of) firstNumber += mesh.vertices;
    Object.assign(counts, { vertices: first, triangles: firstTriangle, moving: firstMoving });
    return made;
  });
}

// The maximum number of triangles shown at one time: an object whose faces change has one mesh for each frame.
function trianglesAtOnce({ meshes }) {
  const changing = new Map();
  let sum = 0;
  for (const { frames, object, triangleCount } of meshes) {
    if (frames) changing.set(object, Math.max(changing.get(object) || 0, triangleCount));
    else sum += triangleCount;
  }
  for (const count of changing.values()) sum += count;
  return sum;
}

// Blocks of a mesh's triangles with the first and last vertex of each: most searches can skip most blocks.
const blockLength = 256;
function makeBlocks(meshes, triangles, count) {
  const number = meshes.reduce((sum, mesh) => sum + Math.ceil(mesh.triangleCount / blockLength), 0);
  const blocks = {
    from: new Uint32Array(number + 1), first: new Uint32Array(number), last: new Uint32Array(number), boxes: new Float32Array(number * 6),
  };
  let block = 0;
  for (const mesh of meshes) {
    const end = mesh.firstTriangle + mesh.triangleCount;
    Object.assign(mesh, { firstBlock: block, blockCount: Math.ceil(mesh.triangleCount / blockLength), boxedAt: -1 });
    for (let from = mesh.firstTriangle; from < end; from += blockLength, ++block) {
      const to = Math.min(from + blockLength, end);
      let first = triangles[from * 3], last = first;
      for (let i = from * 3; i < to * 3; ++i) {
        const corner = triangles[i];
        if (corner < first) first = corner;
        if (corner > last) last = corner;
      }
      if (last >= count) throw new Damaged('a triangle names a vertex that is not there');
      blocks.from[block] = from; blocks.from[block + 1] = to; blocks.first[block] = first; blocks.last[block] = last;
    }
  }
  return blocks;
}

// Computes the bounding boxes of a mesh's blocks at this frame: low, then high.
function boxBlocks({ blocks, triangles, positions, frame }, mesh) {
  if (mesh.boxedAt === (mesh.moves ? frame : 0)) return;
  mesh.boxedAt = mesh.moves ? frame : 0;
  for (let block = mesh.firstBlock; block < mesh.firstBlock + mesh.blockCount; ++block) {
    let lowX = Infinity, lowY = Infinity, lowZ = Infinity, highX = -Infinity, highY = -Infinity, highZ = -Infinity;
    for (let i = blocks.from[block] * 3; i < blocks.from[block + 1] * 3; ++i) {
      const at = triangles[i] * 3, x = positions[at], y = positions[at + 1], z = positions[at + 2];
      if (x < lowX) lowX = x;
      if (x > highX) highX = x;
      if (y < lowY) lowY = y;
      if (y > highY) highY = y;
      if (z < lowZ) lowZ = z;
      if (z > highZ) highZ = z;
    }
    blocks.boxes.set([lowX, lowY, lowZ, highX, highY, highZ], block * 6);
  }
}

// A vertex's position is low + step / 65535 × (high − low) of its mesh.
function placed(out, at, steps, from, mesh) {
  const { low, high } = mesh, scale = high.map((value, axis) => (value - low[axis]) / 65535);
  for (let i = 0; i < mesh.count * 3; i += 3) {
    out[at + i] = low[0] + steps[from + i] * scale[0];
    out[at + i + 1] = low[1] + steps[from + i + 1] * scale[1];
    out[at + i + 2] = low[2] + steps[from + i + 2] * scale[2];
  }
}

async function openModel(header, read) {
  if (header.format !== 2) throw new Damaged('it has another format than its script');
  const counts = { vertices: 0, triangles: 0, moving: 0 };
  const meshes = makeMeshes(header, counts), count = counts.vertices;
  const names = ['positions', 'cells', 'triangles', 'continues', 'normals', 'uvs', 'numbers',
    'levels', 'states', 'norms', 'layers', 'keys', 'payloads', 'identities'];
  const given = Object.fromEntries(await Promise.all(names.map(async (name) => [name, await read(name)])));
  if (given.positions?.length !== count * 3 || given.cells?.length !== count * 3 ||
      given.triangles?.length !== counts.triangles * 3) throw new Damaged('its arrays do not fit its header');
  const blocks = makeBlocks(meshes, given.triangles, count);

  const model = {
    header, meshes, count, triangleCount: counts.triangles, objects: header.objects, times: header.times, frame: 0,
    rate: header.rate, steps: given.positions, cells: given.cells, triangles: given.triangles, continues: given.continues,
    positions: new Float32Array(count * 3), normals: new Int8Array(count * 4),
    levels: given.levels ? new Int8Array(given.levels.buffer) : new Int8Array(count),
    states: given.states ? new Int8Array(given.states.buffer) : new Int8Array(count),
    norms: given.norms ? new Float32Array(given.norms.buffer) : new Float32Array(count),
    layers: given.layers || new Uint8Array(count), given, usual: !given.keys, frames: [], blocks,
  };
  for (const mesh of meshes) {
    placed(model.positions, mesh.first * 3, model.steps, mesh.first * 3, mesh);
    if (!given.layers) model.layers.fill(mesh.layer, mesh.first, mesh.first + mesh.count);
  }
  if (model.usual) deriveTokens(model, 0, count);
  else model.kept = { levels: model.levels.slice(), states: model.states.slice(), norms: model.norms.slice() };
  for (const mesh of meshes) sumNormals(model, mesh);
  if (model.times.length > 1) model.frames.push(firstFrame(model, counts.moving));
  return model;
}

// Computes level, state and norm from the cell.
function deriveTokens(model, from, to) {
  const { cells, levels, states, norms } = model;
  const squares = Float32Array.from({ length: 48 }, (_, i) => (i - 23.5) ** 2);
  const f = Math.fround, radius = f(40.703194), golden = f(1.618034);
  for (let i = from, at = from * 3; i < to; ++i, at += 3) {
    const x = cells[at], y = cells[at + 1], z = cells[at + 2], level = sumLevel[x + y + z];
    levels[i] = level;
    states[i] = stateOf[level & 3];
    norms[i] = f(f(f(Math.sqrt(f(f(squares[x] + squares[y]) + squares[z]))) / radius) * golden);
  }
}

// A vertex's normal is the sum of its triangles' normals, weighted by area.
let normalSums = new Float32Array(0);
function sumNormals(model, mesh) {
  const { positions, triangles, normals } = model, base = mesh.first * 3;
  if (normalSums.length < mesh.count * 3) normalSums = new Float32Array(mesh.count * 3);
  const sums = normalSums.subarray(0, mesh.count * 3).fill(0);
  const end = (mesh.firstTriangle + mesh.triangleCount) * 3;
  for (let t = mesh.firstTriangle * 3; t < end; t += 3) {
    const a = triangles[t] * 3, b = triangles[t + 1] * 3, c = triangles[t + 2] * 3;
    const ax = positions[a], ay = positions[a + 1], az = positions[a + 2];
    const ux = positions[b] - ax, uy = positions[b + 1] - ay, uz = positions[b + 2] - az;
    const vx = positions[c] - ax, vy = positions[c + 1] - ay, vz = positions[c + 2] - az;
    const nx = uy * vz - uz * vy, ny = uz * vx - ux * vz, nz = ux * vy - uy * vx;
    sums[a - base] += nx; sums[a - base + 1] += ny; sums[a - base + 2] += nz;
    sums[b - base] += nx; sums[b - base + 1] += ny; sums[b - base + 2] += nz;
    sums[c - base] += nx; sums[c - base + 1] += ny; sums[c - base + 2] += nz;
  }
  for (let i = 0, at = mesh.first * 4; i < mesh.count * 3; i += 3, at += 4) {
    const x = sums[i], y = sums[i + 1], z = sums[i + 2], length = Math.sqrt(x * x + y * y + z * z), scale = length > 0 ? 127 / length : 0;
    normals[at] = Math.round(x * scale);
    normals[at + 1] = Math.round(y * scale);
    normals[at + 2] = length > 0 ? Math.round(z * scale) : 127;
  }
}

// The quantized positions and the cells of the moving meshes, in order.
function firstFrame(model, moving) {
  const frame = { steps: new Uint16Array(moving * 3), cells: new Uint8Array(moving * 3) };
  for (const mesh of model.meshes) if (mesh.moves) {
    frame.steps.set(model.steps.subarray(mesh.first * 3, (mesh.first + mesh.count) * 3), mesh.firstMoving * 3);
    frame.cells.set(model.cells.subarray(mesh.first * 3, (mesh.first + mesh.count) * 3), mesh.firstMoving * 3);
  }
  return frame;
}

// Decodes the frames after the first, which are differences from the one before; calls `each(number)` after each.
async function readFrames(model, read, each) {
  for (let number = 1; number < model.times.length; ++number) {
    const before = model.frames[number - 1];
    const [steps, cells] = await Promise.all([read(`positions ${number}`), read(`cells ${number}`)]);
    if (before.steps.length > 0 && (steps?.length !== before.steps.length || cells?.length !== before.cells.length)) throw new Damaged(`frame ${number} is not whole`);
    for (let i = 0; i < before.steps.length; ++i) steps[i] += before.steps[i];
    for (let i = 0; i < before.cells.length; ++i) cells[i] += before.cells[i];
    model.frames.push({ steps, cells });
    each(number);
  }
}

// Sets the moving meshes to a frame that has been read.
function goToFrame(model, number) {
  const frame = model.frames[number];
  model.frame = number;
  for (const mesh of model.meshes) if (mesh.frames) mesh.away = number < mesh.frames[0] || number >= mesh.frames[1];
  for (const mesh of model.meshes) if (mesh.moves) {
    placed(model.positions, mesh.first * 3, frame.steps, mesh.firstMoving * 3, mesh);
    model.cells.set(frame.cells.subarray(mesh.firstMoving * 3, (mesh.firstMoving + mesh.count) * 3), mesh.first * 3);
    if (model.usual || number > 0) deriveTokens(model, mesh.first, mesh.first + mesh.count);
    else restoreTokens(model, mesh);
    sumNormals(model, mesh);
  }
}

// Restores the values that the file stores for the first frame, if they differ from the computed ones.
function restoreTokens(model, { first, count }) {
  for (const name of ['levels', 'states', 'norms']) model[name].set(model.kept[name].subarray(first, first + count), first);
}

function meshOf(model, vertex) {
  let low = 0, high = model.meshes.length - 1;
  while (low < high) {
    const middle = low + high + 1 >> 1;
    if (model.meshes[middle].first <= vertex) low = middle;
    else high = middle - 1;
  }
  return model.meshes[low];
}

const cellOf = (model, vertex) => [...model.cells.subarray(vertex * 3, vertex * 3 + 3)];
const positionOf = (model, vertex) => [...model.positions.subarray(vertex * 3, vertex * 3 + 3)];
const cellNumberOf = (model, vertex) =>
  (model.cells[vertex * 3] * latticeSide + model.cells[vertex * 3 + 1]) * latticeSide + model.cells[vertex * 3 + 2];
const hasStoredToken = (model, vertex) => !model.usual && !(model.frame > 0 && meshOf(model, vertex).moves);
const keyOf = (model, vertex) => hasStoredToken(model, vertex) ? model.given.keys[vertex] : BigInt(cellKey(...cellOf(model, vertex)));

// The index of a vertex in its mesh in the file.
function numberOf(model, vertex) {
  const mesh = meshOf(model, vertex), own = vertex - mesh.first;
  return mesh.of ? model.given.numbers[mesh.firstNumber + own] : own;
}

// The number in a computed identity: the mesh's, then the vertex's.
const identityNumber = (model, vertex) => (meshOf(model, vertex).named << 24 | numberOf(model, vertex) & 0xFFFFFF) >>> 0;

function identityOf(model, vertex) {
  if (model.usual) return identityNumber(model, vertex).toString(16).toUpperCase().padStart(8, '0');
  const bytes = new Uint8Array(model.given.identities.buffer, vertex * 8, 8), end = bytes.indexOf(0);
  return String.fromCharCode(...(end < 0 ? bytes : bytes.subarray(0, end)));
}

// A hash of the triangles around a vertex, in order; null if the page does not have all of them.
function topologyOf(model, vertex) {
  const mesh = meshOf(model, vertex), { triangles } = model;
  if (mesh.of) return null;
  if (mesh.triangleCount === 0) return 0;
  let hash = 0x5A5A5A5A;
  const { blocks } = model, base = mesh.first;
  for (let block = mesh.firstBlock; block < mesh.firstBlock + mesh.blockCount; ++block) {
    if (vertex < blocks.first[block] || vertex > blocks.last[block]) continue;
    for (let t = blocks.from[block] * 3; t < blocks.from[block + 1] * 3; t += 3) {
      const a = triangles[t], b = triangles[t + 1], c = triangles[t + 2];
      if (a !== vertex && b !== vertex && c !== vertex) continue;
      hash ^= Math.imul(a - base, 0x1F1F1F1F) ^ Math.imul(b - base, 0x2E2E2E2E) ^ Math.imul(c - base, 0x3D3D3D3D);
      hash = hash << 5 | hash >>> 27;
    }
  }
  return hash >>> 0;
}

// The token's state word, or null if the page cannot compute it.
function payloadOf(model, vertex) {
  if (hasStoredToken(model, vertex)) return model.given.payloads[vertex];
  const topology = topologyOf(model, vertex), [x, y, z] = cellOf(model, vertex).map(BigInt);
  if (topology === null) return null;
  return BigInt(topology) ^ keyOf(model, vertex) ^ x << 48n ^ y << 40n ^ z << 32n;
}

// The normal and the texture coordinates of a vertex in the file, or null.
function normalOf(model, vertex) {
  const mesh = meshOf(model, vertex);
  if (mesh.firstNormal < 0 || (mesh.moves && model.frame > 0)) return null;
  const at = (mesh.firstNormal + vertex - mesh.first) * 3, values = new Int16Array(model.given.normals.buffer);
  return [...values.subarray(at, at + 3)].map((value) => value / 32767);
}

function uvOf(model, vertex) {
  const mesh = meshOf(model, vertex);
  if (mesh.firstUv < 0) return null;
  const at = (mesh.firstUv + vertex - mesh.first) * 2, [u, v, toU, toV] = mesh.uvs;
  return [u + model.given.uvs[at] / 65535 * (toU - u), v + model.given.uvs[at + 1] / 65535 * (toV - v)];
}

function pathOf(model, object) {
  const names = [];
  for (let at = object; at >= 0; at = model.objects[at].parent) names.unshift(model.objects[at].name);
  return '/' + names.join('/');
}

// The bounding box of meshes at this frame, or null.
function boxOf(model, meshes) {
  const low = [Infinity, Infinity, Infinity], high = [-Infinity, -Infinity, -Infinity], { positions } = model;
  for (const mesh of meshes) for (let i = mesh.first * 3; i < (mesh.first + mesh.count) * 3; i += 3) for (let axis = 0; axis < 3; ++axis) {
    const value = positions[i + axis];
    if (value < low[axis]) low[axis] = value;
    if (value > high[axis]) high[axis] = value;
  }
  return low[0] <= high[0] ? { low, high } : null;
}
