// SPDX-License-Identifier: MIT
#include "output.h"

#include "input.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace tool {

output_file::output_file(const std::string &name) : name_(name) {
    struct stat there {};
    const bool exists = ::stat(name.c_str(), &there) == 0;
    if (exists && !S_ISREG(there.st_mode)) {
        stream_ = std::fopen(name.c_str(), "wb");
    } else if (!exists || ::access(name.c_str(), W_OK) == 0) {
        std::error_code error; // a link stays: what it leads to is replaced
        place_ = exists ? std::filesystem::canonical(name, error).string() : name;
        if (!error) make_unfinished(exists ? there.st_mode & 0777u : 0666u);
    }
    if (stream_ == nullptr) throw system_failure(name);
}

void output_file::make_unfinished(unsigned mode) {
    int made = -1;
    for (unsigned number = 0; made < 0; ++number) { // that of a killed run may still be there
        unfinished_path_ = place_ + ".unfinished-" + std::to_string(number);
        made = ::open(unfinished_path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (made < 0 && errno != EEXIST) {
            unfinished_path_.clear();
            return;
        }
    }
    unfinished_.emplace(std::vector<std::string>{unfinished_path_});
    stream_ = ::fdopen(made, "wb");
    if (stream_ == nullptr) ::close(made);
}

output_file::~output_file() {
    if (stream_ != nullptr) std::fclose(stream_);
    if (!unfinished_path_.empty()) ::unlink(unfinished_path_.c_str());
}

void output_file::finish() {
    bool written = std::ferror(stream_) == 0;
    written = std::fclose(stream_) == 0 && written;
    stream_ = nullptr;
    if (!written || (!place_.empty() && std::rename(unfinished_path_.c_str(), place_.c_str()) != 0))
        throw system_failure(name_);
    unfinished_path_.clear();
}

} // namespace tool
