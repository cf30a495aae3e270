// SPDX-License-Identifier: MIT
#include "info/info_archive.h"

#include "examine/archive_text.h"
#include "terminal/messages.h"
#include "terminal/text.h"

namespace tool {

namespace {

/// The tree lines before the objects' names, for each level down to the object that was entered last.
class branches {
  public:
    /// Makes the prefix of an object's line and that of its properties' lines below it.
    void enter(const qel_archive_object &object, std::uint32_t depth) {
        levels_.resize(depth); // drops the levels of objects that have ended
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
        std::uint32_t left; ///< children that have not been entered
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

void print_tree(const qel_archive *archive, bool properties) {
    branches lines;
    std::vector<std::uint32_t> depths;
    qel_archive_object object;
    for (std::uint32_t i = 0; qel_archive_get_object(archive, i, &object) == QEL_ARCHIVE_OK; ++i) {
        depths.push_back(object.parent == QEL_NOT_FOUND ? 0 : depths[object.parent] + 1);
        lines.enter(object, depths.back());
        print_line(lines.at() + (i == 0 ? "/" : std::string(object.name) + "  " + kind_of_object(object)));
        if (properties)
            each_property(archive, i, object.property_count,
                          [&](const qel_archive_property &p) { print_line(lines.below() + " " + line_of(p)); });
    }
}

void write_objects(writer &out, const qel_archive *archive, bool properties) {
    out.open_list("objects");
    qel_archive_object object;
    for (std::uint32_t i = 0; qel_archive_get_object(archive, i, &object) == QEL_ARCHIVE_OK; ++i) {
        out.open_object();
        out.utf8("path", object.path);
        out.utf8("kind", kind_of_object(object));
        if (properties) {
            out.open_list("properties");
            each_property(archive, i, object.property_count, [&](const qel_archive_property &property) {
                out.open_object();
                out.utf8("name", property.name);
                out.utf8("values",
                         property.kind == QEL_ARCHIVE_PROPERTY_COMPOUND ? "compound" : kind_of_values(property));
                out.boolean("array", property.kind == QEL_ARCHIVE_PROPERTY_ARRAY);
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
