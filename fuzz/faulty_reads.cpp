// SPDX-License-Identifier: MIT
#include "faulty_reads.h"

#include <algorithm>
#include <cerrno>

#include <sys/types.h>

namespace qel::fuzz {

faulty_reads *faulty_reads::current = nullptr;

namespace {

/// The error of the next read; 0 if it is executed.
int next_error() {
    faulty_reads *const faults = faulty_reads::current;
    if (faults == nullptr) return 0;
    const std::uint64_t number = ++faults->count;
    if (faults->interrupt_each != 0 && number % faults->interrupt_each == 0) return EINTR;
    if (faults->fail_at == 0) return 0;
    return (faults->all_later ? number >= faults->fail_at : number == faults->fail_at) ? EIO : 0;
}

std::size_t shortened(std::size_t size) {
    return faulty_reads::current == nullptr ? size : std::min(size, faulty_reads::current->max_bytes);
}

} // namespace
} // namespace qel::fuzz

extern "C" {

// Which of the two is called depends on the position type of the library's build.
ssize_t __real_pread(int descriptor, void *bytes, std::size_t size, off_t position);
ssize_t __real_pread64(int descriptor, void *bytes, std::size_t size, off64_t position);
ssize_t __wrap_pread(int descriptor, void *bytes, std::size_t size, off_t position);
ssize_t __wrap_pread64(int descriptor, void *bytes, std::size_t size, off64_t position);

ssize_t __wrap_pread(int descriptor, void *bytes, std::size_t size, off_t position) {
    errno = qel::fuzz::next_error();
    return errno != 0 ? -1 : __real_pread(descriptor, bytes, qel::fuzz::shortened(size), position);
}

ssize_t __wrap_pread64(int descriptor, void *bytes, std::size_t size, off64_t position) {
    errno = qel::fuzz::next_error();
    return errno != 0 ? -1 : __real_pread64(descriptor, bytes, qel::fuzz::shortened(size), position);
}

} // extern "C"
