// SPDX-License-Identifier: MIT
#include "convert/result_folder.h"

#include "convert/step.h"
#include "files/descriptor.h"
#include "files/place.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tool::job {

namespace fs = std::filesystem;

namespace {

constexpr unsigned max_number = 9999; // of a work folder; folders of killed runs may remain

std::string work_name(unsigned number) {
    return ".unfinished-" + std::to_string(number);
}

[[noreturn]] void folder_failed(const fs::path &subject, const std::error_code &error) {
    throw step_failed(folder_step, subject.string(), error.message());
}

[[noreturn]] void system_failed(const std::string &subject) {
    throw step_failed(folder_step, subject, std::strerror(errno));
}

bool copy_to(int to, const std::string &path) {
    const descriptor from(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::vector<char> part(std::size_t{1} << 16);
    for (;;) {
        const ssize_t count = read_up_to(from.number(), part.data(), part.size());
        if (count <= 0) return count == 0;
        if (!write_all(to, part.data(), static_cast<std::size_t>(count))) return false;
    }
}

/// If a link leads to another file system, the file is copied there first, beside its place.
bool move_across(const result &file, const place &target) {
    std::string beside;
    const descriptor copy(make_beside(target, beside));
    if (copy.number() < 0) return false;
    if (copy_to(copy.number(), file.path) && ::fsync(copy.number()) == 0 && target.copy_mode_to(copy.number()) &&
        std::rename(beside.c_str(), target.path.c_str()) == 0)
        return true;
    const int error = errno;
    ::unlink(beside.c_str());
    errno = error;
    return false;
}

void move(const result &file, const place &target) {
    const descriptor made(::open(file.path.c_str(), O_RDONLY | O_CLOEXEC));
    if (made.number() >= 0 && target.copy_mode_to(made.number())) {
        if (std::rename(file.path.c_str(), target.path.c_str()) == 0) return;
        if (errno == EXDEV && move_across(file, target)) return;
    }
    system_failed(file.place);
}

} // namespace

void check_place(const std::string &path, const std::string &input) {
    const place target(path);
    const char *hindrance = nullptr;
    std::error_code ignored;
    if (target.in_a_circle)
        hindrance = "its links lead to one another";
    else if (target.exists && !target.is_file())
        hindrance = "what is there is no file";
    else if (target.exists && fs::equivalent(target.path, input, ignored))
        hindrance = "it is the input";
    else if (target.exists && (target.there.st_mode & S_IWUSR) == 0)
        hindrance = "the file there is read-only";
    else if (target.path != path && !fs::is_directory(fs::path(target.path).parent_path() / ".", ignored))
        hindrance = "its link leads to a folder that is not there";
    if (hindrance != nullptr) throw step_failed(folder_step, path, hindrance);
}

result_folder::result_folder(const std::string &path, const std::vector<std::string> &names) : path_(path) {
    const blocked_signals until_registered;
    try {
        make_folders();
        make_work_folder();
        for (const std::string &name : names)
            make_inner_folders(fs::path(name).parent_path());
    } catch (...) {
        remove_folders();
        throw;
    }
    std::vector<std::string> files;
    for (const std::string &name : names)
        files.push_back((work_ / name).string());
    unfinished_.emplace(std::move(files), made_);
}

/// Makes the folder and its parents if they are missing.
void result_folder::make_folders() {
    fs::path folder;
    for (const fs::path &part : path_) {
        folder /= part;
        std::error_code error;
        if (fs::create_directory(folder, error)) made_.insert(made_.begin(), folder.string());
        if (error && fs::exists(folder)) throw step_failed(folder_step, folder.string(), "is no folder");
        if (error) folder_failed(path_, error);
    }
}

/// Makes a private folder (mode 0700).
void result_folder::make_work_folder() {
    for (unsigned number = 0; number <= max_number; ++number) {
        work_ = path_ / work_name(number);
        if (::mkdir(work_.c_str(), 0700) == 0) {
            made_.insert(made_.begin(), work_.string());
            return;
        }
        if (errno != EEXIST) system_failed(path_.string());
    }
    throw step_failed(folder_step, path_.string(), "too many unfinished runs have left their folders");
}

/// Makes a folder of results, in the work folder and in the folder.
void result_folder::make_inner_folders(const fs::path &name) {
    if (name.empty()) return;
    for (const fs::path &folder : {work_ / name, path_ / name}) {
        std::error_code error;
        if (fs::create_directory(folder, error)) made_.insert(made_.begin(), folder.string());
        if (error) folder_failed(folder == work_ / name ? path_ : folder, error);
    }
}

result_folder::~result_folder() {
    std::error_code ignored;
    fs::remove_all(work_, ignored);
    remove_folders();
}

void result_folder::remove_folders() {
    for (const std::string &folder : made_)
        ::rmdir(folder.c_str()); // fails, as intended, if it is not empty
}

result result_folder::file(const std::string &name) {
    files_.push_back({(work_ / name).string(), (path_ / name).string()});
    return files_.back();
}

std::uint64_t result_folder::written(const std::string &step, const result &file, std::uint64_t expected) const {
    std::error_code error;
    const std::uint64_t size = fs::file_size(file.path, error);
    if (error) throw step_failed(step, file.place, error.message());
    if (size != expected) throw step_failed(step, file.place, "the file was not written whole");
    return size;
}

std::vector<std::string> result_folder::keep() {
    const blocked_signals until_all_are_there;
    std::vector<std::string> places;
    for (const result &file : files_) {
        move(file, place(file.place));
        places.push_back(file.place);
    }
    return places;
}

} // namespace tool::job
