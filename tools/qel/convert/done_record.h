// SPDX-License-Identifier: MIT
// The record of a finished conversion beside its results, for --resume: the archive's state, the options, the results.
#pragma once

#include "commands.h"
#include "convert/job.h"

#include <string>

namespace tool::job {

class done_record {
  public:
    /// Records the state of the archive before it is read.
    done_record(const std::string &archive, const std::string &folder, const convert_options &options);

    /// Whether the folder has all results of this archive with these options, each of the recorded size.
    bool is_there() const;
    /// Writes the record, unless the archive has changed meanwhile or is no regular file.
    void write(const outcome &made) const;

  private:
    const std::string archive_, folder_, beginning_;
};

} // namespace tool::job
