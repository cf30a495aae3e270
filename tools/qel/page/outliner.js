// The tree of objects. Only visible rows are in the document, so that scrolling does not slow down with many objects.
const rowHeight = 26;

function createOutliner(model, hooks) {
  const by = (id) => document.getElementById(id);
  const tree = by('tree'), rows = by('rows'), field = by('filter-objects');
  const children = model.objects.map(() => []), roots = [], meshAt = new Map();
  model.objects.forEach((object, i) => (object.parent >= 0 ? children[object.parent] : roots).push(i));
  for (const mesh of model.meshes) meshAt.set(mesh.object, [...(meshAt.get(mesh.object) || []), mesh]);
  const open = new Set(model.objects.length <= 2000 ? model.objects.keys() : roots);
  let lines = [], selected = -1;

  const meshesBelow = (object) => {
    const found = [], waiting = [object];
    while (waiting.length > 0) {
      const one = waiting.pop();
      found.push(...(meshAt.get(one) || []));
      waiting.push(...children[one]);
    }
    return found;
  };
  const sizes = model.objects.map(() => 0);
  for (const mesh of model.meshes) for (let at = mesh.object; at >= 0; at = model.objects[at].parent) sizes[at] += mesh.count;

  const matching = (text) => {
    const wanted = new Set();
    model.objects.forEach((object, i) => {
      if (object.name.toLowerCase().includes(text)) for (let at = i; at >= 0 && !wanted.has(at); at = model.objects[at].parent) wanted.add(at);
    });
    return wanted;
  };
  const lineUp = () => {
    const text = field.value.trim().toLowerCase(), wanted = text ? matching(text) : null;
    lines = [];
    const waiting = [...roots].reverse().map((object) => [object, 0]);
    while (waiting.length > 0) {
      const [object, depth] = waiting.pop();
      if (wanted && !wanted.has(object)) continue;
      lines.push([object, depth]);
      if (wanted || open.has(object)) waiting.push(...[...children[object]].reverse().map((child) => [child, depth + 1]));
    }
    rows.style.height = `${lines.length * rowHeight}px`;
    draw();
  };

  const eye = (object, hidden) => {
    const button = element('button', undefined, 'eye');
    button.type = 'button';
    button.tabIndex = -1;
    button.setAttribute('aria-label', `${hidden ? 'Show' : 'Hide'} ${model.objects[object].name}`);
    button.setAttribute('aria-pressed', String(!hidden));
    button.addEventListener('click', (event) => { event.stopPropagation(); toggle(object); });
    return button;
  };
  const row = ([object, depth], at) => {
    const made = element('div', undefined, 'row'), below = meshesBelow(object), own = meshAt.get(object);
    const hidden = below.length > 0 && below.every((mesh) => mesh.hidden);
    made.id = `row-${object}`;
    made.setAttribute('role', 'treeitem');
    made.setAttribute('aria-level', depth + 1);
    made.setAttribute('aria-selected', String(object === selected));
    made.classList.toggle('off', hidden);
    made.style.cssText = `top: ${at * rowHeight}px; padding-left: ${6 + Math.min(depth, 12) * 13}px`;
    const twist = element('span', children[object].length > 0 ? (open.has(object) || field.value ? '▾' : '▸') : '', 'twist');
    if (children[object].length > 0) made.setAttribute('aria-expanded', String(open.has(object)));
    twist.addEventListener('click', (event) => { event.stopPropagation(); fold(object); });
    const dot = element('i');
    if (own) dot.style.background = hooks.colourOf(own[0]);
    const name = element('span', model.objects[object].name || '(no name)', 'name');
    name.title = `${pathOf(model, object)} · ${model.objects[object].kind}`;
    made.append(twist, ...(own ? [dot] : []), name, element('small', sizes[object] > 0 ? grouped(sizes[object]) : ''), eye(object, hidden));
    made.addEventListener('click', () => { select(object); tree.focus(); });
    made.addEventListener('dblclick', () => hooks.focus(meshesBelow(object)));
    return made;
  };
  const draw = () => {
    const first = Math.max(0, Math.floor(tree.scrollTop / rowHeight) - 4);
    const last = Math.min(lines.length, first + Math.ceil(tree.clientHeight / rowHeight) + 8);
    rows.replaceChildren(...lines.slice(first, last).map((line, i) => row(line, first + i)));
    if (selected >= 0) tree.setAttribute('aria-activedescendant', `row-${selected}`);
    else tree.removeAttribute('aria-activedescendant');
  };
  const fold = (object) => {
    if (!open.delete(object)) open.add(object);
    lineUp();
  };
  const comeInSight = () => {
    const at = lines.findIndex(([object]) => object === selected);
    if (at < 0) return;
    if (at * rowHeight < tree.scrollTop) tree.scrollTop = at * rowHeight;
    if ((at + 1) * rowHeight > tree.scrollTop + tree.clientHeight) tree.scrollTop = (at + 1) * rowHeight - tree.clientHeight;
    draw();
  };
  const select = (object) => {
    selected = object;
    for (let at = object >= 0 ? model.objects[object].parent : -1; at >= 0; at = model.objects[at].parent) open.add(at);
    lineUp();
    comeInSight();
    hooks.selected(object >= 0 ? meshesBelow(object) : []);
  };
  // As select, but without a box in the view: the picked vertex is marked there.
  const reveal = (object) => {
    selected = object;
    for (let at = model.objects[object].parent; at >= 0; at = model.objects[at].parent) open.add(at);
    lineUp();
    comeInSight();
  };
  const change = (hide) => {
    for (const mesh of model.meshes) mesh.hidden = hide(mesh);
    hooks.changed();
    draw();
  };
  const toggle = (object) => {
    const below = new Set(meshesBelow(object)), hide = [...below].some((mesh) => !mesh.hidden);
    change((mesh) => (below.has(mesh) ? hide : mesh.hidden));
  };
  const isolate = (object) => {
    const below = new Set(meshesBelow(object));
    const alone = model.meshes.every((mesh) => mesh.hidden === !below.has(mesh));
    change((mesh) => !alone && !below.has(mesh));
  };
  const showAll = () => change(() => false);

  const walk = (by) => {
    const at = lines.findIndex(([object]) => object === selected);
    if (lines.length > 0) select(lines[clamp(at + by, 0, lines.length - 1)][0]);
  };
  const keys = {
    ArrowDown: () => walk(1), ArrowUp: () => walk(-1), Home: () => walk(-lines.length), End: () => walk(lines.length),
    ArrowRight: () => { if (children[selected]?.length > 0 && !open.has(selected)) fold(selected); else walk(1); },
    ArrowLeft: () => { if (open.has(selected) && children[selected].length > 0) fold(selected); else if (model.objects[selected]?.parent >= 0) select(model.objects[selected].parent); },
    ' ': () => { if (selected >= 0) toggle(selected); }, i: () => { if (selected >= 0) isolate(selected); },
    h: () => { if (selected >= 0) toggle(selected); },
    Enter: () => { if (selected >= 0) hooks.focus(meshesBelow(selected)); }, Escape: () => select(-1),
  };
  tree.addEventListener('keydown', (event) => {
    if (event.ctrlKey || event.metaKey || event.altKey || !keys[event.key]) return;
    event.preventDefault();
    event.stopPropagation();
    keys[event.key]();
  });
  tree.addEventListener('scroll', draw);
  new ResizeObserver(draw).observe(tree);
  field.addEventListener('input', lineUp);
  by('show-all').addEventListener('click', showAll);
  lineUp();
  return { select, reveal, isolate, toggle, showAll, redraw: draw, get selected() { return selected; }, meshesBelow };
}
