// SPDX-License-Identifier: MIT
// A file that is written completely or not at all.
#pragma once

#include "files/interruption.h"
#include "files/place.h"

#include <cstdio>
#include <optional>
#include <string>

namespace tool {

/// A file that is written beside its place and moved there when it is complete. A device or pipe is written directly.
class output_file {
  public:
    explicit output_file(const std::string &name);
    ~output_file();
    output_file(const output_file &) = delete;
    output_file &operator=(const output_file &) = delete;

    std::FILE *stream() const { return stream_; }
    /// Moves the file to its place, or fails and keeps what was there.
    void finish();

  private:
    void make_unfinished();

    const std::string name_;
    const place place_;
    std::string unfinished_path_; ///< empty if the file is written directly
    std::FILE *stream_ = nullptr;
    std::optional<interruption> unfinished_;
};

/// Writes a text to a file, or to standard output if the name is "-".
int write_text(const std::string &name, const std::string &text);

} // namespace tool
