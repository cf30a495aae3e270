// What each token is coloured by, and the legend that says so.
const category = ['#4477aa', '#ee6677', '#2e9e5b', '#ccaa33', '#55b5d9', '#aa4499', '#8c8c8c', '#dd8452', '#6f63bb', '#94a03a'];
const diverging = ['#20508f', '#4a8ac4', '#93b8d3', '#b6b2aa', '#dda876', '#cf6f4a', '#962c30'];
const sequential = ['#46327e', '#365c8d', '#277f8e', '#1fa187', '#6bcb5d', '#e2d53b'];
const stateColours = new Map([[0, '#4c78a8'], [1, '#e39c37'], [-1, '#b5558f'], [2, '#3c9d85']]);

const channels = (colour) => [1, 3, 5].map((at) => parseInt(colour.slice(at, at + 2), 16));

// A place of 0 to 1 on a ramp.
function ramp(stops, place) {
  const at = Math.min(Math.max(place || 0, 0), 1) * (stops.length - 1);
  const lower = Math.min(Math.floor(at), stops.length - 2), part = at - lower;
  const from = channels(stops[lower]), to = channels(stops[lower + 1]);
  return from.map((channel, i) => Math.round(channel + (to[i] - channel) * part));
}

function extremes(values) {
  let least = Infinity, most = -Infinity;
  for (const value of values) {
    if (value < least) least = value;
    if (value > most) most = value;
  }
  return [least, most];
}

function countsOf(values) {
  const counts = new Map();
  for (const value of values) counts.set(value, (counts.get(value) || 0) + 1);
  return new Map([...counts].sort((a, b) => a[0] - b[0]));
}

const [leastNorm, mostNorm] = extremes(norms);
const normPlace = (norm) => mostNorm > leastNorm ? (norm - leastNorm) / (mostNorm - leastNorm) : 0.5;
const layerCounts = countsOf(layers), stateCounts = countsOf(states);
const layerRank = new Map([...layerCounts.keys()].map((layer, rank) => [layer, rank]));

const modes = {
  level: { colour: (i) => ramp(diverging, (levels[i] + 11) / 22) },
  state: { colour: (i) => channels(stateColours.get(states[i]) || '#8c8c8c') },
  norm: { colour: (i) => ramp(sequential, normPlace(norms[i])) },
  layer: { colour: (i) => channels(category[layerRank.get(layers[i]) % category.length]) },
};

function coloursOf(mode) {
  const out = new Uint8Array(count * 4).fill(255);
  for (let i = 0; i < count; ++i) out.set(modes[mode].colour(i), i * 4);
  return out;
}

const css = (rgb) => `rgb(${rgb.join(' ')})`;

function element(name, text, style) {
  const made = document.createElement(name);
  if (text !== undefined) made.textContent = text;
  if (style) made.style.cssText = style;
  return made;
}

function keyEntry(colour, text, number) {
  const entry = element('span');
  entry.className = 'key';
  entry.append(element('i', '', `background: ${colour}`), element('span', text), element('small', grouped(number)));
  return entry;
}

function barEntry(from, stops, to) {
  const bar = element('span', '', `background: linear-gradient(to right, ${stops.join(', ')})`);
  bar.className = 'bar';
  return [element('span', from), bar, element('span', to)];
}

function showLegend(mode) {
  const legend = document.getElementById('legend');
  const title = element('b', mode[0].toUpperCase() + mode.slice(1));
  if (mode === 'level') legend.replaceChildren(title, ...barEntry('\u221211', diverging, '11'));
  if (mode === 'norm') legend.replaceChildren(title, ...barEntry(leastNorm.toFixed(3), sequential, mostNorm.toFixed(3)));
  if (mode === 'state') legend.replaceChildren(title, ...[...stateCounts].map(([state, number]) =>
    keyEntry(stateColours.get(state) || '#8c8c8c', signed(state), number)));
  if (mode === 'layer') {
    const shown = [...layerCounts].slice(0, 12);
    legend.replaceChildren(title, ...shown.map(([layer, number], rank) =>
      keyEntry(category[rank % category.length], String(layer), number)));
    if (layerCounts.size > shown.length) legend.append(element('small', `and ${layerCounts.size - shown.length} more`));
  }
}
