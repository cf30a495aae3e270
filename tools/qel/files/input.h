// SPDX-License-Identifier: MIT
// A file named on the command line: what it is, told by its first bytes.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tool {

/// Ends the program with status 1 and the message "qel: FILE: what is wrong".
class failure : public std::runtime_error {
  public:
    failure(const std::string &file, const std::string &what);
};

/// Ends the program with status 2: the call itself is wrong.
class usage_error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Of what the system says about the last call that failed.
failure system_failure(const std::string &file);

enum class file_kind { unit, scene, mesh_cache, agents, archive, unknown };
const char *name_of(file_kind kind);

/// A file that is gone when its owner is.
class temporary_file {
  public:
    temporary_file() = default;
    ~temporary_file();
    temporary_file(const temporary_file &) = delete;
    temporary_file &operator=(const temporary_file &) = delete;
    /// Makes the file and returns its descriptor, which stays its owner's, or -1.
    int make();
    /// Where it can be opened, again and again.
    const std::string &path() const { return path_; }

  private:
    std::string path_;
    int descriptor_ = -1;
    bool has_name_ = false;
};

/// An input that can be opened by its path. "-", pipes and the like are copied to a temporary file first.
class input_file {
  public:
    explicit input_file(const std::string &name);

    /// As the user calls it.
    const std::string &name() const { return name_; }
    /// Where it can be opened.
    const char *path() const { return path_.c_str(); }
    std::uint64_t size() const { return size_; }
    file_kind kind() const { return kind_; }
    /// The first bytes, at most 64.
    const std::vector<unsigned char> &head() const { return head_; }
    /// Fails unless the file is of this kind; `purpose` says who wants it.
    void must_be(file_kind wanted, const char *purpose) const;
    /// Fails where an output would be written over this very file, whatever the two are called.
    void must_not_be_at(const std::string &output) const;

  private:
    void spool(int from);

    std::string name_, path_;
    temporary_file copy_;
    dev_t device_ = 0;
    ino_t inode_ = 0;
    std::uint64_t size_ = 0;
    file_kind kind_ = file_kind::unknown;
    std::vector<unsigned char> head_;
};

/// A number at a place of the file's head; 0 beyond the head.
template <class T>
T head_number(const input_file &file, std::size_t offset) {
    T number{};
    if (offset + sizeof number <= file.head().size())
        std::memcpy(&number, file.head().data() + offset, sizeof number);
    return number;
}

/// Hands over the records that stand in a file from an offset on, `count` of them or as many as are whole.
template <class Record, class Take>
std::uint64_t each_record(const input_file &file, std::uint64_t offset, std::uint64_t count, Take take) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> stream(std::fopen(file.path(), "rb"), std::fclose);
    if (!stream || std::fseek(stream.get(), static_cast<long>(offset), SEEK_SET) != 0)
        throw system_failure(file.name());
    std::vector<Record> some(4096);
    std::uint64_t number = 0;
    while (number < count) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(some.size(), count - number));
        const std::size_t got = std::fread(some.data(), sizeof(Record), wanted, stream.get());
        for (std::size_t i = 0; i < got; ++i)
            take(number++, some[i]);
        if (got < wanted) break;
    }
    return number;
}

} // namespace tool
