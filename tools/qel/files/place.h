// SPDX-License-Identifier: MIT
// Where an output goes, and what is there already.
#pragma once

#include <string>
#include <sys/stat.h>

namespace tool {

/// A path with its links followed, also those that lead nowhere yet: what they lead to is replaced or made, they stay.
struct place {
    explicit place(const std::string &name);

    std::string path;
    bool in_a_circle = false; ///< the links lead to one another
    bool exists = false;
    struct stat there {}; ///< where it exists

    bool is_file() const { return S_ISREG(there.st_mode); }
    /// Gives a file that will be moved here the mode and owner of the file that it replaces. Another owner may be
    /// refused to who is not root: that is no failure.
    bool hand_down(int descriptor) const;
};

/// Makes a new file beside a place, with a name that says so, for what will be moved there. Returns its descriptor,
/// or -1 with errno.
int make_beside(const place &target, std::string &path);

} // namespace tool
