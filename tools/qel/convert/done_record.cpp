// SPDX-License-Identifier: MIT
#include "convert/done_record.h"

#include "files/output.h"
#include "terminal/text.h"

#include <filesystem>
#include <fstream>
#include <sys/stat.h>

namespace tool::job {

namespace {

namespace fs = std::filesystem;

constexpr const char *record_name = ".converted", *last_line = "end";

/// The archive's size and time; empty if it is no regular file.
std::string state_of(const std::string &archive) {
    struct stat found {};
    if (archive == "-" || ::stat(archive.c_str(), &found) != 0 || !S_ISREG(found.st_mode)) return "";
#if defined(__APPLE__)
    const timespec changed = found.st_mtimespec;
#else
    const timespec changed = found.st_mtim;
#endif
    return format("%lld bytes, changed at %lld.%09ld", static_cast<long long>(found.st_size),
                  static_cast<long long>(changed.tv_sec), static_cast<long>(changed.tv_nsec));
}

std::string choice_of(const convert_options &options) {
    const whole_options &whole = options.whole;
    std::string text = format("parts %u", whole.parts);
    if (options.by_bytes) text += " by-bytes";
    if (whole.meshes.points) text += " points";
    if (!whole.meshes.world) text += " object-space";
    if (whole.frame) text += format(" frame %d", *whole.frame);
    if (whole.range) text += format(" range %d:%d:%d", whole.range->first, whole.range->last, whole.range->step);
    for (const std::string &glob : whole.meshes.globs)
        text += " mesh " + quoted_text(glob);
    return text;
}

/// The first lines of a record; empty if the archive cannot be recorded.
std::string beginning_of(const std::string &archive, const convert_options &options) {
    const std::string state = state_of(archive);
    return state.empty() ? "" : "converted 1\n" + state + "\n" + choice_of(options) + "\n";
}

} // namespace

done_record::done_record(const std::string &archive, const std::string &folder, const convert_options &options)
    : archive_(archive), folder_(folder), beginning_(beginning_of(archive, options)) {}

bool done_record::is_there() const {
    const fs::path record = fs::path(folder_) / record_name;
    std::error_code ignored;
    if (beginning_.empty() || !fs::is_regular_file(record, ignored)) return false; // reading a device may never end
    std::ifstream stream(record, std::ios::binary);
    std::string beginning, line;
    for (int i = 0; i < 3 && std::getline(stream, line); ++i)
        beginning += line + "\n";
    if (beginning != beginning_) return false;
    while (std::getline(stream, line) && line != last_line) {
        const std::size_t space = line.find(' ');
        std::uint64_t size = 0;
        std::error_code error;
        if (space == std::string::npos || !parse_number(line.substr(0, space), size) ||
            fs::file_size(fs::path(folder_) / line.substr(space + 1), error) != size || error)
            return false;
    }
    return line == last_line;
}

void done_record::write(const outcome &made) const {
    const std::string state = state_of(archive_);
    if (state.empty() || beginning_.find("\n" + state + "\n") == std::string::npos) return;
    std::string text = beginning_;
    for (const std::string &file : made.files)
        text += std::to_string(fs::file_size(file)) + " " + fs::path(file).lexically_relative(folder_).string() + "\n";
    write_text((fs::path(folder_) / record_name).string(), text + last_line + "\n");
}

} // namespace tool::job
