// SPDX-License-Identifier: MIT
// What a run that can be resumed leaves beside an archive's results: of which file and by which choice they were made.
#pragma once

#include "commands.h"
#include "convert/job.h"

#include <string>

namespace tool::job {

class done_record {
  public:
    /// Looks at the archive as it is now, before it is read.
    done_record(const std::string &archive, const std::string &folder, const convert_options &options);

    /// Whether the folder has all results of this very archive by this very choice, each with the size that it had.
    bool is_there() const;
    /// Says so from now on; nothing is written where the archive has changed meanwhile or is no file.
    void write(const outcome &made) const;

  private:
    const std::string archive_, folder_, beginning_;
};

} // namespace tool::job
