// The card that says what a token is.
const card = document.getElementById('card');

const stateNames = new Map([[-1, '\u22121'], [0, '0'], [1, '1'], [2, '2']]);
const place3 = (vertex) => [0, 1, 2].map((axis) => Number(positions[vertex * 3 + axis].toPrecision(4)))
  .map(signed).join(', ');

function fillCard(vertex, mode) {
  const facts = [
    ['Key', keyOf(vertex)], ['Identity', identityOf(vertex)], ['Cell', cellOf(vertex).join(', ')],
    ['Layer', String(layers[vertex])], ['Level', signed(levels[vertex])],
    ['State', stateNames.get(states[vertex]) || signed(states[vertex])],
    ['Norm', norms[vertex].toFixed(4)], ['Position', place3(vertex)],
  ];
  const part = partOf(vertex);
  const title = element('h3');
  title.append(element('i', '', `background: ${css(modes[mode].colour(vertex))}`),
    element('span', `Token ${grouped(vertex)}`), element('small', data.parts.length > 1 ? part.name : ''));
  const list = element('dl');
  for (const [name, value] of facts) list.append(element('dt', name), element('dd', value));
  card.replaceChildren(title, list);
  const others = crowd.get(cellNumber(vertex)) - 1;
  if (others > 0) card.append(element('p', `Shares its cell with ${grouped(others)} other token${others === 1 ? '' : 's'}.`));
}

// Beside the pointer where there is room, never under it.
function placeCard(x, y, width, height) {
  card.hidden = false;
  const own = card.getBoundingClientRect(), gap = 18, margin = 10;
  let left = x + gap + own.width + margin > width ? x - gap - own.width : x + gap;
  let top = y + gap + own.height + margin > height ? y - gap - own.height : y + gap;
  left = Math.max(margin, Math.min(left, width - own.width - margin));
  top = Math.max(margin, Math.min(top, height - own.height - margin));
  card.style.transform = `translate(${Math.round(left)}px, ${Math.round(top)}px)`;
}
