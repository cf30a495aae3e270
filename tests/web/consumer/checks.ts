// SPDX-License-Identifier: MIT
// What every user of the package does, in each place where it runs; answers what it saw as text.
import { load, QelError, type Library, type Options, type Source } from 'qel-unit';

function must(holds: boolean, what: string): void {
  if (!holds) throw new Error(`does not hold: ${what}`);
}

function codeOf(use: () => unknown): string {
  try {
    use();
  } catch (error) {
    if (error instanceof QelError) return `${error.constant} ${error.code}: ${error.meaning}`;
    throw error;
  }
  return 'nothing was thrown';
}

function archiveAndMesh(qel: Library, harbour: Source): Uint8Array {
  using archive = qel.openArchive(harbour);
  must(archive.info.objectCount === 42 && archive.objects[1].path === '/harbour', 'the objects');
  const sail = archive.find('/harbour/boat/sail');
  must(sail !== null && archive.find('/harbour/none') === null, 'what is found');
  must(archive.meshInfo(sail!).vertexCount === 63 && archive.visible(sail!), 'what is said of a mesh');
  must(codeOf(() => archive.mesh(0)).startsWith('QEL_ARCHIVE_'), 'the top is no mesh');
  const property = archive.findProperty(sail!, '.geom/P');
  must(archive.readProperty(sail!, property!).length === 63 * 12, 'a property');
  using mesh = archive.mesh(sail!, { time: 1 });
  must(mesh.positions.length === 189 && mesh.uvSets.length === 1, 'the arrays');
  must(archive.worldTransform(sail!, 1)[12] === 4, 'where it stands');
  using cache = qel.openCache(mesh.toCache());
  must(cache.positions.every((value, i) => value === mesh.positions[i]), 'the cache holds the mesh');
  using made = qel.createSceneMesh(mesh.positions, mesh.triangles(), mesh.name);
  must(made.token(30).key === 146143n && made.token(30).identity === '0000001E', 'a token');
  return made.toUnit();
}

function units(qel: Library, bytes: Uint8Array): void {
  using unit = qel.loadUnit(bytes);
  must(unit.count === 63 && unit.findKey(146143) === 53 && unit.findIdentity('0000001E') === 53, 'lookups');
  const { numbers, distances } = unit.nearest(146143n, 3);
  must(numbers[0] === 53 && distances[0] === 0n && distances[2] >= distances[1], 'the nearest');
  using own = qel.createUnit({ keys: [7n, 9n], identities: ['0000000A', '0000000B'], payloads: [1n, 2n], layers: [1, 2] });
  using again = qel.loadUnit(own.toBytes());
  must(again.token(1).identity === '0000000B' && again.keys()[0] === 7n, 'a unit made here');
}

export async function checks(harbour: Source, options?: Options): Promise<string> {
  const qel = await load(options);
  must(qel.raw.ruv_sqrt(81n) === 9n && qel.raw.qel_matrix_48_morton_encode(47, 47, 47) > 0n, 'plain functions');
  units(qel, archiveAndMesh(qel, harbour));
  const disposed = qel.loadUnit(qel.createUnit({ keys: [1n], identities: ['00000001'], payloads: [0n], layers: [0] }).toBytes());
  disposed.dispose();
  disposed.dispose();
  let told = '';
  try { told = String(disposed.count); } catch (error) { told = (error as Error).message; }
  must(told === 'This object has been disposed of', 'what is gone says so');
  must(codeOf(() => qel.openArchive(Uint8Array.of(1, 2, 3))) === 'QEL_ARCHIVE_NOT_AN_ARCHIVE -3: ' +
    'the file has fewer than 16 bytes or begins with others than an archive', 'code and meaning');
  let settled = 0; // after some rounds, the gaps between what is held have found their sizes
  for (let i = 0; i < 12; ++i) {
    units(qel, archiveAndMesh(qel, harbour));
    if (i === 5) settled = qel.memory.buffer.byteLength;
  }
  must(qel.memory.buffer.byteLength === settled, 'what is disposed of is freed');
  return `well, ${qel.simd ? 'with' : 'without'} SIMD`;
}
