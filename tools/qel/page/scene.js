// Everything drawn, in two halves of one canvas, and the question which vertex is under the pointer.
const cubeCentre = [23.5, 23.5, 23.5], cubeScale = 1 / (24 * Math.sqrt(3));
const meshCentre = low.map((value, axis) => (value + high[axis]) / 2);
const meshScale = 2 / (Math.hypot(...low.map((value, axis) => high[axis] - value)) || 1);

function cubeLines() {
  const edges = [], point = (axis, a, b, c) => { const p = []; p[axis] = a; p[(axis + 1) % 3] = b; p[(axis + 2) % 3] = c; return p; };
  for (let axis = 0; axis < 3; ++axis)
    for (const b of [0, 1]) for (const c of [0, 1]) edges.push(...point(axis, 0, b, c), ...point(axis, 1, b, c));
  const starts = []; // of the grid on the lower and upper face of each axis
  for (let axis = 0; axis < 3; ++axis) for (const side of [0, 1]) {
    starts.push(edges.length / 3);
    for (let step = 1; step < 6; ++step) {
      edges.push(...point(axis, side, step / 6, 0), ...point(axis, side, step / 6, 1));
      edges.push(...point(axis, side, 0, step / 6), ...point(axis, side, 1, step / 6));
    }
  }
  return { vertices: new Float32Array(edges), starts };
}

function createScene(gl) {
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
  const [surface, dots, picking, lines, marker] =
    [surfaceShader, pointShader, pickShader, lineShader, markerShader].map(program);
  const colours = buffer(new Uint8Array(count * 4));

  // A set of attributes: location, buffer, size, type, normalised.
  const layout = (attributes, indices) => {
    const made = gl.createVertexArray();
    gl.bindVertexArray(made);
    for (const [location, from, size, type, normalised] of attributes) {
      gl.bindBuffer(gl.ARRAY_BUFFER, from);
      gl.enableVertexAttribArray(location);
      gl.vertexAttribPointer(location, size, type, normalised, 0, 0);
    }
    if (indices) buffer(indices, gl.ELEMENT_ARRAY_BUFFER);
    gl.bindVertexArray(null);
    return made;
  };
  const colourAttribute = [2, colours, 4, gl.UNSIGNED_BYTE, true];
  const mesh = layout([[0, buffer(positions), 3, gl.FLOAT, false], [1, buffer(normals), 3, gl.SHORT, true], colourAttribute], triangles);
  const lattice = layout([[0, buffer(cells), 3, gl.UNSIGNED_BYTE, false], colourAttribute]);
  const cube = cubeLines();
  const box = layout([[0, buffer(cube.vertices), 3, gl.FLOAT, false]]);
  const nothing = gl.createVertexArray();

  const target = gl.createFramebuffer(), targetColour = gl.createTexture(), targetDepth = gl.createRenderbuffer();
  let targetSize = '';
  const fitTarget = () => {
    const { width, height } = gl.canvas;
    if (targetSize === `${width} ${height}`) return;
    targetSize = `${width} ${height}`;
    gl.bindTexture(gl.TEXTURE_2D, targetColour);
    gl.texImage2D(gl.TEXTURE_2D, 0, gl.RGBA8, width, height, 0, gl.RGBA, gl.UNSIGNED_BYTE, null);
    gl.texParameteri(gl.TEXTURE_2D, gl.TEXTURE_MIN_FILTER, gl.NEAREST);
    gl.bindRenderbuffer(gl.RENDERBUFFER, targetDepth);
    gl.renderbufferStorage(gl.RENDERBUFFER, gl.DEPTH_COMPONENT24, width, height);
    gl.bindFramebuffer(gl.FRAMEBUFFER, target);
    gl.framebufferTexture2D(gl.FRAMEBUFFER, gl.COLOR_ATTACHMENT0, gl.TEXTURE_2D, targetColour, 0);
    gl.framebufferRenderbuffer(gl.FRAMEBUFFER, gl.DEPTH_ATTACHMENT, gl.RENDERBUFFER, targetDepth);
    gl.bindFramebuffer(gl.FRAMEBUFFER, null);
  };

  const use = (chosen, transform) => {
    gl.useProgram(chosen.made);
    gl.uniformMatrix4fv(chosen.at('transform'), false, transform);
  };
  const unitBox = (transform, from, to) => { // the transform of a box with corners 0 and 1
    const m = new Float32Array(transform);
    for (let row = 0; row < 4; ++row) {
      for (let axis = 0; axis < 3; ++axis) {
        m[12 + row] += transform[axis * 4 + row] * from[axis];
        m[axis * 4 + row] *= to[axis] - from[axis];
      }
    }
    return m;
  };
  const drawBox = (transform, from, to, tone, grid) => {
    use(lines, unitBox(transform, from, to));
    gl.bindVertexArray(box);
    gl.enable(gl.BLEND);
    gl.uniform4fv(lines.at('tone'), [...tone, grid ? 0.8 : 0.45]);
    gl.drawArrays(gl.LINES, 0, 24);
    if (grid) {
      const r = rotation();
      gl.uniform4fv(lines.at('tone'), [...tone, 0.34]);
      for (let axis = 0; axis < 3; ++axis) gl.drawArrays(gl.LINES, cube.starts[axis * 2 + (r[axis * 3 + 2] > 0 ? 0 : 1)], 20);
    }
    gl.disable(gl.BLEND);
  };
  // Depth is only tested here, not written: the ring must not hide itself.
  const drawMarker = (transform, place, look, size, hidden) => {
    use(marker, transform);
    gl.bindVertexArray(nothing);
    gl.uniform3fv(marker.at('place'), place);
    gl.uniform1f(marker.at('size'), size);
    gl.uniform3fv(marker.at('fill'), look.fill);
    gl.enable(gl.BLEND);
    gl.depthMask(false);
    for (const [test, strength] of [[gl.ALWAYS, hidden], [gl.LESS, 1]]) { // fainter where a surface is in front
      gl.depthFunc(test);
      gl.uniform4fv(marker.at('tone'), [...look.marker, strength]);
      gl.drawArrays(gl.POINTS, 0, 1);
    }
    gl.depthMask(true);
    gl.depthFunc(gl.LESS);
    gl.disable(gl.BLEND);
  };
  const enter = (pane) => {
    gl.viewport(...pane.pixels);
    gl.scissor(...pane.pixels);
  };

  // A pixel-sized dot and one that nearly fills its cell.
  const pointSizes = (pane, ratio) => pane.isMesh
    ? [0, (count < 20000 ? 7 : 3) * ratio] : [pane.pixels[3] * cubeScale / lens * 0.74 / Math.max(1, Math.cbrt(count / 20000) * 0.8), 2.5 * ratio];

  return {
    setColours(values) {
      gl.bindBuffer(gl.ARRAY_BUFFER, colours);
      gl.bufferData(gl.ARRAY_BUFFER, values, gl.STATIC_DRAW);
    },
    draw(panes, look) {
      gl.enable(gl.SCISSOR_TEST);
      gl.enable(gl.DEPTH_TEST);
      gl.blendFunc(gl.ONE, gl.ONE_MINUS_SRC_ALPHA);
      gl.clearColor(0, 0, 0, 0);
      for (const pane of panes) {
        enter(pane);
        gl.clear(gl.COLOR_BUFFER_BIT | gl.DEPTH_BUFFER_BIT);
        if (pane.isMesh && triangles.length > 0) {
          use(surface, pane.transform);
          gl.uniformMatrix3fv(surface.at('turned'), false, rotation());
          gl.uniform3fv(surface.at('plain'), look.mesh);
          gl.uniform1f(surface.at('tint'), look.tint);
          gl.bindVertexArray(mesh);
          gl.drawElements(gl.TRIANGLES, triangles.length, gl.UNSIGNED_INT, 0);
        } else {
          use(dots, pane.transform);
          gl.uniform2fv(dots.at('sizes'), pointSizes(pane, look.ratio));
          gl.bindVertexArray(pane.isMesh ? mesh : lattice);
          gl.drawArrays(gl.POINTS, 0, count);
        }
        drawBox(pane.transform, pane.from, pane.to, look.edge, !pane.isMesh);
        if (look.chosen >= 0) drawMarker(pane.transform, pane.place(look.chosen), look, 24 * look.ratio, pane.isMesh && triangles.length > 0 ? 0.4 : 1);
      }
    },
    // The vertex seen nearest to a pixel of a pane, or -1.
    pick(pane, x, y, ratio) {
      const reach = Math.round((pane.isMesh ? 22 : 9) * ratio), side = 2 * reach + 1;
      fitTarget();
      gl.bindFramebuffer(gl.FRAMEBUFFER, target);
      enter(pane);
      gl.scissor(x - reach, y - reach, side, side);
      gl.clearColor(0, 0, 0, 0);
      gl.clear(gl.COLOR_BUFFER_BIT | gl.DEPTH_BUFFER_BIT);
      use(picking, pane.transform);
      gl.bindVertexArray(pane.isMesh ? mesh : lattice);
      if (pane.isMesh && triangles.length > 0) { // what lies behind the surface cannot be meant
        gl.uniform1i(picking.at('numbered'), 0);
        gl.enable(gl.POLYGON_OFFSET_FILL);
        gl.polygonOffset(2, 4);
        gl.drawElements(gl.TRIANGLES, triangles.length, gl.UNSIGNED_INT, 0);
        gl.disable(gl.POLYGON_OFFSET_FILL);
      }
      gl.uniform1i(picking.at('numbered'), 1);
      gl.uniform2fv(picking.at('sizes'), pane.isMesh ? [0, 2 * ratio] : pointSizes(pane, ratio));
      gl.drawArrays(gl.POINTS, 0, count);
      const seen = new Uint8Array(side * side * 4);
      gl.readPixels(x - reach, y - reach, side, side, gl.RGBA, gl.UNSIGNED_BYTE, seen);
      gl.bindFramebuffer(gl.FRAMEBUFFER, null);
      let best = -1, least = reach * reach + 1;
      for (let i = 0; i < side * side; ++i) {
        const number = (seen[i * 4] | seen[i * 4 + 1] << 8 | seen[i * 4 + 2] << 16) + seen[i * 4 + 3] * 0x1000000;
        const dx = i % side - reach, dy = Math.floor(i / side) - reach;
        if (number > 0 && dx * dx + dy * dy < least) [best, least] = [number - 1, dx * dx + dy * dy];
      }
      return best;
    },
  };
}
