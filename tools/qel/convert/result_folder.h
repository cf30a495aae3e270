// SPDX-License-Identifier: MIT
// The folder of a conversion's results, which never keeps half of them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace tool::job {

/// A file that the job makes.
struct result {
    std::string path;  ///< where it is written
    std::string place; ///< where it will be, once the job is done
};

/// The folder of the results. They are written in a folder of this job's own inside it and moved to their places
/// at the end: a job that fails or is interrupted leaves every file there as it was.
class result_folder {
  public:
    explicit result_folder(const std::string &path);
    ~result_folder();
    result_folder(const result_folder &) = delete;
    result_folder &operator=(const result_folder &) = delete;

    /// A result about to be written.
    result file(const std::string &name);
    /// Bytes of a result, or a failure when it is shorter than it must be (a disk may be full).
    std::uint64_t written(const std::string &step, const result &file, std::uint64_t expected) const;
    /// Moves the results to their places and returns these. Should one not go there, those before it have.
    std::vector<std::string> keep();

  private:
    std::filesystem::path path_, work_;
    std::vector<result> files_;
    bool made_ = false;
};

} // namespace tool::job
