// Searches for a cell, a position, a key, an identity, a path or a name. Returns { vertex }, { object } or { nothing }.
function readSearch(text) {
  const wanted = text.trim();
  if (wanted === '') return { kind: 'empty' };
  const cell = wanted.match(/^(\d+)[\s,;]+(\d+)[\s,;]+(\d+)$/);
  if (cell) return { kind: 'cell', cell: cell.slice(1).map(Number) };
  const position = wanted.split(/[\s,;]+/).map((part) => (/^-?(\d+\.?\d*|\.\d+)(e[-+]?\d+)?$/i.test(part) ? Number(part) : NaN));
  if (position.length === 3 && position.every(Number.isFinite)) return { kind: 'position', position };
  if (wanted.startsWith('/')) return { kind: 'path', path: wanted };
  const ways = [];
  if (/^[0-9a-f]{8}$/i.test(wanted)) ways.push({ kind: 'identity', identity: wanted.toUpperCase() });
  if (/^(\d{1,20}|0x[0-9a-f]{1,16})$/i.test(wanted)) ways.push({ kind: 'key', key: BigInt(wanted) });
  return { kind: 'any', ways, name: wanted };
}

function findObject(model, wanted) {
  const lower = wanted.toLowerCase();
  const exact = model.objects.findIndex((object, i) => object.name.toLowerCase() === lower || pathOf(model, i).toLowerCase() === lower);
  return exact >= 0 ? exact : model.objects.findIndex((object) => object.name.toLowerCase().includes(lower));
}

function findCell(model, [x, y, z], after) {
  const { cells } = model;
  return nextVertex(model, after, (i) => cells[i * 3] === x && cells[i * 3 + 1] === y && cells[i * 3 + 2] === z);
}

// The shown vertex nearest to a position in the world at this frame; -1 if none is shown.
function findPosition(model, [x, y, z]) {
  const { positions } = model;
  let best = -1, minDistance = Infinity;
  for (const mesh of model.meshes) if (!mesh.out) for (let i = mesh.first; i < mesh.first + mesh.count; ++i) {
    const distance = (positions[i * 3] - x) ** 2 + (positions[i * 3 + 1] - y) ** 2 + (positions[i * 3 + 2] - z) ** 2;
    if (distance < minDistance) [best, minDistance] = [i, distance];
  }
  return best;
}

function findKey(model, key, after) {
  if (!model.usual) return nextVertex(model, after, (i) => keyOf(model, i) === key);
  if (key >= 1n << 18n) return -1;
  const wanted = Number(key), cell = [0, 1, 2].map((axis) => {
    let value = 0;
    for (let bit = 0; bit < 6; ++bit) value |= (wanted >> 3 * bit + axis & 1) << bit;
    return value;
  });
  return findCell(model, cell, after);
}

function findIdentity(model, identity, after) {
  if (!model.usual) return nextVertex(model, after, (i) => identityOf(model, i).toUpperCase() === identity);
  const wanted = parseInt(identity, 16);
  return nextVertex(model, after, (i) => identityNumber(model, i) === wanted);
}

// The search begins after the vertex `after`, so that a repeated search finds the next one.
function search(model, text, after) {
  const wanted = readSearch(text);
  if (wanted.kind === 'empty') return { vertex: -1 };
  if (wanted.kind === 'cell') {
    const vertex = findCell(model, wanted.cell, after), name = wanted.cell.join(', ');
    if (vertex >= 0) return { vertex };
    return { nothing: wanted.cell.some((value) => value > 47) ? `Cells go from 0 to 47: ${name} is none.` : `No token stands in cell ${name}.` };
  }
  if (wanted.kind === 'position') {
    const vertex = findPosition(model, wanted.position);
    return vertex >= 0 ? { vertex } : { nothing: 'No mesh is shown.' };
  }
  if (wanted.kind === 'path') {
    const object = model.objects.findIndex((_, i) => pathOf(model, i) === wanted.path);
    return object >= 0 ? { object } : { nothing: `No object has the path ${wanted.path}.` };
  }
  for (const way of wanted.ways) {
    const vertex = way.kind === 'identity' ? findIdentity(model, way.identity, after) : findKey(model, way.key, after);
    if (vertex >= 0) return { vertex };
  }
  const object = findObject(model, wanted.name);
  if (object >= 0) return { object };
  const names = wanted.ways.map((way) => way.kind);
  return { nothing: names.length > 0 ? `No token has the ${names.join(' or the ')} ${wanted.name}.` : `No object is called ${wanted.name}.` };
}
