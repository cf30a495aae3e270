// The colours of the vertices, the filters, and the legend of both.
const category = ['#4477aa', '#ee6677', '#2e9e5b', '#ccaa33', '#55b5d9', '#aa4499', '#8c8c8c', '#dd8452', '#6f63bb', '#94a03a'];
const diverging = ['#20508f', '#4a8ac4', '#93b8d3', '#b6b2aa', '#dda876', '#cf6f4a', '#962c30'];
const sequential = ['#46327e', '#365c8d', '#277f8e', '#1fa187', '#6bcb5d', '#e2d53b'];
const stateColours = new Map([[0, '#4c78a8'], [1, '#e39c37'], [-1, '#b5558f'], [2, '#3c9d85']]);
const explanations = {
  level: 'The sum of a cell’s three coordinates, folded into 23 steps from −11 to 11.',
  state: 'One of four values, 0, 1, −1 or 2, that follows from the level.',
  norm: 'How far a cell lies from the middle of the lattice; its corners have 1.618.',
  layer: 'A number that all tokens of a mesh carry, to tell sets apart.',
  mesh: 'One colour for each mesh, the same as in the list of objects.',
};

const channels = (colour) => [1, 3, 5].map((at) => parseInt(colour.slice(at, at + 2), 16));
const grouped = (number) => number.toLocaleString('en').replace(/,/g, '\u2009');
const signed = (number) => String(number).replace('-', '\u2212');
const plural = (number, noun, many = noun + 's') => `${grouped(number)} ${number === 1 ? noun : many}`;

function element(name, text, className) {
  const made = document.createElement(name);
  if (text !== undefined) made.textContent = text;
  if (className) made.className = className;
  return made;
}

// The colour at a place of 0 to 1 on a ramp.
function ramp(stops, place) {
  const at = clamp(place || 0, 0, 1) * (stops.length - 1);
  const lower = Math.min(Math.floor(at), stops.length - 2), part = at - lower;
  const from = channels(stops[lower]), to = channels(stops[lower + 1]);
  return from.map((channel, i) => Math.round(channel + (to[i] - channel) * part));
}

// 256 colours, by a byte: a level or state plus 128, a layer, or a norm's place on its ramp.
function tableOf(colour) {
  const table = new Uint8Array(256 * 3);
  for (let i = 0; i < 256; ++i) table.set(colour(i), i * 3);
  return table;
}

function createColours(model) {
  const filter = { from: -11, to: 11, layers: new Set(), states: new Set() };
  const seen = (values) => {
    const counts = new Uint32Array(256);
    for (let i = 0; i < values.length; ++i) ++counts[values[i] & 255];
    return counts;
  };
  const listed = (counts, name) => [...counts.keys()].filter((i) => counts[i] > 0).map((i) => [name(i), counts[i]]);
  let min = Infinity, max = -Infinity;
  for (let i = 0; i < model.norms.length; ++i) {
    if (model.norms[i] < min) min = model.norms[i];
    if (model.norms[i] > max) max = model.norms[i];
  }
  if (model.frames.length > 0) [min, max] = [0, Math.max(max, 1.618034)];
  const scale = max > min ? 255 / (max - min) : 0;
  const layers = listed(seen(model.layers), (i) => i), rank = new Map(layers.map(([layer], i) => [layer, i]));
  const tables = {
    level: tableOf((i) => ramp(diverging, (i - 128 + 11) / 22)),
    state: tableOf((i) => channels(stateColours.get(i - 128) || '#8c8c8c')),
    norm: tableOf((i) => ramp(sequential, scale > 0 ? i / 255 : 0.5)),
    layer: tableOf((i) => channels(category[(rank.get(i) || 0) % category.length])),
  };
  const out = new Uint8Array(model.count * 4), { levels, states, norms } = model;
  const meshColour = (mesh) => channels(category[mesh.number % category.length]);
  const normStep = (vertex) => Math.round(clamp((norms[vertex] - min) * scale, 0, 255)) || 0;
  const index = {
    level: (i) => levels[i] + 128, state: (i) => states[i] + 128, norm: normStep, layer: (i) => model.layers[i],
  };

  const passes = (i) => levels[i] >= filter.from && levels[i] <= filter.to && !filter.states.has(states[i]) && !filter.layers.has(model.layers[i]);
  const isFiltered = () => filter.from > -11 || filter.to < 11 || filter.layers.size > 0 || filter.states.size > 0;

  const fill = (mesh, mode) => {
    const end = mesh.first + mesh.count;
    if (mode === 'mesh') {
      const [r, g, b] = meshColour(mesh);
      for (let i = mesh.first, at = i * 4; i < end; ++i, at += 4) { out[at] = r; out[at + 1] = g; out[at + 2] = b; out[at + 3] = 255; }
    } else {
      const table = tables[mode], of = index[mode];
      for (let i = mesh.first, at = i * 4; i < end; ++i, at += 4) {
        const from = of(i) * 3;
        out[at] = table[from]; out[at + 1] = table[from + 1]; out[at + 2] = table[from + 2]; out[at + 3] = 255;
      }
    }
    if (isFiltered()) for (let i = mesh.first; i < end; ++i) if (!passes(i)) out[i * 4 + 3] = 0;
  };

  return {
    filter, isFiltered, layers,
    // Returns four bytes for each vertex; the fourth is 0 if a filter hides it.
    paint(mode, movingOnly) {
      for (const mesh of model.meshes) if (!movingOnly || mesh.moves) fill(mesh, mode);
      return out;
    },
    of: (vertex) => `rgb(${out[vertex * 4]} ${out[vertex * 4 + 1]} ${out[vertex * 4 + 2]})`,
    ofMesh: (mesh) => `rgb(${meshColour(mesh).join(' ')})`,
    states: () => listed(seen(states), (i) => i << 24 >> 24),
    norms: () => [min, max],
  };
}

// One token for each cell with a shown vertex, and the number of vertices in each cell.
function createCells(model) {
  const first = new Int32Array(cellCount), crowd = new Uint32Array(cellCount);
  const places = new Uint8Array(cellCount * 4), tones = new Uint8Array(cellCount * 4), vertices = new Uint32Array(cellCount);
  return {
    crowd, vertices, places, tones, count: 0,
    gather(colours) {
      first.fill(-1);
      crowd.fill(0);
      let count = 0;
      for (const mesh of model.meshes) if (!mesh.out) for (let i = mesh.first; i < mesh.first + mesh.count; ++i) {
        if (colours[i * 4 + 3] === 0) continue;
        const x = model.cells[i * 3], y = model.cells[i * 3 + 1], z = model.cells[i * 3 + 2], cell = (x * 48 + y) * 48 + z;
        ++crowd[cell];
        if (first[cell] >= 0) continue;
        first[cell] = i;
        vertices[count] = i;
        const at = count * 4;
        places[at] = x; places[at + 1] = y; places[at + 2] = z;
        tones[at] = colours[i * 4]; tones[at + 1] = colours[i * 4 + 1]; tones[at + 2] = colours[i * 4 + 2]; tones[at + 3] = 255;
        ++count;
      }
      this.count = count;
    },
  };
}

function chip(colour, text, number, hidden, toggle) {
  const made = element('button', undefined, 'chip');
  made.type = 'button';
  made.setAttribute('aria-pressed', String(!hidden));
  made.title = hidden ? 'Filtered: press to show' : 'Press to hide';
  const dot = element('i');
  dot.style.background = colour;
  made.append(dot, element('span', text), element('small', grouped(number)));
  made.addEventListener('click', toggle);
  return made;
}

function bar(from, stops, to) {
  const made = element('span', undefined, 'bar');
  made.style.background = `linear-gradient(to right, ${stops.join(', ')})`;
  return [element('span', from), made, element('span', to)];
}

function levelSliders(filter, changed) {
  const both = element('span', undefined, 'span'), text = element('output');
  const show = () => { text.textContent = `${signed(filter.from)} to ${signed(filter.to)}`; };
  for (const end of ['from', 'to']) {
    const slider = element('input');
    Object.assign(slider, { type: 'range', min: -11, max: 11, step: 1, value: filter[end], id: `level-${end}` });
    slider.setAttribute('aria-label', end === 'from' ? 'Lowest level shown' : 'Highest level shown');
    slider.addEventListener('input', () => {
      const other = end === 'from' ? Math.min : Math.max;
      filter[end] = other(Number(slider.value), filter[end === 'from' ? 'to' : 'from']);
      slider.value = filter[end];
      show();
      changed();
    });
    both.append(slider);
  }
  both.style.background = `linear-gradient(to right, ${diverging.join(', ')})`;
  show();
  return [both, text];
}

// Calls `changed` when a filter changes.
function showLegend(legend, model, colours, mode, changed) {
  const { filter } = colours;
  const toggled = (set, value) => () => {
    if (!set.delete(value)) set.add(value);
    changed();
    showLegend(legend, model, colours, mode, changed);
    [...legend.querySelectorAll('.chip')].find((one) => one.dataset.value === String(value))?.focus();
  };
  const chips = (list, set, colour) => list.map(([value, number]) => {
    const made = chip(colour(value), signed(value), number, set.has(value), toggled(set, value));
    made.dataset.value = value;
    return made;
  });
  if (mode === 'level') legend.replaceChildren(...levelSliders(filter, changed));
  if (mode === 'norm') {
    const [min, max] = colours.norms();
    legend.replaceChildren(...bar(min.toFixed(3), sequential, max.toFixed(3)));
  }
  if (mode === 'state') legend.replaceChildren(...chips(colours.states(), filter.states, (state) => stateColours.get(state) || '#8c8c8c'));
  if (mode === 'layer') {
    const rank = new Map(colours.layers.map(([layer], i) => [layer, i]));
    legend.replaceChildren(...chips(colours.layers.slice(0, 12), filter.layers, (layer) => category[rank.get(layer) % category.length]));
    if (colours.layers.length > 12) legend.append(element('small', `and ${colours.layers.length - 12} more`));
  }
  if (mode === 'mesh') legend.replaceChildren(element('small', plural(model.meshes.length, 'mesh', 'meshes')));
}
