// The card that shows a token's values, and its record as text.
const short = (values) => values.map((value) => signed(Number(value.toPrecision(Math.abs(value) < 1 ? 3 : 4)))).join(', ');
const hexadecimal = (value) => value.toString(16).toUpperCase().padStart(16, '0');

function factsOf(model, vertex) {
  const payload = payloadOf(model, vertex), normal = normalOf(model, vertex), uv = uvOf(model, vertex);
  const computed = [...model.normals.subarray(vertex * 4, vertex * 4 + 3)].map((value) => value / 127);
  return [
    ['Key', String(keyOf(model, vertex))], ['Identity', identityOf(model, vertex)], ['Cell', cellOf(model, vertex).join(', ')],
    ['Layer', String(model.layers[vertex])], ['Level', signed(model.levels[vertex])], ['State', signed(model.states[vertex])],
    ['Norm', model.norms[vertex].toFixed(4)], ['Payload', payload === null ? 'not in this page' : hexadecimal(payload)],
    ['Position', short(positionOf(model, vertex))],
    normal ? ['Normal', short(normal)] : ['Face normal', short(computed)],
    ...(uv ? [['UV', short(uv)]] : []),
  ];
}

function recordText(model, vertex) {
  const mesh = meshOf(model, vertex);
  const facts = factsOf(model, vertex).map(([name, value]) => `${name.toLowerCase()} = ${value.replace(/\u2212/g, '-')}`);
  return [`mesh = ${pathOf(model, mesh.object)}`, `vertex = ${numberOf(model, vertex)}`,
    ...(model.times.length > 1 ? [`time = ${model.times[model.frame]}`] : []), ...facts].join('\n') + '\n';
}

// `near` holds [vertex, distance] of the nearest tokens; `pick` is called with the vertex that is clicked.
function fillCard(card, model, vertex, colour, crowd, near, pick) {
  const mesh = meshOf(model, vertex), title = element('h3'), dot = element('i');
  dot.style.background = colour;
  title.append(dot, element('span', `Token ${grouped(numberOf(model, vertex))}`), element('small', model.objects[mesh.object].name));
  title.lastChild.title = pathOf(model, mesh.object);
  const list = element('dl');
  for (const [name, value] of factsOf(model, vertex)) list.append(element('dt', name), element('dd', value));
  card.replaceChildren(title, list);
  if (crowd > 1) card.append(element('p', `Shares its cell with ${plural(crowd - 1, 'other token')}.`));
  if (near.length === 0) return;
  const nearest = element('ol');
  for (const [other, distance] of near) {
    const entry = element('li'), button = element('button');
    button.type = 'button';
    button.append(element('b', grouped(distance)), element('span', identityOf(model, other)));
    button.title = `${pathOf(model, meshOf(model, other).object)}, cell ${cellOf(model, other).join(', ')}`;
    button.addEventListener('click', () => pick(other));
    entry.append(button);
    nearest.append(entry);
  }
  const heading = element('h4', 'Nearest, in hops');
  card.append(heading, nearest);
}

// Places the card beside the pointer, never under it, and inside the window.
function placeCard(card, x, y, width, height) {
  card.hidden = false;
  const own = card.getBoundingClientRect(), gap = 18, margin = 10;
  let left = x + gap + own.width + margin > width ? x - gap - own.width : x + gap;
  let top = y + gap + own.height + margin > height ? y - gap - own.height : y + gap;
  left = Math.max(margin, Math.min(left, width - own.width - margin));
  top = Math.max(margin, Math.min(top, height - own.height - margin));
  card.style.transform = `translate(${Math.round(left)}px, ${Math.round(top)}px)`;
}
