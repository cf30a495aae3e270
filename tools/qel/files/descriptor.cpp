// SPDX-License-Identifier: MIT
#include "files/descriptor.h"

#include <cerrno>
#include <unistd.h>

namespace tool {

descriptor::~descriptor() {
    if (number_ > STDERR_FILENO) ::close(number_);
}

ssize_t read_up_to(int from, void *bytes, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = ::read(from, static_cast<char *>(bytes) + done, size - done);
        if (count == 0) break;
        if (count < 0 && errno != EINTR) return -1;
        if (count > 0) done += static_cast<std::size_t>(count);
    }
    return static_cast<ssize_t>(done);
}

bool write_all(int to, const void *bytes, std::size_t size) {
    for (std::size_t done = 0; done < size;) {
        const ssize_t count = ::write(to, static_cast<const char *>(bytes) + done, size - done);
        if (count < 0 && errno != EINTR) return false;
        if (count > 0) done += static_cast<std::size_t>(count);
    }
    return true;
}

} // namespace tool
