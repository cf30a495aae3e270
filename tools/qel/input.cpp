// SPDX-License-Identifier: MIT
#include "input.h"

#include "text.h"

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

struct descriptor {
    int number;
    ~descriptor() {
        if (number > 2) ::close(number);
    }
};

void copy(int from, int to, const std::string &name) {
    std::vector<char> part(std::size_t{1} << 16);
    for (;;) {
        const ssize_t got = ::read(from, part.data(), part.size());
        if (got == 0) return;
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw system_failure(name);
        for (ssize_t written = 0; written < got;) {
            const ssize_t now = ::write(to, part.data() + written, static_cast<std::size_t>(got - written));
            if (now < 0 && errno != EINTR) throw system_failure("temporary file");
            if (now > 0) written += now;
        }
    }
}

} // namespace

failure::failure(const std::string &file, const std::string &what)
    : std::runtime_error(printable(file) + ": " + what) {}

failure system_failure(const std::string &file) {
    return {file, std::strerror(errno)};
}

const char *name_of(file_kind kind) {
    switch (kind) {
    case file_kind::unit:
        return "unit";
    case file_kind::scene:
        return "scene";
    case file_kind::mesh_cache:
        return "mesh cache";
    case file_kind::agents:
        return "agent directory";
    case file_kind::archive:
        return "archive";
    default:
        return "unknown";
    }
}

temporary_file::~temporary_file() {
    if (!path_.empty()) ::unlink(path_.c_str());
}

int temporary_file::make() {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
    path_ = (error ? std::filesystem::path("/tmp") : folder) / "qel.XXXXXX";
    const int made = ::mkstemp(path_.data());
    if (made < 0) path_.clear();
    return made;
}

input_file::input_file(const std::string &name) : name_(name == "-" ? "standard input" : name), path_(name) {
    const descriptor from{name == "-" ? STDIN_FILENO : ::open(name.c_str(), O_RDONLY | O_CLOEXEC)};
    struct stat facts {};
    if (from.number < 0 || ::fstat(from.number, &facts) != 0) throw system_failure(name_);
    if (S_ISDIR(facts.st_mode)) throw failure(name_, std::strerror(EISDIR));
    if (name == "-" || !S_ISREG(facts.st_mode)) spool(from.number);
    read_head();
}

void input_file::spool(int from) {
    const descriptor to{copy_.make()};
    if (to.number < 0) throw system_failure("temporary file");
    copy(from, to.number, name_);
    path_ = copy_.path();
}

void input_file::read_head() {
    const descriptor file{::open(path(), O_RDONLY | O_CLOEXEC)};
    struct stat facts {};
    if (file.number < 0 || ::fstat(file.number, &facts) != 0) throw system_failure(name_);
    size_ = static_cast<std::uint64_t>(facts.st_size);
    head_.resize(64);
    const ssize_t got = ::read(file.number, head_.data(), head_.size());
    if (got < 0) throw system_failure(name_);
    head_.resize(static_cast<std::size_t>(got));
    kind_ = kind_of(head_);
    if (size_ == 0) throw failure(name_, "the file is empty");
    if (kind_ == file_kind::unknown)
        throw failure(name_, "not a unit, scene, mesh cache, agent directory or archive");
}

void input_file::must_be(file_kind wanted, const char *purpose) const {
    if (kind_ == wanted) return;
    throw failure(name_, std::string("is of the kind ") + name_of(kind_) + ", but " + purpose + " wants " +
                             name_of(wanted));
}

} // namespace tool
