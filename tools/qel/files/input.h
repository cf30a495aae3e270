// SPDX-License-Identifier: MIT
// A file named on the command line, and its kind by its first bytes.
#pragma once

#include "files/failure.h"
#include "files/formats.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tool {

enum class file_kind { unit, scene, mesh_cache, agents, archive, unknown };
const char *name_of(file_kind kind);

/// A file that is removed with its owner.
class temporary_file {
  public:
    temporary_file() = default;
    ~temporary_file();
    temporary_file(const temporary_file &) = delete;
    temporary_file &operator=(const temporary_file &) = delete;
    /// Makes the file and returns its descriptor, which this object closes, or -1.
    int make();
    /// A path by which it can be opened any number of times.
    const std::string &path() const { return path_; }

  private:
    std::string path_;
    int descriptor_ = -1;
    bool has_name_ = false;
};

/// An input that can be opened by its path. Standard input ("-"), pipes and devices are copied to a temporary file.
class input_file {
  public:
    explicit input_file(const std::string &name);

    /// The name that the user gave; "standard input" for "-".
    const std::string &name() const { return name_; }
    /// The path by which it can be opened.
    const char *path() const { return path_.c_str(); }
    std::uint64_t size() const { return size_; }
    file_kind kind() const { return kind_; }
    /// The file's header, one of those of formats.h; zeros if the file is shorter.
    template <class Header>
    Header header() const {
        static_assert(sizeof(Header) <= max_head);
        Header header{};
        if (head_.size() >= sizeof header) std::memcpy(&header, head_.data(), sizeof header);
        return header;
    }
    /// Fails unless the file is of this kind; `purpose` names the command or option in the message.
    void must_be(file_kind wanted, const char *purpose) const;
    /// Fails if `output` is this file, by whatever path.
    void must_not_be_at(const std::string &output) const;

  private:
    static constexpr std::size_t max_head = 64; ///< bytes of `head_`

    std::size_t read(int from, void *bytes, std::size_t size) const;
    void spool(int from);

    std::string name_, path_;
    temporary_file copy_;
    dev_t device_ = 0;
    ino_t inode_ = 0;
    std::uint64_t size_ = 0;
    file_kind kind_ = file_kind::unknown;
    std::vector<unsigned char> head_;
};

/// Calls `take` with the number and the value of each of `count` records after the record_header, or of as many as are
/// complete. Returns how many these are.
template <class Record, class Take>
std::uint64_t each_record(const input_file &file, std::uint64_t count, Take take) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> stream(std::fopen(file.path(), "rb"), std::fclose);
    if (!stream || std::fseek(stream.get(), long{sizeof(record_header)}, SEEK_SET) != 0)
        throw system_failure(file.name());
    std::vector<Record> part(4096);
    std::uint64_t number = 0;
    while (number < count) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(part.size(), count - number));
        const std::size_t got = std::fread(part.data(), sizeof(Record), wanted, stream.get());
        for (std::size_t i = 0; i < got; ++i)
            take(number++, part[i]);
        if (got < wanted) break;
    }
    return number;
}

} // namespace tool
