// SPDX-License-Identifier: MIT
#include "common/file.h"

#include "common/windows.h"

#if !defined(_WIN32)
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <limits>

namespace qel {

#if !defined(_WIN32)
static_assert(sizeof(off_t) == 8, "build with _FILE_OFFSET_BITS=64: archives may be larger than 2 GiB");
#endif

namespace {

int seek(std::FILE *stream, std::int64_t offset, int origin) {
#if defined(_WIN32)
    return _fseeki64(stream, offset, origin);
#else
    return fseeko(stream, offset, origin);
#endif
}

std::int64_t tell(std::FILE *stream) {
#if defined(_WIN32)
    return _ftelli64(stream);
#else
    return ftello(stream);
#endif
}

} // namespace

buffered_stream::buffered_stream(const char *path, const char *mode)
    : stream_(path == nullptr ? nullptr : std::fopen(path, mode)) {
    constexpr std::size_t size = std::size_t{64} << 10;
    if (stream_) buffer_.reset(heap_array<char>(size));
    if (buffer_) std::setvbuf(stream_.get(), buffer_.get(), _IOFBF, size);
}

bool seek_to(std::FILE *stream, std::uint64_t position) {
    if (position > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return false;
    return seek(stream, static_cast<std::int64_t>(position), SEEK_SET) == 0;
}

std::uint64_t stream_length(std::FILE *stream) {
    if (seek(stream, 0, SEEK_END) != 0) return 0;
    const std::int64_t end = tell(stream);
    return end < 0 ? 0 : static_cast<std::uint64_t>(end);
}

std::size_t read_at(std::FILE *stream, std::uint64_t position, void *bytes, std::size_t size) {
    return seek_to(stream, position) ? std::fread(bytes, 1, size, stream) : 0;
}

#if !defined(_WIN32)
int open_to_read(const char *path) {
    constexpr int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    int descriptor = -1;
    do
        descriptor = open(path, flags); // NOLINT(cppcoreguidelines-pro-type-vararg)
    while (descriptor < 0 && errno == EINTR);
    return descriptor;
}
#endif

bool write_zeros(std::FILE *stream, std::uint64_t size) {
    static constexpr std::uint8_t zeros[4096] = {};
    while (size > 0) {
        const std::uint64_t piece = std::min<std::uint64_t>(size, sizeof zeros);
        if (std::fwrite(zeros, 1, static_cast<std::size_t>(piece), stream) != piece) return false;
        size -= piece;
    }
    return true;
}

void remove_link(const char *path) {
#if defined(_WIN32)
    static_cast<void>(path);
#else
    struct stat status = {};
    if (lstat(path, &status) != 0) return;
    if (S_ISLNK(status.st_mode) || (S_ISREG(status.st_mode) && status.st_nlink > 1)) unlink(path);
#endif
}

void replace_file(const char *file, const char *target) {
#if defined(_WIN32)
    if (MoveFileExA(file, target, MOVEFILE_REPLACE_EXISTING) != 0) return;
    if (RemoveDirectoryA(target) != 0) MoveFileExA(file, target, 0);
#else
    if (std::rename(file, target) == 0) return;
    if (rmdir(target) == 0) std::rename(file, target);
#endif
}

} // namespace qel
