// SPDX-License-Identifier: MIT
#include "model/archive_groups.h"

#include <algorithm>

namespace qel::model {
namespace {

constexpr std::uint64_t sum_limit = max_archive_properties + 1;

/// A group among those around the ones inside it.
class inside_group {
  public:
    inside_group(std::set<std::uint64_t> &around, std::uint64_t reference) : around_(around), reference_(reference) {
        if (reference == 0) return; // the empty group
        require(around.insert(reference).second);
    }
    ~inside_group() { around_.erase(reference_); }
    inside_group(const inside_group &) = delete;
    inside_group &operator=(const inside_group &) = delete;

  private:
    std::set<std::uint64_t> &around_;
    std::uint64_t reference_;
};

} // namespace

void archive_amount::add_child(const archive_amount &child) {
    objects = std::min(objects + child.objects, sum_limit);
    properties = std::min(properties + child.properties, sum_limit);
    levels = std::max(levels, child.levels + 1);
}

void archive_amount::check() const {
    require(objects <= max_archive_objects && properties <= max_archive_properties && levels <= max_archive_levels);
}

const archive_groups::compound &archive_groups::read_compound(std::uint64_t reference) {
    require(around_.count(reference) == 0);
    const auto known = compounds_.find(reference);
    if (known != compounds_.end()) return known->second;
    const inside_group inside(around_, reference);
    require(around_.size() <= 2 * max_archive_levels); // the levels are bounded, to bound the stack
    compound result;
    std::vector<std::uint64_t> children = file_.container.group(reference);
    if (!children.empty()) {
        const archive_bytes headers = file_.container.data(children.back());
        children.pop_back();
        result.headers = parse_property_headers(headers, file_.shared_metadata, file_.time_samplings.size());
        result.references = children;
        require(result.headers.size() == children.size());
    }
    for (std::size_t i = 0; i < children.size(); ++i) {
        require(file_.container.can_be_group(children[i])); // its samples are tested when they are read
        archive_amount amount;
        if (result.headers[i].kind == 0) amount = read_compound(children[i]).amount;
        amount.properties += 1;
        result.amount.add_child(amount);
    }
    result.amount.check();
    return compounds_[reference] = result;
}

void archive_groups::list_properties(std::uint64_t reference, const std::string &prefix,
                                     std::vector<archive_tree_property> &properties) {
    const compound &group = compounds_.at(reference);
    for (std::size_t i = 0; i < group.headers.size(); ++i) {
        archive_tree_property property{group.headers[i], group.references[i]};
        property.header.name = prefix + property.header.name;
        properties.push_back(property);
        if (property.header.kind == 0) list_properties(property.reference, property.header.name + "/", properties);
    }
}

std::optional<std::string> archive_groups::instance_source(const archive_object_content &content) const {
    for (const archive_tree_property &property : content.properties)
        if (property.header.name == ".instanceSource" && property.header.kind == 1 && property.header.value == 12) {
            require(property.header.samples != 0);
            const archive_bytes text = file_.sample(property, 0);
            return std::string(text.begin(), std::find(text.begin(), text.end(), 0));
        }
    return std::nullopt;
}

/// The children between the compound and the headers; an object without children may lack the headers.
void archive_groups::read_children(const std::vector<std::uint64_t> &references, archive_object_content &content) {
    if (references.size() < 2) return;
    content.child_headers = parse_object_headers(file_.container.data(references.back()), file_.shared_metadata);
    require(content.child_headers.size() == references.size() - 2);
    for (std::size_t i = 1; i + 1 < references.size(); ++i)
        content.children.push_back(object(references[i]));
}

std::shared_ptr<archive_object_content> archive_groups::object(std::uint64_t reference) {
    require(around_.count(reference) == 0);
    const auto known = objects_.find(reference);
    if (known != objects_.end()) return known->second;
    const inside_group inside(around_, reference);
    require(around_.size() <= max_archive_levels);
    auto content = std::make_shared<archive_object_content>();
    const std::vector<std::uint64_t> references = file_.container.group(reference);
    if (!references.empty()) {
        read_compound(references[0]);
        list_properties(references[0], "", content->properties);
        content->instance_source = instance_source(*content);
    }
    read_children(references, *content);
    return objects_[reference] = content;
}

} // namespace qel::model
