// Finds the vertex at a position of a view, without the graphics processor, which may still be drawing.
const pickReach = 6; // maximum distance from the pointer in pixels

// Rows of a view's transform, shifted so that the pointer is at x = y = 0; x and y are pixels times the distance w.
function pointerRows({ matrix }, pane, x, y) {
  const row = (number) => [0, 4, 8, 12].map((column) => matrix[column + number]), w = row(3);
  const nx = (x - pane.left) / pane.width * 2 - 1, ny = 1 - (y - pane.top) / pane.height * 2;
  const moved = (values, to, size) => values.map((value, i) => (value - to * w[i]) * size / 2);
  return [moved(row(0), nx, pane.width), moved(row(1), ny, pane.height), w];
}

// Four planes through the camera and one in front of it; a box outside one of them is not near the pointer.
function pointerPlanes([x, y, w], front) {
  const plane = (row, sign) => row.map((value, i) => sign * value + pickReach * w[i]);
  return [plane(x, 1), plane(x, -1), plane(y, 1), plane(y, -1), w.map((value, i) => (i === 3 ? value - front : value))];
}

function isBeyond(boxes, at, planes) {
  for (const [a, b, c, d] of planes) {
    const x = boxes[at + (a > 0 ? 3 : 0)], y = boxes[at + (b > 0 ? 4 : 1)], z = boxes[at + (c > 0 ? 5 : 2)];
    if (a * x + b * y + c * z + d < 0) return true;
  }
  return false;
}

// The squared distance of the pointer from an edge; the ends are in pixels relative to the pointer.
function fromEdge(ax, ay, bx, by) {
  const dx = bx - ax, dy = by - ay, length = dx * dx + dy * dy;
  const along = length > 0 ? clamp(-(ax * dx + ay * dy) / length, 0, 1) : 0, x = ax + along * dx, y = ay + along * dy;
  return x * x + y * y;
}

// Keeps the vertex nearest to the pointer and, among those under it, the one nearest to the camera.
function nearestHit() {
  return {
    vertex: -1, away: pickReach * pickReach, depth: Infinity,
    offer(vertex, away, depth) {
      if (away > this.away || (away === this.away && depth >= this.depth)) return;
      Object.assign(this, { vertex, away, depth });
    },
  };
}

// The corner of a triangle nearest to the point with these barycentric coordinates.
function nearestCorner(positions, corners, shares) {
  const at = (corner) => positions.subarray(corner * 3, corner * 3 + 3), point = [0, 0, 0];
  for (const [i, corner] of corners.entries())
    for (let axis = 0; axis < 3; ++axis) point[axis] += shares[i] * at(corner)[axis];
  const away = corners.map((corner) => Math.hypot(...sub3(at(corner), point)));
  return corners[away.indexOf(Math.min(...away))];
}

// Scalars instead of arrays of three, which made this three times slower.
function pickTriangles({ positions, triangles }, from, to, [rowX, rowY, rowW], front, hit) {
  const [xx, xy, xz, x1] = rowX, [yx, yy, yz, y1] = rowY, [wx, wy, wz, w1] = rowW, reach = pickReach;
  for (let t = from * 3; t < to * 3; t += 3) {
    const i = triangles[t] * 3, ix = positions[i], iy = positions[i + 1], iz = positions[i + 2];
    const j = triangles[t + 1] * 3, jx = positions[j], jy = positions[j + 1], jz = positions[j + 2];
    const k = triangles[t + 2] * 3, kx = positions[k], ky = positions[k + 1], kz = positions[k + 2];
    const iw = wx * ix + wy * iy + wz * iz + w1, jw = wx * jx + wy * jy + wz * jz + w1, kw = wx * kx + wy * ky + wz * kz + w1;
    const iX = xx * ix + xy * iy + xz * iz + x1, jX = xx * jx + xy * jy + xz * jz + x1, kX = xx * kx + xy * ky + xz * kz + x1;
    if (iX > reach * iw && jX > reach * jw && kX > reach * kw) continue; // all right of the pointer's reach
    if (-iX > reach * iw && -jX > reach * jw && -kX > reach * kw) continue;
    const iY = yx * ix + yy * iy + yz * iz + y1, jY = yx * jx + yy * jy + yz * jz + y1, kY = yx * kx + yy * ky + yz * kz + y1;
    if (iY > reach * iw && jY > reach * jw && kY > reach * kw) continue;
    if (-iY > reach * iw && -jY > reach * jw && -kY > reach * kw) continue;
    pickTriangle(positions, [triangles[t], triangles[t + 1], triangles[t + 2]], [iX, jX, kX], [iY, jY, kY], [iw, jw, kw], front, hit);
  }
}

// Tests one triangle by barycentric coordinates at the pointer.
function pickTriangle(positions, corners, x, y, w, front, hit) {
  const a = x[1] * y[2] - x[2] * y[1], b = x[2] * y[0] - x[0] * y[2], c = x[0] * y[1] - x[1] * y[0], sum = a + b + c;
  if ((a >= 0 && b >= 0 && c >= 0 && sum > 0) || (a <= 0 && b <= 0 && c <= 0 && sum < 0)) {
    const depth = (a * w[0] + b * w[1] + c * w[2]) / sum;
    if (depth < front || (hit.away === 0 && depth >= hit.depth)) return;
    hit.offer(nearestCorner(positions, corners, [a / sum, b / sum, c / sum]), 0, depth);
  } else if (hit.away > 0 && Math.min(...w) > front) pickEdges(corners, x, y, w, hit);
}

// Tests the edges of a triangle beside the pointer.
function pickEdges(corners, x, y, w, hit) {
  const px = x.map((value, i) => value / w[i]), py = y.map((value, i) => value / w[i]);
  const away = Math.min(...[0, 1, 2].map((i) => fromEdge(px[i], py[i], px[(i + 1) % 3], py[(i + 1) % 3])));
  if (away >= hit.away) return;
  const own = px.map((value, i) => value * value + py[i] * py[i]), corner = own.indexOf(Math.min(...own));
  hit.offer(corners[corner], away, w[corner]);
}

// Points are discs: `sizes` holds the diameter at distance 1 and the minimum.
function pickPoints(places, stride, from, to, [rowX, rowY, rowW], front, sizes, hit) {
  const [xx, xy, xz, x1] = rowX, [yx, yy, yz, y1] = rowY, [wx, wy, wz, w1] = rowW;
  for (let i = from, at = from * stride; i < to; ++i, at += stride) {
    const px = places[at], py = places[at + 1], pz = places[at + 2], w = wx * px + wy * py + wz * pz + w1;
    if (w < front) continue;
    const x = (xx * px + xy * py + xz * pz + x1) / w, y = (yx * px + yy * py + yz * pz + y1) / w;
    const radius = clamp(sizes[0] / w, sizes[1], 120) / 2, reach = radius + pickReach, away = x * x + y * y;
    if (away <= reach * reach) hit.offer(i, Math.max(0, Math.sqrt(away) - radius) ** 2, w);
  }
}

// The visible vertex at a position of a pane, or -1. `sizes` are those of the pane's points.
function pickVertex(model, cells, pane, x, y, sizes) {
  const rows = pointerRows(pane.seen, pane, x, y), { front } = pane.seen, hit = nearestHit();
  if (!pane.isMesh) {
    pickPoints(cells.places, 4, 0, cells.count, rows, front, sizes, hit);
    return hit.vertex < 0 ? -1 : cells.vertices[hit.vertex];
  }
  const planes = pointerPlanes(rows, front), { blocks, positions } = model;
  for (const mesh of model.meshes) {
    if (mesh.out) continue;
    const { first, count, firstBlock, blockCount, triangleCount } = mesh;
    if (triangleCount === 0) pickPoints(positions, 3, first, first + count, rows, front, sizes, hit);
    boxBlocks(model, mesh);
    for (let block = firstBlock; block < firstBlock + blockCount; ++block) {
      if (isBeyond(blocks.boxes, block * 6, planes)) continue;
      pickTriangles(model, blocks.from[block], blocks.from[block + 1], rows, front, hit);
    }
  }
  return hit.vertex;
}
