// SPDX-License-Identifier: MIT
// The exceptions that end a command, and the message of a failed allocation.
#pragma once

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace tool {

/// The message of every failed allocation, of the tool's own and of the libraries'.
inline constexpr const char *no_memory = "not enough memory";

/// Ends the program with status 1 and the message "qel: FILE: what is wrong".
class failure : public std::runtime_error {
  public:
    failure(const std::string &file, const std::string &what) : std::runtime_error(file + ": " + what) {}
};

/// Ends the program with status 2: the call itself is wrong.
class usage_error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A failure with the system's message for errno.
inline failure system_failure(const std::string &file) {
    return {file, std::strerror(errno)};
}

} // namespace tool
