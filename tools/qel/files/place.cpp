// SPDX-License-Identifier: MIT
#include "files/place.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace tool {

constexpr int max_links = 40; // that the system follows

place::place(const std::string &name) : path(name) {
    namespace fs = std::filesystem;
    std::error_code error;
    for (int links = 0;; ++links) {
        const fs::path target = fs::read_symlink(path, error);
        if (error) break;
        in_a_circle = links == max_links;
        if (in_a_circle) return;
        path = (fs::path(path).parent_path() / target).string();
    }
    exists = ::stat(path.c_str(), &there) == 0;
}

bool place::copy_mode_to(int descriptor) const {
    if (!exists) return true;
    struct stat made {};
    if (::fstat(descriptor, &made) != 0) return false;
    if ((made.st_uid != there.st_uid || made.st_gid != there.st_gid) &&
        ::fchown(descriptor, there.st_uid, there.st_gid) != 0)
        return ::fchmod(descriptor, there.st_mode & 0777u) == 0;
    return ::fchmod(descriptor, there.st_mode & 07777u) == 0;
}

int make_beside(const place &target, std::string &path) {
    for (unsigned number = 0;; ++number) { // a killed run may have left its file
        path = target.path + ".unfinished-" + std::to_string(number);
        const int made = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, target.exists ? 0600 : 0666);
        if (made >= 0 || errno != EEXIST) return made;
    }
}

} // namespace tool
