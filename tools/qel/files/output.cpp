// SPDX-License-Identifier: MIT
#include "files/output.h"

#include "files/input.h"

#include <cerrno>
#include <unistd.h>

namespace tool {

output_file::output_file(const std::string &name) : name_(name), place_(name) {
    if (place_.in_a_circle)
        errno = ELOOP;
    else if (place_.exists && !place_.is_file())
        stream_ = std::fopen(name.c_str(), "wb");
    else if (!place_.exists || ::access(place_.path.c_str(), W_OK) == 0)
        make_unfinished();
    if (stream_ == nullptr) throw system_failure(name);
}

void output_file::make_unfinished() {
    const blocked_signals until_registered;
    const int made = make_beside(place_, unfinished_path_);
    if (made < 0) return unfinished_path_.clear();
    unfinished_.emplace(std::vector<std::string>{unfinished_path_});
    if (place_.copy_mode_to(made)) stream_ = ::fdopen(made, "wb");
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
    if (!written || (!unfinished_path_.empty() && std::rename(unfinished_path_.c_str(), place_.path.c_str()) != 0))
        throw system_failure(name_);
    unfinished_path_.clear();
}

int write_text(const std::string &name, const std::string &text) {
    if (name == "-") {
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }
    output_file out(name);
    std::fwrite(text.data(), 1, text.size(), out.stream());
    out.finish();
    return 0;
}

} // namespace tool
