// SPDX-License-Identifier: MIT
#include "info/info_archive.h"
#include "terminal/messages.h"
#include "terminal/text.h"

namespace tool {

namespace {

/// The lines in front of the objects, from the top down to the one that was entered last.
class branches {
  public:
    /// What stands in front of an object and, below it, in front of what is its own.
    void enter(const qel_archive_object &object, std::uint32_t depth) {
        levels_.resize(depth); // the objects that end here are behind us
        const bool last = depth == 0 || --levels_.back().left == 0;
        const std::string before = depth == 0 ? "" : levels_.back().below;
        at_ = depth == 0 ? "" : before + (last ? "└─ " : "├─ ");
        const std::string below = depth == 0 ? "" : before + (last ? "   " : "│  ");
        levels_.push_back({object.child_count, below});
    }
    const std::string &at() const { return at_; }
    std::string below() const { return levels_.back().below + (levels_.back().left > 0 ? "│  " : "   "); }

  private:
    struct level {
        std::uint32_t left; ///< children that are still to come
        std::string below;
    };
    std::vector<level> levels_;
    std::string at_;
};

std::string line_of(const qel_archive_property &property) {
    if (property.kind == QEL_ARCHIVE_PROPERTY_COMPOUND) return property.name;
    std::string line = std::string(property.name) + "  " + kind_of_values(property) +
                       (property.kind == QEL_ARCHIVE_PROPERTY_ARRAY ? " array, " : ", ") +
                       counted(property.sample_count, "sample");
    if (property.sample_count > 1) line += property.constant != 0 ? ", all equal" : "";
    return line;
}

template <class Take>
void each_property(const qel_archive *archive, std::uint32_t object, std::uint32_t count, Take take) {
    for (std::uint32_t i = 0; i < count; ++i) {
        qel_archive_property property;
        if (qel_archive_get_property(archive, object, i, &property) == QEL_ARCHIVE_OK) take(property);
    }
}

} // namespace

std::string kind_of_values(const qel_archive_property &property) {
    constexpr const char *names[] = {"bool",    "uint8",   "int8",   "uint16",   "int16",
                                     "uint32",  "int32",   "uint64", "int64",    "float16",
                                     "float32", "float64", "text",   "wide text"};
    const std::string name = property.value < std::size(names) ? names[property.value] : "unknown";
    return property.extent > 1 ? name + "[" + std::to_string(property.extent) + "]" : name;
}

void say_tree(const qel_archive *archive, bool properties) {
    branches lines;
    std::vector<std::uint32_t> depths;
    qel_archive_object object;
    for (std::uint32_t i = 0; qel_archive_get_object(archive, i, &object) == QEL_ARCHIVE_OK; ++i) {
        depths.push_back(object.parent == QEL_NOT_FOUND ? 0 : depths[object.parent] + 1);
        lines.enter(object, depths.back());
        say(lines.at() + (i == 0 ? "/" : std::string(object.name) + "  " + kind_of_object(object)));
        if (properties)
            each_property(archive, i, object.property_count,
                          [&](const qel_archive_property &p) { say(lines.below() + " " + line_of(p)); });
    }
}

void write_objects(writer &out, const qel_archive *archive, bool properties) {
    out.open_list("objects");
    qel_archive_object object;
    for (std::uint32_t i = 0; qel_archive_get_object(archive, i, &object) == QEL_ARCHIVE_OK; ++i) {
        out.open_object();
        out.words("path", object.path);
        out.words("kind", kind_of_object(object));
        if (properties) {
            out.open_list("properties");
            each_property(archive, i, object.property_count, [&](const qel_archive_property &property) {
                out.open_object();
                out.words("name", property.name);
                out.words("values", property.kind == QEL_ARCHIVE_PROPERTY_COMPOUND
                                        ? "compound"
                                        : kind_of_values(property));
                out.truth("array", property.kind == QEL_ARCHIVE_PROPERTY_ARRAY);
                out.count("samples", property.sample_count);
                out.close();
            });
            out.close();
        }
        out.close();
    }
    out.close();
}

} // namespace tool
