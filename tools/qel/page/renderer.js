// Draws the two views into one canvas, from arrays. It does not use the page.
const cube = { low: [-0.5, -0.5, -0.5], high: [47.5, 47.5, 47.5] };

// The edges of a box with corners 0 and 1, then a grid on the lower and upper face of each axis.
function boxLines() {
  const lines = [], point = (axis, a, b, c) => { const p = []; p[axis] = a; p[(axis + 1) % 3] = b; p[(axis + 2) % 3] = c; return p; };
  for (let axis = 0; axis < 3; ++axis)
    for (const b of [0, 1]) for (const c of [0, 1]) lines.push(...point(axis, 0, b, c), ...point(axis, 1, b, c));
  const starts = [];
  for (let axis = 0; axis < 3; ++axis) for (const side of [0, 1]) {
    starts.push(lines.length / 3);
    for (let step = 1; step < 6; ++step) {
      lines.push(...point(axis, side, step / 6, 0), ...point(axis, side, step / 6, 1));
      lines.push(...point(axis, side, 0, step / 6), ...point(axis, side, 1, step / 6));
    }
  }
  return { vertices: new Float32Array(lines), starts };
}

// The polygons' edges as pairs of vertices, by mesh, without the diagonals of the fans.
function edgePairs(model) {
  const { triangles, continues, triangleCount } = model, pairs = new Uint32Array(triangleCount * 6), starts = new Map();
  let at = 0;
  for (const mesh of model.meshes) {
    starts.set(mesh, at);
    for (let t = mesh.firstTriangle; t < mesh.firstTriangle + mesh.triangleCount; ++t) {
      const a = triangles[t * 3], b = triangles[t * 3 + 1], c = triangles[t * 3 + 2];
      if (!continues || !continues[t]) { pairs[at++] = a; pairs[at++] = b; }
      pairs[at++] = b; pairs[at++] = c;
      if (!continues || !continues[t + 1]) { pairs[at++] = c; pairs[at++] = a; }
    }
    mesh.edges = [starts.get(mesh), at - starts.get(mesh)];
  }
  return pairs.subarray(0, at);
}

// Joins adjacent ranges.
function joinRanges(list) {
  const joined = [];
  for (const [start, length] of list) {
    const last = joined[joined.length - 1];
    if (last && last[0] + last[1] === start) last[1] += length;
    else if (length > 0) joined.push([start, length]);
  }
  return joined;
}

// Whether a software renderer is used, for which less is drawn.
function drawsInSoftware(gl) {
  let name = gl.getParameter(gl.RENDERER);
  const hidden = name === 'WebKit WebGL' && gl.getExtension('WEBGL_debug_renderer_info');
  if (hidden) name = gl.getParameter(hidden.UNMASKED_RENDERER_WEBGL);
  return /swiftshader|llvmpipe|softpipe|software|basic render/i.test(name);
}

const maxSmoothedInSoftware = 60000; // triangles and tokens; more are drawn without smoothing by software
const quickPoints = 4000;          // tokens, and points of meshes, that are drawn during a movement
const maxPointStep = 21;           // a stride has at most 255 bytes

function createRenderer(gl, model) {
  const program = ([vertex, fragment]) => {
    const made = gl.createProgram();
    for (const [kind, source] of [[gl.VERTEX_SHADER, vertex], [gl.FRAGMENT_SHADER, fragment]]) {
      const shader = gl.createShader(kind);
      gl.shaderSource(shader, source);
      gl.compileShader(shader);
      gl.attachShader(made, shader);
    }
    gl.linkProgram(made);
    if (!gl.getProgramParameter(made, gl.LINK_STATUS) && !gl.isContextLost()) throw new Error(gl.getProgramInfoLog(made));
    const places = new Map();
    return { made, at: (name) => places.get(name) ?? places.set(name, gl.getUniformLocation(made, name)).get(name) };
  };
  const buffer = (values, target = gl.ARRAY_BUFFER) => {
    const made = gl.createBuffer();
    gl.bindBuffer(target, made);
    gl.bufferData(target, values, gl.STATIC_DRAW);
    return made;
  };
  const refill = (made, values) => {
    gl.bindBuffer(gl.ARRAY_BUFFER, made);
    gl.bufferData(gl.ARRAY_BUFFER, values, gl.DYNAMIC_DRAW);
  };
  // A set of attributes: location, buffer, size, type, normalized, stride.
  const layout = (attributes, indices) => {
    const made = gl.createVertexArray();
    gl.bindVertexArray(made);
    for (const [location, from, size, type, normalized, stride] of attributes) {
      gl.bindBuffer(gl.ARRAY_BUFFER, from);
      gl.enableVertexAttribArray(location);
      gl.vertexAttribPointer(location, size, type, normalized, stride, 0);
    }
    if (indices) gl.bindBuffer(gl.ELEMENT_ARRAY_BUFFER, indices);
    gl.bindVertexArray(null);
    return made;
  };

  const [surface, dense, dots, lines] = [surfaceShader, denseShader, pointShader, lineShader].map(program);
  const positions = buffer(model.positions), normals = buffer(model.normals), colours = buffer(new Uint8Array(model.count * 4));
  const cells = buffer(new Uint8Array(4)), cellColours = buffer(new Uint8Array(4)), ground = buffer(new Float32Array(6));
  const corners = buffer(model.triangles, gl.ELEMENT_ARRAY_BUFFER);
  const vertexParts = [[0, positions, 3, gl.FLOAT, false, 12], [1, normals, 4, gl.BYTE, true, 4], [2, colours, 4, gl.UNSIGNED_BYTE, true, 4]];
  const mesh = layout(vertexParts, corners);
  const everyCell = (step) => layout([[0, cells, 4, gl.UNSIGNED_BYTE, false, 4 * step], [2, cellColours, 4, gl.UNSIGNED_BYTE, true, 4 * step]]);
  const lattice = everyCell(1);
  const boxShape = boxLines(), box = layout([[0, buffer(boxShape.vertices), 3, gl.FLOAT, false, 12]]);
  const floor = layout([[0, ground, 3, gl.FLOAT, false, 12]]);
  let wires = null, coarse = null, thinLattice = null, thinning = 1, cellsShown = 0, pointStep = 1, thinPoints = null, floorLines = [0, 0];
  let faces = [], coarseFaces = { dense: [], surface: [] }, points = [], edges = [], edgesWanted = false, trianglesShown = 0;
  const software = drawsInSoftware(gl);

  // Frames are drawn to buffers, so that one half can be drawn again alone, with or without smoothing.
  const target = () => ({ made: gl.createFramebuffer(), colour: gl.createRenderbuffer(), depth: gl.createRenderbuffer(), size: '' });
  const smooth = target(), plain = target();
  const samples = Math.min(4, gl.getParameter(gl.MAX_SAMPLES));
  const fit = (into, width, height, smoothed) => {
    gl.bindFramebuffer(gl.FRAMEBUFFER, into.made);
    if (into.size === `${width} ${height}`) return;
    into.size = `${width} ${height}`;
    const storage = (at, format) => {
      gl.bindRenderbuffer(gl.RENDERBUFFER, at);
      if (smoothed) gl.renderbufferStorageMultisample(gl.RENDERBUFFER, samples, format, width, height);
      else gl.renderbufferStorage(gl.RENDERBUFFER, format, width, height);
    };
    storage(into.colour, gl.RGBA8);
    storage(into.depth, gl.DEPTH_COMPONENT24);
    gl.framebufferRenderbuffer(gl.FRAMEBUFFER, gl.COLOR_ATTACHMENT0, gl.RENDERBUFFER, into.colour);
    gl.framebufferRenderbuffer(gl.FRAMEBUFFER, gl.DEPTH_ATTACHMENT, gl.RENDERBUFFER, into.depth);
  };

  const use = (chosen, transform) => {
    gl.useProgram(chosen.made);
    gl.uniformMatrix4fv(chosen.at('transform'), false, transform);
  };
  const unitBox = (transform, { low, high }) => { // the transform of a box with corners 0 and 1
    const m = new Float32Array(transform);
    for (let row = 0; row < 4; ++row) for (let axis = 0; axis < 3; ++axis) {
      m[12 + row] += transform[axis * 4 + row] * low[axis];
      m[axis * 4 + row] *= high[axis] - low[axis];
    }
    return m;
  };
  const drawBox = (seen, shape, tone, strength) => {
    use(lines, unitBox(seen.matrix, shape));
    gl.bindVertexArray(box);
    gl.uniform4fv(lines.at('tone'), [...tone, strength]);
    gl.drawArrays(gl.LINES, 0, 24);
  };
  const drawCube = (seen, tone) => {
    drawBox(seen, cube, tone, 0.8);
    gl.uniform4fv(lines.at('tone'), [...tone, 0.34]);
    for (let axis = 0; axis < 3; ++axis)
      gl.drawArrays(gl.LINES, boxShape.starts[axis * 2 + (seen.turned[axis * 3 + 2] > 0 ? 0 : 1)], 20);
  };
  const drawFloor = (seen, tone) => {
    use(lines, seen.matrix);
    gl.bindVertexArray(floor);
    gl.uniform4fv(lines.at('tone'), [...tone, 0.3]);
    gl.drawArrays(gl.LINES, 4, floorLines[0]);
    gl.uniform4fv(lines.at('tone'), [...tone, 0.75]);
    gl.drawArrays(gl.LINES, 0, 4);
  };
  // The sizes of points: a few pixels for a mesh, nearly a cell for tokens.
  const sizesOf = (pane, seen, ratio, count = cellsShown) => pane.isMesh ? [0, (model.count < 20000 ? 7 : 3) * ratio]
    : [pane.height * ratio * seen.scale / lens * 0.74 / Math.max(1, Math.cbrt(count / 20000)), 2.5 * ratio];
  const drawPoints = (seen, sizes, look) => {
    use(dots, seen.matrix);
    gl.uniform2fv(dots.at('sizes'), sizes);
    gl.uniform3fv(dots.at('plain'), look.mesh);
    gl.uniform1f(dots.at('tint'), 1);
  };
  const drawMeshPoints = (pane, look, ratio, quickly) => {
    const step = quickly ? pointStep : 1;
    drawPoints(pane.seen, sizesOf(pane, pane.seen, ratio), look);
    gl.bindVertexArray(step > 1 ? thinPoints : mesh);
    for (const [start, length] of points) {
      const from = Math.ceil(start / step), count = Math.ceil((start + length) / step) - from;
      if (count > 0) gl.drawArrays(gl.POINTS, from, count);
    }
  };
  const thinOut = () => {
    const count = points.reduce((sum, [, length]) => sum + length, 0);
    pointStep = clamp(Math.round(count / quickPoints), 1, maxPointStep);
    if (thinPoints) gl.deleteVertexArray(thinPoints);
    thinPoints = layout(vertexParts.map((part) => [...part.slice(0, 5), part[5] * pointStep]));
  };
  const setCoarseFaces = () => {
    const shown = model.meshes.filter((one) => !one.out);
    const part = (thinned) => joinRanges(shown.filter((one) => one.thinned === thinned).map((one) => one.coarse));
    coarseFaces = { dense: part(true), surface: part(false) };
  };
  const drawFaces = (chosen, stretched, { seen }, view, look) => {
    if (stretched.length === 0) return;
    use(chosen, seen.matrix);
    gl.uniformMatrix3fv(chosen.at('turned'), false, seen.turned);
    gl.uniform3fv(chosen.at('plain'), look.mesh);
    gl.uniform1f(chosen.at('tint'), look.tint);
    if (chosen === surface) {
      gl.uniform2fv(chosen.at('lens'), [lens * seen.aspect, lens]);
      gl.uniform4fv(chosen.at('view'), view);
    }
    for (const [start, length] of stretched) gl.drawElements(gl.TRIANGLES, length * 3, gl.UNSIGNED_INT, start * 12);
  };
  const drawMesh = (pane, look, ratio, quickly, [left, bottom, width, height]) => {
    const { seen } = pane, view = [left + width / 2, bottom + height / 2, width / 2, height / 2];
    const tiny = trianglesShown > width * height / 2 * Math.max(1, pane.camera.zoom ** 2);
    const parts = quickly ? coarseFaces : tiny ? { dense: faces, surface: [] } : { dense: [], surface: faces };
    gl.bindVertexArray(quickly ? coarse : mesh);
    gl.enable(gl.POLYGON_OFFSET_FILL);
    gl.polygonOffset(1, 1);
    drawFaces(dense, parts.dense, pane, view, look);
    drawFaces(surface, parts.surface, pane, view, look);
    gl.disable(gl.POLYGON_OFFSET_FILL);
    if (points.length > 0) drawMeshPoints(pane, look, ratio, quickly);
    gl.enable(gl.BLEND);
    if (edgesWanted && wires && !quickly) {
      use(lines, seen.matrix);
      gl.bindVertexArray(wires);
      gl.uniform4fv(lines.at('tone'), [...look.ink, 0.5]);
      for (const [start, length] of edges) gl.drawElements(gl.LINES, length, gl.UNSIGNED_INT, start * 4);
    }
    if (look.grid) drawFloor(seen, look.edge);
    if (look.box) drawBox(seen, look.box, look.accent, 1);
    gl.disable(gl.BLEND);
  };
  const drawTokens = (pane, look, ratio, quickly) => {
    const count = quickly ? Math.floor(cellsShown / thinning) : cellsShown;
    drawPoints(pane.seen, sizesOf(pane, pane.seen, ratio, count), look);
    gl.bindVertexArray(quickly ? thinLattice : lattice);
    gl.drawArrays(gl.POINTS, 0, count);
    gl.enable(gl.BLEND);
    drawCube(pane.seen, look.edge);
    gl.disable(gl.BLEND);
  };
  const rectangle = (pane, scale, height) => {
    const left = Math.round(pane.left * scale), right = Math.round((pane.left + pane.width) * scale);
    const top = Math.round(pane.top * scale), bottom = Math.round((pane.top + pane.height) * scale);
    return [left, height - bottom, right - left, bottom - top];
  };
  const enter = (pane, scale, height) => {
    const place = rectangle(pane, scale, height);
    gl.viewport(...place);
    gl.scissor(...place);
    return place;
  };
  const prepare = () => {
    gl.enable(gl.SCISSOR_TEST);
    gl.enable(gl.DEPTH_TEST);
    gl.blendFunc(gl.ONE, gl.ONE_MINUS_SRC_ALPHA);
  };

  return {
    software,
    // Makes the coarse scene for movements, once, when idle.
    makeCoarse() {
      if (coarse) return;
      coarse = layout(vertexParts, buffer(coarseTriangles(model), gl.ELEMENT_ARRAY_BUFFER));
      setCoarseFaces();
    },
    sizesOf: (pane) => sizesOf(pane, pane.seen, 1),
    setFrame() {
      for (const moving of model.meshes) if (moving.moves) {
        const { first, count } = moving;
        gl.bindBuffer(gl.ARRAY_BUFFER, positions);
        gl.bufferSubData(gl.ARRAY_BUFFER, first * 12, model.positions, first * 3, count * 3);
        gl.bindBuffer(gl.ARRAY_BUFFER, normals);
        gl.bufferSubData(gl.ARRAY_BUFFER, first * 4, model.normals, first * 4, count * 4);
      }
    },
    setColours(values) { refill(colours, values); },
    setCells({ places, tones, count }) {
      refill(cells, places.subarray(0, count * 4));
      refill(cellColours, tones.subarray(0, count * 4));
      cellsShown = count;
      thinning = Math.max(1, Math.round(count / quickPoints));
      if (thinLattice) gl.deleteVertexArray(thinLattice);
      thinLattice = everyCell(thinning);
    },
    setShown() {
      const shown = model.meshes.filter((one) => !one.out);
      faces = joinRanges(shown.map((one) => [one.firstTriangle, one.triangleCount]));
      points = joinRanges(shown.filter((one) => one.triangleCount === 0).map((one) => [one.first, one.count]));
      thinOut();
      trianglesShown = shown.reduce((sum, one) => sum + one.triangleCount, 0);
      if (coarse) setCoarseFaces();
      edges = edgesWanted ? joinRanges(shown.map((one) => one.edges)) : [];
    },
    setEdges(wanted) {
      edgesWanted = wanted;
      if (wanted && !wires) wires = layout([[0, positions, 3, gl.FLOAT, false, 12]], buffer(edgePairs(model), gl.ELEMENT_ARRAY_BUFFER));
      this.setShown();
    },
    // The two axes are first, then the other lines.
    setFloor(values) {
      refill(ground, values);
      floorLines = [values.length / 3 - 4, 0];
    },
    // Draws with smoothing, or directly into the canvas if `quickly` is set or smoothing takes too long.
    draw(panes, look, ratio, quickly) {
      const { width, height } = gl.canvas, smoothed = !quickly && !(software && trianglesShown + cellsShown > maxSmoothedInSoftware);
      if (quickly) this.makeCoarse();
      if (smoothed) fit(smooth, width, height, true);
      prepare();
      gl.clearColor(...look.paper, 1);
      for (const pane of panes) {
        const place = enter(pane, ratio, height);
        gl.clear(gl.COLOR_BUFFER_BIT | gl.DEPTH_BUFFER_BIT);
        if (pane.isMesh) drawMesh(pane, look, ratio, quickly, place);
        else drawTokens(pane, look, ratio, quickly);
      }
      gl.disable(gl.SCISSOR_TEST);
      if (!smoothed) return;
      fit(plain, width, height, false);
      for (const [from, to] of [[smooth.made, plain.made], [plain.made, null]]) { // samples are resolved only into a buffer of the same format
        gl.bindFramebuffer(gl.READ_FRAMEBUFFER, from);
        gl.bindFramebuffer(gl.DRAW_FRAMEBUFFER, to);
        gl.blitFramebuffer(0, 0, width, height, 0, 0, width, height, gl.COLOR_BUFFER_BIT, gl.NEAREST);
      }
      gl.bindFramebuffer(gl.FRAMEBUFFER, null);
    },
  };
}
