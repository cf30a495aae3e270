// SPDX-License-Identifier: MIT
// The folder of a conversion's results: it receives all of them or none.
#pragma once

#include "files/interruption.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tool::job {

/// The step in the failures of this file.
inline constexpr const char *folder_step = "output folder";

/// A file that the conversion writes.
struct result {
    std::string path;  ///< where it is written
    std::string place; ///< where it is moved at the end
};

/// Fails, before anything is written, unless the place of a result is free or holds a file that may be replaced.
void check_place(const std::string &place, const std::string &input);

/// The results are written to a private folder inside the folder and moved to their places by keep(): a conversion that
/// fails or is interrupted before that leaves every file there as it was.
class result_folder {
  public:
    /// `names` are those of all files that may be written, to be removed when the program is interrupted. They may
    /// contain a folder: "meshes/a".
    result_folder(const std::string &path, const std::vector<std::string> &names);
    ~result_folder();
    result_folder(const result_folder &) = delete;
    result_folder &operator=(const result_folder &) = delete;

    /// Adds a result that will be written.
    result file(const std::string &name);
    /// The size of a written result; fails unless it is `expected` (a disk may be full).
    std::uint64_t written(const std::string &step, const result &file, std::uint64_t expected) const;
    /// Moves the results to their places and returns these. A replaced file's mode is kept; links stay. If one move
    /// fails, the earlier ones have been done.
    std::vector<std::string> keep();

  private:
    void make_folders();
    void make_work_folder();
    void make_inner_folders(const std::filesystem::path &name);
    void remove_folders();

    const std::filesystem::path path_;
    std::filesystem::path work_;
    std::vector<result> files_;
    std::vector<std::string> made_; ///< folders that this object has made, the inner ones first
    std::optional<interruption> unfinished_;
};

} // namespace tool::job
