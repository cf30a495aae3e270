// The nearest tokens, by the library's distance in hops: the integer square root of the difference of two keys.
function rootOf(difference) {
  let root = BigInt(Math.floor(Math.sqrt(Number(difference))));
  while (root * root > difference) --root;
  while ((root + 1n) * (root + 1n) <= difference) ++root;
  return root;
}

// The `count` shown tokens nearest to a vertex's, without its own: [vertex, distance], ascending; ties by vertex.
function nearestTo(model, colours, vertex, count) {
  const best = [], usual = model.usual, wanted = usual ? Number(keyOf(model, vertex)) : keyOf(model, vertex);
  let worst = Infinity;
  for (const mesh of model.meshes) if (!mesh.out) for (let i = mesh.first; i < mesh.first + mesh.count; ++i) {
    if (i === vertex || colours[i * 4 + 3] === 0) continue;
    let distance;
    if (usual) {
      const at = i * 3, key = spread[model.cells[at]] | spread[model.cells[at + 1]] << 1 | spread[model.cells[at + 2]] << 2;
      const away = Math.abs(key - wanted);
      if (away >= (worst + 1) * (worst + 1)) continue;
      distance = Math.floor(Math.sqrt(away));
    } else {
      const key = keyOf(model, i), away = key > wanted ? key - wanted : wanted - key;
      distance = Number(rootOf(away));
    }
    if (best.length === count && distance >= worst) continue;
    let place = best.length;
    while (place > 0 && best[place - 1][1] > distance) --place;
    best.splice(place, 0, [i, distance]);
    if (best.length > count) best.pop();
    if (best.length === count) worst = best[count - 1][1];
  }
  return best;
}

// The first shown vertex after `after` that a test accepts, continuing at the start; -1 if there is none.
function nextVertex(model, after, accepts) {
  for (let step = 1; step <= model.count; ++step) {
    const vertex = (after + step + model.count) % model.count;
    if (accepts(vertex) && !meshOf(model, vertex).out) return vertex;
  }
  return -1;
}
