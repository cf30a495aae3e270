// SPDX-License-Identifier: MIT
#include "harness.h"

#include <algorithm>
#include <cmath>

namespace qel::fuzz {

disk_folder::disk_folder() {
    const char *const parent = std::getenv("TMPDIR");
    path_ = std::string(parent != nullptr ? parent : "/tmp") + "/qel_unit_fuzz_XXXXXX";
    require(mkdtemp(path_.data()) != nullptr);
    path_ += '/';
}

disk_folder::~disk_folder() {
    rmdir(path_.c_str());
}

memory_stream::memory_stream(const bytes &content)
    : content_(content), file_(fopencookie(this, "rb", {read, nullptr, seek, nullptr})) {
    require(file_ != nullptr);
    std::setvbuf(file_, buffer_, _IOFBF, sizeof buffer_);
}

ssize_t memory_stream::read(void *self, char *out, std::size_t size) {
    auto &stream = *static_cast<memory_stream *>(self);
    if (stream.position_ >= stream.content_.size()) return 0;
    size = std::min(size, stream.content_.size() - stream.position_);
    std::memcpy(out, stream.content_.data() + stream.position_, size);
    stream.position_ += size;
    return static_cast<ssize_t>(size);
}

int memory_stream::seek(void *self, off64_t *offset, int origin) {
    auto &stream = *static_cast<memory_stream *>(self);
    off64_t from = 0;
    if (origin == SEEK_END) from = static_cast<off64_t>(stream.content_.size());
    if (origin == SEEK_CUR) from = static_cast<off64_t>(stream.position_);
    if (*offset < -from) return -1;
    *offset += from;
    stream.position_ = static_cast<std::size_t>(*offset);
    return 0;
}

bool same_floats(const void *a, const void *b, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        float x, y;
        std::memcpy(&x, static_cast<const char *>(a) + i * sizeof x, sizeof x);
        std::memcpy(&y, static_cast<const char *>(b) + i * sizeof y, sizeof y);
        if (std::memcmp(&x, &y, sizeof x) != 0 && !(std::isnan(x) && std::isnan(y))) return false;
    }
    return true;
}

} // namespace qel::fuzz
