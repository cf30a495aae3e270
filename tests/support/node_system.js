// SPDX-License-Identifier: MIT
// System calls under Node whose lengths emscripten 3.1.6 takes for numbers of 32 bits.
mergeInto(LibraryManager.library, {
  $withLength__deps: ['$FS'],
  $withLength: function (call, low, high) {
    try {
      call((high >>> 0) * 2 ** 32 + (low >>> 0));
      return 0;
    } catch (error) {
      if (!(error instanceof FS.ErrnoError)) throw error;
      return -error.errno;
    }
  },
  __syscall_truncate64__deps: ['$withLength', '$FS'],
  __syscall_truncate64: function (path, low, high) {
    return withLength((length) => FS.truncate(UTF8ToString(path), length), low, high);
  },
  __syscall_ftruncate64__deps: ['$withLength', '$FS'],
  __syscall_ftruncate64: function (descriptor, low, high) {
    return withLength((length) => FS.ftruncate(descriptor, length), low, high);
  },
});
