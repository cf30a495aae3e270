// SPDX-License-Identifier: MIT
export { Archive } from './archive.js';
export { Cache, Mesh } from './mesh.js';
export { QelError, Library, codes, constants, hasSimd, records } from './library.js';
export { Scene, SceneMesh } from './scene.js';
export { Unit } from './unit.js';
