// SPDX-License-Identifier: MIT
// The place of an output, and the file that is there already.
#pragma once

#include <string>
#include <sys/stat.h>

namespace tool {

/// A path with its links resolved, dangling ones too: the target is replaced or created, the links stay.
struct place {
    explicit place(const std::string &name);

    std::string path;
    bool in_a_circle = false; ///< the links refer to one another
    bool exists = false;
    struct stat there {}; ///< if it exists

    bool is_file() const { return S_ISREG(there.st_mode); }
    /// Gives a file that will be moved here the mode and owner of the file that it replaces. The system may refuse to
    /// change the owner without root rights: that is no error.
    bool copy_mode_to(int descriptor) const;
};

/// Makes a new file that will be moved to a place, beside it and with a name made from it. Returns its descriptor, or
/// -1 with errno.
int make_beside(const place &target, std::string &path);

} // namespace tool
