// Fewer triangles while something moves: one vertex represents all vertices in a box of a grid over a large mesh.
const coarseBudget = 8000, minMeshShare = 300; // triangles of the whole scene and of one mesh
const maxBoxes = 90; // of a grid, along an edge

// A set of triangles; the order of a triangle's corners does not matter. add() returns whether it is new.
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

// For each vertex of a mesh its representative, in a grid of `boxes` boxes along the longest edge.
function representatives({ positions }, mesh, boxes, first) {
  const size = mesh.high.map((value, axis) => value - mesh.low[axis]), scale = boxes / (Math.max(...size) || 1);
  const counts = size.map((edge) => Math.floor(edge * scale) + 2), [lowX, lowY, lowZ] = mesh.low;
  const represented = new Uint32Array(mesh.count);
  first.fill(-1, 0, counts[0] * counts[1] * counts[2]);
  for (let i = 0, p = mesh.first * 3; i < mesh.count; ++i, p += 3) {
    const x = (positions[p] - lowX) * scale | 0, y = (positions[p + 1] - lowY) * scale | 0;
    const z = (positions[p + 2] - lowZ) * scale | 0, box = (x * counts[1] + y) * counts[2] + z;
    if (first[box] < 0) first[box] = mesh.first + i;
    represented[i] = first[box];
  }
  return represented;
}

// The triangles of a mesh between representatives, each once; null if there are more than `max`.
function thinned({ triangles }, mesh, represented, max) {
  const out = new Uint32Array(max * 3), known = triangleSet(max), base = mesh.first;
  let at = 0;
  for (let t = mesh.firstTriangle * 3, end = t + mesh.triangleCount * 3; t < end; t += 3) {
    const a = represented[triangles[t] - base], b = represented[triangles[t + 1] - base], c = represented[triangles[t + 2] - base];
    if (a === b || b === c || c === a || !known.add(a, b, c)) continue;
    if (at === out.length) return null;
    out[at++] = a; out[at++] = b; out[at++] = c;
  }
  return out.subarray(0, at);
}

function coarseMesh(model, mesh, share, first) {
  for (let boxes = Math.min(Math.sqrt(share), maxBoxes); boxes > 2; boxes *= 0.75) {
    const found = thinned(model, mesh, representatives(model, mesh, boxes, first), Math.ceil(share * 1.3));
    if (found) return found;
  }
  return new Uint32Array(0);
}

// The corners of the coarse scene. Sets each mesh's `coarse` to its range of them, and `thinned` if it has fewer.
function coarseTriangles(model) {
  const parts = [], first = new Int32Array((maxBoxes + 2) ** 3);
  const all = trianglesAtOnce(model), allowed = (mesh) => Math.max(minMeshShare, coarseBudget * mesh.triangleCount / all);
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
