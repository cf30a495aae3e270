// The package's classes. `raw.d.ts` holds what is made from the headers.
/// <reference lib="esnext.disposable" />
import type { Raw, RecordName } from './raw.js';

export { codes, constants, records } from './raw.js';
export type { Raw, RecordName } from './raw.js';

/** A file: a path under Node, a Blob in a worker (read in slices), or bytes. */
export type Source = string | URL | Blob | ArrayBuffer | ArrayBufferView;

/** A function of the library answered with a code that is not 0. */
export declare class QelError extends Error {
  readonly function: string;
  readonly code: number;
  /** The code's name in the header. */
  readonly constant: string;
  readonly meaning: string;
}

/** What holds memory of the module until `dispose`, or the end of a `using` declaration. */
interface Owner {
  /** The record's place in the memory, for functions of `raw`. */
  readonly place: number;
  readonly disposed: boolean;
  dispose(): void;
  [Symbol.dispose](): void;
}

export interface ArchiveInfo {
  libraryVersion: number; objectCount: number; meshCount: number; start: number; end: number; framesPerSecond: number; metadata: string;
}
export interface ArchiveObject {
  number: number; name: string; path: string; metadata: string; schema: string; kind: number; parent: number;
  childCount: number; propertyCount: number;
}
export interface ArchiveProperty {
  number: number; name: string; metadata: string; kind: number; value: number; extent: number; sampleCount: number;
  timeSampling: number; constant: number;
}
export interface MeshInfo {
  sampleCount: number; topology: number; vertexCount: number; faceCount: number; cornerCount: number; start: number; end: number;
}
export interface Token { key: bigint; identity: string; payload: bigint; layer: number }
export interface SceneToken extends Token { cell: [number, number, number]; level: number; state: number; norm: number }
export interface UVSet { name: string; values: Float32Array | null; indices: Uint32Array | null }

/** An archive by what it says. Its arrays stay in the file until a mesh is read. */
export interface Archive extends Owner {}
export declare class Archive {
  private constructor();
  readonly info: ArchiveInfo;
  /** All objects, parents before their children; 0 is the top. */
  readonly objects: ArchiveObject[];
  object(number: number): ArchiveObject;
  find(path: string): number | null;
  meshInfo(object: number): MeshInfo;
  sampleAt(object: number, seconds: number): number;
  /** The mesh of an object at a sample or at a time in seconds. It lives on without its archive. */
  mesh(object: number, sample?: number | { time: number }): Mesh;
  worldTransform(object: number, seconds?: number): Float64Array;
  localTransform(object: number, seconds?: number): Float64Array;
  visible(object: number, seconds?: number): boolean;
  property(object: number, number: number): ArchiveProperty;
  findProperty(object: number, name: string): number | null;
  readProperty(object: number, property: number, sample?: number): Uint8Array;
}

/** A polygon mesh. Its arrays are views of the memory: they hold until it is disposed of or the memory grows. */
export interface Mesh extends Owner {}
export declare class Mesh {
  private constructor();
  readonly name: string;
  readonly path: string;
  readonly vertexCount: number;
  readonly faceCount: number;
  readonly positions: Float32Array;
  readonly faceCounts: Uint32Array;
  readonly faceIndices: Uint32Array;
  readonly normals: Float32Array | null;
  readonly uvSets: UVSet[];
  readonly bounds: Float32Array;
  readonly transform: Float64Array;
  /** Triples of vertex numbers, the caller's own. */
  triangles(): Uint32Array;
  /** The mesh as bytes of a mesh cache (.qelm). */
  toCache(): Uint8Array;
}

/** A mesh cache (.qelm), read in place: its arrays are views of the memory, as those of a Mesh. */
export interface Cache extends Owner {}
export declare class Cache {
  private constructor();
  readonly vertexCount: number;
  readonly triangleCount: number;
  readonly positions: Float32Array;
  readonly normals: Float32Array | null;
  readonly indices: Uint32Array;
  readonly bounds: Float32Array;
}

export interface TokenMesh {
  readonly name: string;
  readonly vertexCount: number;
  readonly triangleCount: number;
  readonly positions: Float32Array;
  readonly triangles: Uint32Array | null;
  readonly bounds: Float32Array;
  readonly layer: number;
  token(vertex: number): SceneToken;
  /** The tokens as bytes of a unit's file (.qel). */
  toUnit(): Uint8Array;
}

/** Vertices made into tokens here. */
export interface SceneMesh extends Owner, TokenMesh {}
export declare class SceneMesh {
  private constructor();
}

/** A scene of tokens, with frames. */
export interface Scene extends Owner {}
export declare class Scene {
  private constructor();
  readonly frameCount: number;
  readonly framesPerSecond: number;
  readonly tokenCount: number;
  readonly meshes: TokenMesh[];
  nearest(key: bigint | number, count: number): { mesh: number; vertex: number; distance: number }[];
  toBytes(): Uint8Array;
  toUnit(): Uint8Array;
}

/** A store of tokens with its indexes. */
export interface Unit extends Owner {}
export declare class Unit {
  private constructor();
  readonly count: number;
  token(number: number): Token;
  keys(): BigUint64Array;
  findKey(key: bigint | number): number | null;
  findCell(x: number, y: number, z: number): number | null;
  findIdentity(identity: string): number | null;
  nearest(key: bigint | number, count: number): { numbers: Uint32Array; distances: BigUint64Array };
  toBytes(): Uint8Array;
}

export interface Tokens {
  keys: ArrayLike<bigint>; identities: string[]; payloads: ArrayLike<bigint>; layers: ArrayLike<number>;
}

/** The memory of the module, for what is done with `raw`. */
export interface Memory {
  readonly buffer: ArrayBuffer;
  allocate(size: number): number;
  free(place: number): void;
  /** A number or text of a record. */
  field(record: RecordName, place: number, name: string): any;
  text(place: number, limit?: number): string | null;
}

/** The module, loaded. */
export declare class Library {
  private constructor();
  readonly raw: Raw;
  readonly memory: Memory;
  /** Whether its kernels use SIMD128. */
  readonly simd: boolean;
  openArchive(source: Source): Archive;
  loadScene(source: Source): Scene;
  loadUnit(source: Source): Unit;
  createUnit(tokens: Tokens): Unit;
  openCache(source: Source): Cache;
  createSceneMesh(positions: ArrayLike<number>, triangles?: ArrayLike<number>, name?: string): SceneMesh;
}

export interface Options {
  /** The module's file: its bytes, or where it is. Without it, the one beside the package. */
  wasm?: ArrayBuffer | ArrayBufferView | string | URL;
  /** Which of the two files is meant; without it, what the machine can run. */
  simd?: boolean;
}
export declare function load(options?: Options): Promise<Library>;
export declare function hasSimd(): boolean;
