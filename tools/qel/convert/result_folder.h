// SPDX-License-Identifier: MIT
// The folder of a conversion's results, which never keeps half of them.
#pragma once

#include "files/interruption.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tool::job {

/// A file that the conversion makes.
struct result {
    std::string path;  ///< where it is written
    std::string place; ///< where it will be, once all is done
};

/// A result may take the place of an earlier one, but of nothing else: fails before anything is written.
void check_place(const std::string &place, const std::string &input);

/// The results are written in a folder of this conversion's own inside the folder and moved to their places at the
/// end: one that fails or is interrupted leaves every file there as it was.
class result_folder {
  public:
    /// `names` are those of all files that may be written, to be removed when the program is interrupted. They may lie
    /// in a folder inside: "meshes/a".
    result_folder(const std::string &path, const std::vector<std::string> &names);
    ~result_folder();
    result_folder(const result_folder &) = delete;
    result_folder &operator=(const result_folder &) = delete;

    /// A result about to be written.
    result file(const std::string &name);
    /// Bytes of a result, or a failure where they are not as many as they must be (a disk may be full).
    std::uint64_t written(const std::string &step, const result &file, std::uint64_t expected) const;
    /// Moves the results to their places and returns these. Files that are replaced hand down their modes, links
    /// stay. Should one not go there, those before it have.
    std::vector<std::string> keep();

  private:
    void make_folders();
    void make_work_folder();
    void make_inner_folders(const std::filesystem::path &name);
    void remove_folders();

    const std::filesystem::path path_;
    std::filesystem::path work_;
    std::vector<result> files_;
    std::vector<std::string> made_; ///< folders that were not there before, the inner ones first
    std::optional<interruption> unfinished_;
};

} // namespace tool::job
