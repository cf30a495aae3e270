// SPDX-License-Identifier: MIT
#pragma once

#include "owned.h"
#include "report.h"
#include "writer.h"

namespace tool {

/// A 64-bit word without a meaning as a number, as hexadecimal digits.
std::string word_text(std::uint64_t word);

/// What a scene, mesh cache or archive holds; nothing for the other kinds.
class geometry {
  public:
    explicit geometry(const input_file &file);
    void dump(writer &out) const;

  private:
    file_kind kind_;
    mutable scene_record scene_;
    mutable cache_record cache_;
    mutable archive_record archive_;
    mutable polymesh_record mesh_;
};

} // namespace tool
