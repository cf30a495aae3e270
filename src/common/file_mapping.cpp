// SPDX-License-Identifier: MIT
#include "common/file_mapping.h"

#include "common/file.h"
#include "common/windows.h"

#if !defined(_WIN32)
#include <cerrno>
#include <cstddef>
#include <limits>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace qel {

#if defined(_WIN32)

mapping_outcome map_file(const char *path, file_mapping &mapping) {
    const HANDLE file =
        CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return mapping_outcome::cannot_open;
    LARGE_INTEGER size = {};
    HANDLE section = nullptr; // stays null for an empty file: the system refuses to map it
    if (GetFileSizeEx(file, &size) != 0) section = CreateFileMappingA(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
    const void *view = section == nullptr ? nullptr : MapViewOfFile(section, FILE_MAP_READ, 0, 0, 0);
    if (section != nullptr) CloseHandle(section);
    CloseHandle(file);
    if (section == nullptr) return mapping_outcome::no_mapping;
    if (view == nullptr) return mapping_outcome::no_memory;
    mapping = {view, static_cast<std::uint64_t>(size.QuadPart)};
    return mapping_outcome::mapped;
}

void unmap_file(const file_mapping &mapping) {
    UnmapViewOfFile(mapping.view);
}

#else

namespace {

#if defined(__EMSCRIPTEN__)
/// This platform cannot map files: anonymous memory receives a copy of the file.
mapping_outcome map_bytes(int file, std::uint64_t size, file_mapping &mapping) {
    const auto all = static_cast<std::size_t>(size);
    void *const view = mmap(nullptr, all, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (view == MAP_FAILED) return mapping_outcome::no_memory;
    for (std::size_t done = 0; done < all;) {
        const ssize_t count = read(file, static_cast<char *>(view) + done, all - done);
        if (count <= 0) {
            munmap(view, all);
            return mapping_outcome::no_mapping;
        }
        done += static_cast<std::size_t>(count);
    }
    mapping = {view, size};
    return mapping_outcome::mapped;
}
#else
mapping_outcome map_bytes(int file, std::uint64_t size, file_mapping &mapping) {
    const void *view = mmap(nullptr, static_cast<std::size_t>(size), PROT_READ, MAP_PRIVATE, file, 0);
    if (view == MAP_FAILED) return errno == ENOMEM ? mapping_outcome::no_memory : mapping_outcome::no_mapping;
    mapping = {view, size};
    return mapping_outcome::mapped;
}
#endif

mapping_outcome map_open_file(int file, file_mapping &mapping) {
    struct stat status = {}; // if fstat fails, this is no regular file
    fstat(file, &status);
    if (!S_ISREG(status.st_mode) || status.st_size <= 0) return mapping_outcome::no_mapping;
    const auto size = static_cast<std::uint64_t>(status.st_size);
    if (size > std::numeric_limits<std::size_t>::max() / 2) return mapping_outcome::no_memory;
    return map_bytes(file, size, mapping);
}

} // namespace

mapping_outcome map_file(const char *path, file_mapping &mapping) {
    const int file = open_to_read(path);
    if (file < 0) return mapping_outcome::cannot_open;
    const mapping_outcome outcome = map_open_file(file, mapping);
    close(file);
    return outcome;
}

void unmap_file(const file_mapping &mapping) {
    munmap(const_cast<void *>(mapping.view), static_cast<std::size_t>(mapping.size));
}

#endif

} // namespace qel
