// SPDX-License-Identifier: MIT
#include "files/input.h"

#include "terminal/text.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace tool {

namespace {

file_kind kind_of(const std::vector<unsigned char> &head) {
    const auto begins = [&](const char *magic, std::size_t size) {
        return head.size() >= size && std::memcmp(head.data(), magic, size) == 0;
    };
    if (begins("QEL\0", 4)) return file_kind::unit;
    if (begins("BQEL", 4)) return file_kind::scene;
    if (begins("QELM", 4)) return file_kind::mesh_cache;
    if (begins("QEAG", 4)) return file_kind::agents;
    if (begins("Ogawa", 5)) return file_kind::archive;
    return file_kind::unknown;
}

/// What people take for one of the files, by its first bytes.
const char *what_it_is(const std::vector<unsigned char> &head) {
    const std::string text(head.begin(), head.end());
    if (text.compare(0, 8, "\x89HDF\r\n\x1a\n") == 0)
        return "an Alembic archive in the older HDF5 container, which is not read";
    if (text.compare(0, 8, "version ") == 0 && text.find("://git-lfs.github.com/") != std::string::npos)
        return "the pointer that stands for a file in a large-file store, not the file: fetch that first";
    if (text.find("/annex/objects/") < 32)
        return "the pointer that stands for a file in a large-file store, not the file: fetch that first";
    return "not a unit, scene, mesh cache, agent directory or archive";
}

struct descriptor {
    int number;
    ~descriptor() {
        if (number > 2) ::close(number);
    }
};

/// Reads up to `size` bytes, fewer only at the end.
std::size_t read_some(int from, char *bytes, std::size_t size, const std::string &name) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got = ::read(from, bytes + done, size - done);
        if (got == 0) break;
        if (got < 0 && errno != EINTR) throw system_failure(name);
        if (got > 0) done += static_cast<std::size_t>(got);
    }
    return done;
}

void write_all(int to, const void *bytes, std::size_t size) {
    for (std::size_t done = 0; done < size;) {
        const ssize_t now = ::write(to, static_cast<const char *>(bytes) + done, size - done);
        if (now < 0 && errno != EINTR) throw system_failure("temporary file");
        if (now > 0) done += static_cast<std::size_t>(now);
    }
}

} // namespace

failure::failure(const std::string &file, const std::string &what) : std::runtime_error(file + ": " + what) {}

failure system_failure(const std::string &file) {
    return {file, std::strerror(errno)};
}

const char *name_of(file_kind kind) {
    constexpr const char *names[] = {"unit", "scene", "mesh cache", "agent directory", "archive", "unknown"};
    return names[static_cast<std::size_t>(kind)];
}

temporary_file::~temporary_file() {
    if (has_name_) ::unlink(path_.c_str());
    if (descriptor_ >= 0) ::close(descriptor_);
}

int temporary_file::make() {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
    path_ = (error ? std::filesystem::path("/tmp") : folder) / "qel.XXXXXX";
    descriptor_ = ::mkstemp(path_.data());
    has_name_ = descriptor_ >= 0;
    // Linux opens it by its descriptor, too. Without a name it goes with the program, however that ends.
    const std::string nameless = "/proc/self/fd/" + std::to_string(descriptor_);
    if (has_name_ && ::access(nameless.c_str(), R_OK) == 0) {
        ::unlink(path_.c_str());
        path_ = nameless;
        has_name_ = false;
    }
    return descriptor_;
}

input_file::input_file(const std::string &name) : name_(name == "-" ? "standard input" : name), path_(name) {
    const descriptor from{name == "-" ? STDIN_FILENO : ::open(name.c_str(), O_RDONLY | O_CLOEXEC)};
    struct stat facts {};
    if (from.number < 0 || ::fstat(from.number, &facts) != 0) throw system_failure(name_);
    if (S_ISDIR(facts.st_mode)) throw failure(name_, std::strerror(EISDIR));
    device_ = facts.st_dev;
    inode_ = facts.st_ino;
    size_ = static_cast<std::uint64_t>(facts.st_size);
    head_.resize(64);
    head_.resize(read_some(from.number, reinterpret_cast<char *>(head_.data()), head_.size(), name_));
    if (head_.empty()) throw failure(name_, "the file is empty");
    kind_ = kind_of(head_);
    if (kind_ == file_kind::unknown) // told before a copy is made: a pipe may have no end
        throw failure(name_, what_it_is(head_));
    if (name == "-" || !S_ISREG(facts.st_mode)) spool(from.number);
}

/// Copies what is left behind the head.
void input_file::spool(int from) {
    const int to = copy_.make();
    if (to < 0) throw system_failure("temporary file");
    write_all(to, head_.data(), head_.size());
    size_ = head_.size();
    std::vector<char> part(std::size_t{1} << 16);
    while (const std::size_t got = read_some(from, part.data(), part.size(), name_)) {
        write_all(to, part.data(), got);
        size_ += got;
    }
    path_ = copy_.path();
}

void input_file::must_be(file_kind wanted, const char *purpose) const {
    if (kind_ == wanted) return;
    throw failure(name_, std::string("is of the kind ") + name_of(kind_) + ", but " + purpose + " wants " +
                             name_of(wanted));
}

void input_file::must_not_be_at(const std::string &output) const {
    struct stat facts {};
    if (::stat(output.c_str(), &facts) == 0 && facts.st_dev == device_ && facts.st_ino == inode_)
        throw usage_error(output + ": is the input, which would be lost");
}

} // namespace tool
