// SPDX-License-Identifier: MIT
#include "result_folder.h"

#include "step.h"

namespace tool::job {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void folder_failed(const fs::path &subject, const std::error_code &error) {
    throw step_failed("output folder", subject.string(), error.value(), error.message());
}

/// A folder that nobody else has: those of interrupted jobs may still be there.
fs::path make_work_folder(const fs::path &parent) {
    for (unsigned number = 0;; ++number) {
        std::error_code error;
        const fs::path folder = parent / (".unfinished-" + std::to_string(number));
        if (fs::create_directory(folder, error)) return folder;
        std::error_code ignored;
        if (error && !fs::exists(folder, ignored)) folder_failed(parent, error);
    }
}

} // namespace

result_folder::result_folder(const std::string &path) : path_(path) {
    std::error_code error;
    made_ = fs::create_directories(path_, error);
    if (error) folder_failed(path_, error);
    work_ = make_work_folder(path_);
    works_in(work_.string());
}

result_folder::~result_folder() {
    std::error_code ignored;
    fs::remove_all(work_, ignored);
    if (made_) fs::remove(path_, ignored); // only when empty
}

result result_folder::file(const std::string &name) {
    files_.push_back({(work_ / name).string(), (path_ / name).string()});
    return files_.back();
}

std::uint64_t result_folder::written(const std::string &step, const result &file,
                                     std::uint64_t expected) const {
    std::error_code error;
    const std::uint64_t size = fs::file_size(file.path, error);
    if (error) throw step_failed(step, file.place, error.value(), error.message());
    if (size != expected) throw step_failed(step, file.place, 0, "the file was not written whole");
    return size;
}

std::vector<std::string> result_folder::keep() {
    std::vector<std::string> places;
    for (const result &file : files_) {
        std::error_code error;
        fs::rename(file.path, file.place, error);
        if (error) folder_failed(file.place, error);
        places.push_back(file.place);
    }
    return places;
}

} // namespace tool::job
