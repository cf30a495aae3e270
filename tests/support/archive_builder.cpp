// SPDX-License-Identifier: MIT
#include "support/archive_builder.h"

#include <algorithm>

namespace qel::test {

namespace {

constexpr std::size_t max_shared_text = 255,
                      max_shared_texts = 254; // a length and a number below 0xFF in one byte

std::uint64_t element_count(const property_node &node, const sample_data &sample) {
    if (!sample.dimensions.empty()) {
        std::uint64_t product = 1;
        for (const std::uint64_t dimension : sample.dimensions)
            product *= dimension;
        return product;
    }
    const std::size_t size = value_size(node.value) * node.extent;
    if (size != 0) return sample.values.size() / size;
    return static_cast<std::uint64_t>(std::count(sample.values.begin(), sample.values.end(), 0));
}

bool has_one_element_each(const property_node &node) {
    return !node.samples.empty() &&
           std::all_of(node.samples.begin(), node.samples.end(),
                       [&](const sample_data &sample) { return element_count(node, sample) == 1; });
}

bool has_one_size(const property_node &node) {
    return std::all_of(node.samples.begin(), node.samples.end(), [&](const sample_data &sample) {
        return sample.values.size() == node.samples.front().values.size();
    });
}

/// The first and the last sample that differ from the one before; 0 and 0 where all are equal.
struct changed_range {
    std::uint32_t first = 0, last = 0;
};

changed_range range_of_changes(const property_node &node) {
    const auto count = static_cast<std::uint32_t>(node.samples.size());
    if (node.changed == changes::every_sample) return {1, count == 0 ? 0 : count - 1};
    changed_range range;
    for (std::uint32_t i = 1; i < count; ++i) {
        if (node.samples[i] == node.samples[i - 1]) continue;
        if (range.first == 0) range.first = i;
        range.last = i;
    }
    return range;
}

std::uint32_t narrowest_width(const property_header &header) {
    const std::uint32_t numbers[] = {
        header.samples,
        header.first_changed,
        header.last_changed,
        header.time_sampling,
        header.name_length.value_or(static_cast<std::uint32_t>(header.name.size())),
        static_cast<std::uint32_t>(header.get(info_metadata) == metadata_follows ? header.metadata.size() : 0)};
    const std::uint32_t largest = *std::max_element(std::begin(numbers), std::end(numbers));
    return largest <= 0xFF ? 0 : largest <= 0xFFFF ? 1 : 2;
}

/// The parts of a header that describe samples.
void describe_samples(property_header &header, const property_node &node) {
    const property_kind kind =
        node.kind == property_kind::array && has_one_element_each(node) ? property_kind::array_of_one : node.kind;
    header.set(info_kind, static_cast<std::uint32_t>(kind));
    header.set(info_value, static_cast<std::uint32_t>(node.value));
    header.set(info_extent, node.extent);
    header.set(info_same_size, has_one_size(node));
    header.samples = static_cast<std::uint32_t>(node.samples.size());
    header.time_sampling = node.time_sampling;
    header.set(info_has_sampling, node.time_sampling != 0 || node.write_static_sampling);
    const changed_range range = range_of_changes(node);
    const bool all_equal = node.changed != changes::every_sample && range.last == 0;
    const bool all_changed = !all_equal && range.first == 1 && range.last + 1 == header.samples;
    header.set(info_all_equal, all_equal);
    const bool must_be_written = !all_equal && !all_changed && node.changed != changes::every_sample;
    if (must_be_written || node.changed == changes::written) {
        header.set(info_has_changed, 1);
        header.first_changed = range.first;
        header.last_changed = range.last;
    }
}

/// Writes an archive from its leaves to its root.
class archive_output {
  public:
    explicit archive_output(const archive_builder &source) : source_(source), highest_(source.samplings.size()) {}

    built_archive run();

  private:
    std::uint64_t shared_data(const bytes &payload);
    std::uint8_t metadata_number(const std::string &text, bool in_header);
    void put_sample(std::vector<std::uint64_t> &references, const property_node &node, const sample_data &sample);
    property_header header_of(const property_node &node);
    object_header header_of(const object_node &node);
    std::uint64_t put_samples(const property_node &node, node_place &place);
    std::uint64_t put_compound(const property_node &node, const std::string &path, node_place &place);
    void put_property(const property_node &node, const std::string &path);
    std::uint64_t put_object(const object_node &node, const std::string &path);
    std::uint64_t put_child_headers(const object_node &node, const std::string &prefix, node_place &place);
    std::uint64_t put_group(std::vector<std::uint64_t> references, const references_edit &edit, node_place &place);
    std::uint64_t put_headers(bytes headers, const std::function<void(bytes &)> &edit, node_place &place);
    std::uint64_t put_samplings();
    std::uint64_t put_shared_texts();

    const archive_builder &source_;
    archive_writer out_;
    built_archive built_;
    std::map<bytes, std::uint64_t> stored_;
    std::map<std::string, std::uint8_t> numbers_; // of metadata texts
    std::vector<std::string> texts_;
    std::vector<std::uint32_t> highest_; // number of samples by time sampling
};

std::uint64_t archive_output::shared_data(const bytes &payload) {
    if (!source_.share_data) return out_.data(payload);
    const auto [place, is_new] = stored_.try_emplace(payload, 0);
    if (is_new) place->second = out_.data(payload);
    return place->second;
}

std::uint8_t archive_output::metadata_number(const std::string &text, bool in_header) {
    if (in_header) return metadata_follows;
    if (text.empty()) return 0;
    if (const auto known = numbers_.find(text); known != numbers_.end()) return known->second;
    if (!source_.share_metadata || text.size() > max_shared_text || texts_.size() == max_shared_texts)
        return metadata_follows;
    texts_.push_back(text);
    return numbers_[text] = static_cast<std::uint8_t>(texts_.size());
}

void archive_output::put_sample(std::vector<std::uint64_t> &references, const property_node &node,
                                const sample_data &sample) {
    const auto reference_to = [this](const bytes &payload) {
        return payload.empty() ? archive_writer::empty_data : shared_data(payload);
    };
    const bool is_array = node.kind != property_kind::scalar;
    const bool is_nothing = is_array && sample.values.empty() && !sample.store_empty;
    const bytes payload = is_nothing ? bytes() : archive_writer::with_digest(sample.values);
    references.push_back(sample.instead ? *sample.instead : reference_to(sample.payload.value_or(payload)));
    if (!is_array) return;
    const bytes dimensions = sample.dimensions_payload.value_or(bytes_of(sample.dimensions));
    references.push_back(sample.dimensions_instead ? *sample.dimensions_instead : reference_to(dimensions));
}

property_header archive_output::header_of(const property_node &node) {
    property_header header;
    header.name = node.name;
    header.metadata = node.metadata;
    header.set(info_metadata, metadata_number(node.metadata, node.inline_metadata));
    if (node.kind != property_kind::compound) describe_samples(header, node);
    header.set(info_width, node.width ? static_cast<std::uint32_t>(*node.width) : narrowest_width(header));
    if (node.edit_header) node.edit_header(header);
    return header;
}

object_header archive_output::header_of(const object_node &node) {
    object_header header;
    header.name = node.name;
    header.metadata = node.metadata;
    header.metadata_number = metadata_number(node.metadata, node.inline_metadata);
    if (node.edit_header) node.edit_header(header);
    return header;
}

std::uint64_t archive_output::put_group(std::vector<std::uint64_t> references, const references_edit &edit,
                                        node_place &place) {
    if (edit) edit(references, out_.size());
    place.references = references;
    return out_.group(references);
}

std::uint64_t archive_output::put_headers(bytes headers, const std::function<void(bytes &)> &edit, node_place &place) {
    if (edit) edit(headers);
    place.headers = out_.size() + 8;
    place.headers_size = headers.size();
    return out_.data(headers);
}

std::uint64_t archive_output::put_samples(const property_node &node, node_place &place) {
    if (node.time_sampling < highest_.size()) {
        highest_[node.time_sampling] =
            std::max(highest_[node.time_sampling], static_cast<std::uint32_t>(node.samples.size()));
    }
    std::vector<std::uint64_t> references;
    if (!node.samples.empty()) {
        const changed_range range = range_of_changes(node);
        put_sample(references, node, node.samples[0]);
        for (std::uint32_t i = range.first; i <= range.last && i != 0; ++i)
            put_sample(references, node, node.samples[i]);
    }
    if (references.empty() && !node.edit_references && !node.store_empty) return archive_writer::empty_group;
    return put_group(references, node.edit_references, place);
}

/// Adds the place of each child's header, relative to the start of their data.
void set_header_places(std::map<std::string, node_place> &places, const std::vector<std::string> &paths,
                       const std::vector<std::size_t> &ends, std::uint64_t start) {
    for (std::size_t i = 0; i < paths.size(); ++i) {
        const std::size_t begin = i == 0 ? 0 : ends[i - 1];
        places[paths[i]].header = start + begin;
        places[paths[i]].header_size = ends[i] - begin;
    }
}

std::uint64_t archive_output::put_compound(const property_node &node, const std::string &path, node_place &place) {
    std::vector<std::uint64_t> references;
    std::vector<std::string> paths;
    std::vector<std::size_t> ends;
    bytes headers;
    for (const property_node &child : node.children) {
        const std::string child_path = path + (path.back() == ':' ? "" : "/") + child.name;
        put_property(child, child_path);
        references.push_back(built_.places[child_path].reference);
        append_bytes(headers, bytes_of_header(header_of(child)));
        paths.push_back(child_path);
        ends.push_back(headers.size());
    }
    const bool is_edited = node.edit_headers || node.edit_references;
    if (node.children.empty() && !is_edited && !node.store_empty) return archive_writer::empty_group;
    references.push_back(put_headers(headers, node.edit_headers, place));
    set_header_places(built_.places, paths, ends, place.headers);
    return put_group(references, node.edit_references, place);
}

void archive_output::put_property(const property_node &node, const std::string &path) {
    node_place place;
    const std::uint64_t own =
        node.kind == property_kind::compound ? put_compound(node, path, place) : put_samples(node, place);
    place.reference = node.instead.value_or(own);
    built_.places[path] = place;
}

std::uint64_t archive_output::put_child_headers(const object_node &node, const std::string &prefix, node_place &place) {
    std::vector<std::string> paths;
    std::vector<std::size_t> ends;
    bytes headers;
    for (const object_node &child : node.children) {
        append_bytes(headers, bytes_of_header(header_of(child)));
        paths.push_back(prefix + child.name);
        ends.push_back(headers.size());
    }
    bytes digests = digest_of(bytes_of_text(node.name));
    append_bytes(digests, digest_of(headers));
    digests.resize(node.digest_bytes);
    append_bytes(headers, digests);
    const std::uint64_t reference = put_headers(headers, node.edit_headers, place);
    set_header_places(built_.places, paths, ends, place.headers);
    return reference;
}

std::uint64_t archive_output::put_object(const object_node &node, const std::string &path) {
    const std::string prefix = path == "/" ? path : path + "/";
    node_place place;
    put_property(node.properties, path + ":");
    std::vector<std::uint64_t> references = {built_.places[path + ":"].reference};
    for (const object_node &child : node.children)
        references.push_back(put_object(child, prefix + child.name));
    if (!node.without_headers) references.push_back(put_child_headers(node, prefix, place));
    const std::uint64_t own = put_group(references, node.edit_references, place);
    node_place &known = built_.places[path];
    place.reference = node.instead.value_or(own);
    known = place;
    return place.reference;
}

std::uint64_t archive_output::put_samplings() {
    bytes samplings;
    for (std::size_t i = 0; i < source_.samplings.size(); ++i)
        append_bytes(samplings, bytes_of_sampling(source_.samplings[i], highest_[i]));
    if (source_.edit_samplings) source_.edit_samplings(samplings);
    return out_.data(samplings);
}

std::uint64_t archive_output::put_shared_texts() {
    bytes texts;
    for (const std::string &text : texts_)
        append_bytes(texts, bytes_of_shared_text(text));
    if (source_.edit_shared_texts) source_.edit_shared_texts(texts);
    return out_.data(texts);
}

built_archive archive_output::run() {
    bytes layout, library;
    append(layout, source_.layout_version);
    append(library, source_.library_version);
    const std::uint64_t layout_version = out_.data(layout), library_version = out_.data(library);
    const std::uint64_t top = put_object(source_.top, "/");
    const std::uint64_t metadata = out_.data(bytes_of_text(source_.metadata));
    const std::uint64_t samplings = put_samplings(), texts = put_shared_texts();
    built_.root.reference =
        put_group({layout_version, library_version, top, metadata, samplings, texts}, source_.edit_root, built_.root);
    out_.set_root(built_.root.reference);
    built_.content = out_.content();
    return std::move(built_);
}

} // namespace

bool sample_data::operator==(const sample_data &other) const {
    return values == other.values && dimensions == other.dimensions && store_empty == other.store_empty &&
           payload == other.payload && dimensions_payload == other.dimensions_payload && instead == other.instead &&
           dimensions_instead == other.dimensions_instead;
}

sample_data sample_of_texts(const std::vector<std::string> &texts, bool of_an_array) {
    sample_data sample;
    for (const std::string &text : texts) {
        append_bytes(sample.values, bytes_of_text(text));
        sample.values.push_back(0);
    }
    if (of_an_array) sample.dimensions = {texts.size()};
    return sample;
}

property_node &property_node::compound(const std::string &child, const std::string &text) {
    return add(child, property_kind::compound, value_kind::boolean, 0, {}, 0, text);
}

property_node &property_node::add(const std::string &child, property_kind child_kind, value_kind child_value,
                                  std::uint32_t child_extent, std::vector<sample_data> child_samples,
                                  std::uint32_t sampling, const std::string &text) {
    children.emplace_back();
    property_node &node = children.back();
    node.name = child;
    node.metadata = text;
    node.kind = child_kind;
    node.value = child_value;
    node.extent = child_extent;
    node.samples = std::move(child_samples);
    node.time_sampling = sampling;
    return node;
}

property_node &property_node::text(const std::string &child, const std::string &value_of_it, std::uint32_t sampling) {
    return add(child, property_kind::scalar, value_kind::text, 1, {sample_of_texts({value_of_it}, false)}, sampling);
}

property_node &property_node::texts(const std::string &child, const std::vector<std::string> &values,
                                    std::uint32_t sampling) {
    return add(child, property_kind::array, value_kind::text, 1, {sample_of_texts(values, true)}, sampling);
}

object_node &object_node::add(const std::string &child, const std::string &text) {
    children.emplace_back();
    children.back().name = child;
    children.back().metadata = text;
    return children.back();
}

std::uint32_t archive_builder::add_sampling(const time_sampling &sampling) {
    samplings.push_back(sampling);
    return static_cast<std::uint32_t>(samplings.size() - 1);
}

built_archive archive_builder::build() const {
    return archive_output(*this).run();
}

} // namespace qel::test
