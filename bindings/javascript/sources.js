// SPDX-License-Identifier: MIT
// Files of the module that are read in slices where they lie, never whole: a Blob of a page, bytes, or anything else that
// reads at a position. The library sees them as files of its own file system.

const ERRNO_IO = 29; // as emscripten numbers it
const WINDOW = 256 * 1024; // of one slice: the library's many small reads then become few

/** A source { size, readAt(position, length) } of a Blob; only a worker can read one at once. */
export function blobSource(blob) {
  if (typeof FileReaderSync === 'undefined')
    throw new TypeError('A Blob is read in slices in a worker only. Elsewhere give its bytes: await blob.arrayBuffer()');
  const reader = new FileReaderSync();
  return {
    size: blob.size,
    readAt: (position, length) => new Uint8Array(reader.readAsArrayBuffer(blob.slice(position, position + length))),
  };
}

export function bytesSource(bytes) {
  const view = ArrayBuffer.isView(bytes) ? new Uint8Array(bytes.buffer, bytes.byteOffset, bytes.byteLength) : new Uint8Array(bytes);
  return { size: view.length, readAt: (position, length) => view.subarray(position, position + length) };
}

/** Puts a source at a path of the file system. */
export function addSource(FS, path, source) {
  const node = FS.create(path, 0o444);
  let from = 0, slice = new Uint8Array(0);
  const windowAt = (position, length) => {
    if (position >= from && position + length <= from + slice.length) return;
    from = position;
    slice = source.readAt(position, Math.min(Math.max(length, WINDOW), source.size - position));
  };
  Object.defineProperty(node, 'usedBytes', { get: () => source.size });
  const refuse = () => { throw new FS.ErrnoError(ERRNO_IO); };
  node.stream_ops = {
    ...node.stream_ops,
    read(stream, buffer, offset, length, position) {
      const wanted = Math.min(length, source.size - position);
      if (wanted <= 0) return 0;
      try {
        windowAt(position, wanted);
      } catch {
        refuse(); // the file has changed, or is gone
      }
      const given = slice.subarray(position - from, position - from + wanted);
      buffer.set(given, offset);
      return given.length;
    },
    write: refuse,
    allocate: refuse,
    mmap: refuse,
  };
}
