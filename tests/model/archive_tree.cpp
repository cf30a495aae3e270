// SPDX-License-Identifier: MIT
#include "model/archive_tree.h"

#include "model/archive_groups.h"

namespace qel::model {
namespace {

/// An object as its parent stores it: metadata in the parent's headers, the rest in its group.
struct node {
    std::string metadata;
    std::shared_ptr<archive_object_content> content;
};

class tree_builder {
  public:
    explicit tree_builder(const node &top) : top_(top) {}

    std::vector<archive_tree_object> build() {
        amount(top_);
        list("", "/", 0xFFFFFFFF, top_);
        return std::move(objects_);
    }

  private:
    /// The object itself, or the source of an instance, which may be an instance as well.
    node resolved(const node &object) {
        if (!object.content->instance_source) return object;
        const archive_object_content *instance = object.content.get();
        require(resolving_.insert(instance).second);
        const node result = resolved(at_path(*object.content->instance_source));
        resolving_.erase(instance);
        return result;
    }

    node at_path(const std::string &path) {
        require(!path.empty() && path[0] == '/');
        node at = top_;
        if (path == "/") return at;
        for (std::size_t begin = 1; begin <= path.size();) {
            const std::size_t end = std::min(path.find('/', begin), path.size());
            at = child(resolved(at), path.substr(begin, end - begin));
            begin = end + 1;
        }
        return at;
    }

    static node child(const node &parent, const std::string &name) {
        for (std::size_t i = 0; i < parent.content->children.size(); ++i)
            if (parent.content->child_headers[i].name == name)
                return {parent.content->child_headers[i].metadata, parent.content->children[i]};
        throw archive_failure{QEL_ARCHIVE_DAMAGED};
    }

    /// Counts the copies of an object; an object inside itself is refused.
    archive_amount amount(const node &object) {
        const node source = resolved(object);
        const archive_object_content *content = source.content.get();
        const auto known = amounts_.find(content);
        if (known != amounts_.end()) return known->second;
        require(counting_.insert(content).second);
        require(counting_.size() <= max_archive_levels);
        archive_amount sum;
        sum.objects = 1;
        sum.levels = 1;
        sum.properties = content->properties.size();
        for (std::size_t i = 0; i < content->children.size(); ++i)
            sum.add_child(amount({content->child_headers[i].metadata, content->children[i]}));
        sum.check();
        counting_.erase(content);
        return amounts_[content] = sum;
    }

    void list(const std::string &name, const std::string &path, std::uint32_t parent, const node &object) {
        const node source = resolved(object);
        const auto number = static_cast<std::uint32_t>(objects_.size());
        const auto child_count = static_cast<std::uint32_t>(source.content->children.size());
        objects_.push_back({name, path, source.metadata, parent, child_count, source.content});
        const std::string below = path == "/" ? path : path + "/";
        for (std::size_t i = 0; i < child_count; ++i) {
            const archive_object_header &header = source.content->child_headers[i];
            list(header.name, below + header.name, number, {header.metadata, source.content->children[i]});
        }
    }

    node top_;
    std::set<const archive_object_content *> resolving_, counting_;
    std::map<const archive_object_content *, archive_amount> amounts_;
    std::vector<archive_tree_object> objects_;
};

} // namespace

std::vector<archive_tree_object> read_archive_tree(const archive_file &file) {
    archive_groups groups(file);
    return tree_builder({"", groups.object(file.top_object)}).build();
}

archive_file::archive_file(const std::string &path) : container(path) {
    const std::vector<std::uint64_t> root = container.group(container.root());
    require(root.size() >= 6);
    const archive_bytes layout = container.data(root[0]), version = container.data(root[1]);
    archive_cursor(layout).value<std::int32_t>(); // 0 in all archives; another one is read all the same
    library_version = archive_cursor(version).value<std::int32_t>();
    top_object = root[2];
    const archive_bytes text = container.data(root[3]);
    metadata = std::string(text.begin(), text.end());
    time_samplings = parse_time_samplings(container.data(root[4]));
    shared_metadata = parse_shared_metadata(container.data(root[5]));
}

double archive_file::time(const archive_property_header &header, std::uint64_t i) const {
    return time_samplings[header.time_sampling].time(i);
}

std::uint64_t archive_file::sample_at(const archive_property_header &header, double seconds) const {
    return time_samplings[header.time_sampling].sample_at(seconds, header.samples);
}

std::uint32_t archive_tree_object::find_property(const std::string &property_name) const {
    for (std::size_t i = 0; i < content->properties.size(); ++i)
        if (content->properties[i].header.name == property_name) return static_cast<std::uint32_t>(i);
    return 0xFFFFFFFF;
}

const archive_tree_property *archive_tree_object::property(const std::string &property_name) const {
    const std::uint32_t number = find_property(property_name);
    return number == 0xFFFFFFFF ? nullptr : &content->properties[number];
}

} // namespace qel::model
