// Fewer triangles for what moves: a grid is laid over each large mesh, and one vertex stands for all in a box of it.
const coarseBudget = 8000, smallestShare = 300; // triangles of the whole scene and of one mesh
const mostBoxes = 90; // of a grid, along an edge

// Knows the triangles that it was given, whichever corner was told first.
function triangleSet(room) {
  const size = 2 ** Math.ceil(Math.log2(room * 3)), table = new Int32Array(size * 3).fill(-1);
  return {
    add(a, b, c) {
      const low = Math.min(a, b, c), high = Math.max(a, b, c), middle = a + b + c - low - high;
      let at = (Math.imul(low, 73856093) ^ Math.imul(middle, 19349663) ^ Math.imul(high, 83492791)) & size - 1;
      for (; table[at * 3] >= 0; at = at + 1 & size - 1)
        if (table[at * 3] === low && table[at * 3 + 1] === middle && table[at * 3 + 2] === high) return false;
      table[at * 3] = low; table[at * 3 + 1] = middle; table[at * 3 + 2] = high;
      return true;
    },
  };
}

// For each vertex of a mesh the one that stands for it, with so many boxes along the longest edge.
function standIns({ positions }, mesh, boxes, first) {
  const size = mesh.high.map((value, axis) => value - mesh.low[axis]), scale = boxes / (Math.max(...size) || 1);
  const counts = size.map((edge) => Math.floor(edge * scale) + 2), [lowX, lowY, lowZ] = mesh.low;
  const stand = new Uint32Array(mesh.count);
  first.fill(-1, 0, counts[0] * counts[1] * counts[2]);
  for (let i = 0, p = mesh.first * 3; i < mesh.count; ++i, p += 3) {
    const x = (positions[p] - lowX) * scale | 0, y = (positions[p + 1] - lowY) * scale | 0;
    const z = (positions[p + 2] - lowZ) * scale | 0, box = (x * counts[1] + y) * counts[2] + z;
    if (first[box] < 0) first[box] = mesh.first + i;
    stand[i] = first[box];
  }
  return stand;
}

// The triangles of a mesh between stand-ins, each once; null where they are more than wanted.
function thinned({ triangles }, mesh, stand, wanted) {
  const out = new Uint32Array(wanted * 3), known = triangleSet(wanted), base = mesh.first;
  let at = 0;
  for (let t = mesh.firstTriangle * 3, end = t + mesh.triangleCount * 3; t < end; t += 3) {
    const a = stand[triangles[t] - base], b = stand[triangles[t + 1] - base], c = stand[triangles[t + 2] - base];
    if (a === b || b === c || c === a || !known.add(a, b, c)) continue;
    if (at === out.length) return null;
    out[at++] = a; out[at++] = b; out[at++] = c;
  }
  return out.subarray(0, at);
}

function coarseMesh(model, mesh, share, first) {
  for (let boxes = Math.min(Math.sqrt(share), mostBoxes); boxes > 2; boxes *= 0.75) {
    const found = thinned(model, mesh, standIns(model, mesh, boxes, first), Math.ceil(share * 1.3));
    if (found) return found;
  }
  return new Uint32Array(0);
}

// The corners of the coarse scene; each mesh is told where its own are, and whether they are fewer.
function coarseTriangles(model) {
  const parts = [], first = new Int32Array((mostBoxes + 2) ** 3);
  const all = trianglesAtOnce(model), allowed = (mesh) => Math.max(smallestShare, coarseBudget * mesh.triangleCount / all);
  let at = 0;
  for (const mesh of model.meshes) {
    mesh.thinned = mesh.triangleCount > allowed(mesh);
    const from = mesh.firstTriangle * 3, own = model.triangles.subarray(from, from + mesh.triangleCount * 3);
    const part = mesh.thinned ? coarseMesh(model, mesh, allowed(mesh), first) : own;
    mesh.coarse = [at / 3, part.length / 3];
    at += part.length;
    parts.push(part);
  }
  const out = new Uint32Array(at);
  for (const [number, part] of parts.entries()) out.set(part, model.meshes[number].coarse[0] * 3);
  return out;
}
