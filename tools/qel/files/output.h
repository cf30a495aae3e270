// SPDX-License-Identifier: MIT
// A file that is whole or not there.
#pragma once

#include "files/interruption.h"
#include "files/place.h"

#include <cstdio>
#include <optional>
#include <string>

namespace tool {

/// A file that is written beside its place and moved there when it is whole. A device or pipe is written where it is.
class output_file {
  public:
    explicit output_file(const std::string &name);
    ~output_file();
    output_file(const output_file &) = delete;
    output_file &operator=(const output_file &) = delete;

    std::FILE *stream() const { return stream_; }
    /// Puts the file in its place, or fails and leaves what was there.
    void finish();

  private:
    void make_unfinished();

    const std::string name_;
    const place place_;
    std::string unfinished_path_; ///< empty where the file is written in its place
    std::FILE *stream_ = nullptr;
    std::optional<interruption> unfinished_;
};

/// Writes a whole text to a file, or to standard output where the name is "-".
int write_text(const std::string &name, const std::string &text);

} // namespace tool
