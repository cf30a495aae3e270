// SPDX-License-Identifier: MIT
#include "common/random_access_file.h"

#include "common/file.h"
#include "common/heap.h"
#include "common/windows.h"

#include <algorithm>

#if !defined(_WIN32)
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace qel {
namespace {

/// Systems read at most about 2 GiB with one call.
constexpr std::size_t max_read = std::size_t{1} << 30;

} // namespace

#if defined(_WIN32)

random_access_file::~random_access_file() {
    if (handle_ != nullptr) CloseHandle(handle_);
}

open_outcome random_access_file::open(const char *path) {
    const int length = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, path, -1, nullptr, 0);
    if (length <= 0) return open_outcome::cannot_open;
    const scratch<wchar_t> wide(heap_array<wchar_t>(static_cast<std::uint64_t>(length)));
    if (!wide) return open_outcome::no_memory;
    MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, path, -1, wide.get(), length);
    const HANDLE handle = CreateFileW(wide.get(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return open_outcome::cannot_open;
    handle_ = handle;
    LARGE_INTEGER size;
    if (GetFileType(handle) != FILE_TYPE_DISK || GetFileSizeEx(handle, &size) == 0) return open_outcome::cannot_open;
    size_ = static_cast<std::uint64_t>(size.QuadPart);
    return open_outcome::opened;
}

read_outcome random_access_file::read(std::uint64_t position, void *bytes, std::size_t size) const {
    auto *next = static_cast<std::uint8_t *>(bytes);
    while (size > 0) {
        OVERLAPPED place = {};
        place.Offset = static_cast<DWORD>(position);
        place.OffsetHigh = static_cast<DWORD>(position >> 32);
        DWORD count = 0;
        if (ReadFile(handle_, next, static_cast<DWORD>(std::min(size, max_read)), &count, &place) == 0)
            return GetLastError() == ERROR_HANDLE_EOF ? read_outcome::cut : read_outcome::failed;
        if (count == 0) return read_outcome::cut;
        next += count;
        position += count;
        size -= count;
    }
    return read_outcome::read;
}

#else

namespace {

ssize_t read_some(int descriptor, void *bytes, std::size_t size, std::uint64_t position) {
    const auto place = static_cast<off_t>(position);
#if defined(__EMSCRIPTEN__)
    // Emscripten's pread drops the upper half of a position. No other thread moves this descriptor's position.
    return lseek(descriptor, place, SEEK_SET) < 0 ? -1 : ::read(descriptor, bytes, size);
#else
    return pread(descriptor, bytes, size, place);
#endif
}

} // namespace

random_access_file::~random_access_file() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

open_outcome random_access_file::open(const char *path) {
    descriptor_ = open_to_read(path);
    struct stat status = {};
    if (descriptor_ < 0 || fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode))
        return open_outcome::cannot_open;
    size_ = static_cast<std::uint64_t>(status.st_size);
    return open_outcome::opened;
}

read_outcome random_access_file::read(std::uint64_t position, void *bytes, std::size_t size) const {
    auto *next = static_cast<std::uint8_t *>(bytes);
    while (size > 0) {
        const ssize_t count = read_some(descriptor_, next, std::min(size, max_read), position);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return read_outcome::failed;
        if (count == 0) return read_outcome::cut;
        next += count;
        position += static_cast<std::uint64_t>(count);
        size -= static_cast<std::size_t>(count);
    }
    return read_outcome::read;
}

#endif

} // namespace qel
