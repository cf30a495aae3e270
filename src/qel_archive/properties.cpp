// SPDX-License-Identifier: MIT
#include "qel_archive/properties.h"

#include "qel_archive/shared_headers.h"

#include <algorithm>
#include <cstring>

namespace qel::archives {
namespace {

constexpr char separator = '/';

/// The index in its compound of the direct child that is property `number` of the subtree or contains it.
std::uint32_t holder(const compound &parent, std::uint32_t number) {
    const std::uint32_t *const starts = parent.starts;
    return static_cast<std::uint32_t>(std::upper_bound(starts, starts + parent.count(), number) - starts) - 1;
}

/// Calls `visit` for each property on the path from a compound to property `number`, that one last.
template <class Visit>
void descend(const compound_table &table, const compound &root, std::uint32_t number, Visit visit) {
    const compound *parent = &root;
    for (;;) {
        const property_entry entry = {parent, holder(*parent, number)};
        visit(entry);
        number -= parent->starts[entry.number];
        if (number == 0) return;
        --number; // the compound itself
        parent = &table[entry.reference()];
    }
}

} // namespace

property_entry compound_table::entry(const compound &root, std::uint32_t number) const {
    property_entry found = {};
    descend(*this, root, number, [&found](const property_entry &entry) { found = entry; });
    return found;
}

bool compound_table::find(const compound &root, const char *name, property_entry &entry, std::uint32_t &number) const {
    const compound *parent = &root;
    for (number = 0; parent->headers != nullptr; ++number) {
        const std::size_t length = std::strcspn(name, "/");
        entry = {parent, find_name(parent->headers->names, name, length)};
        if (entry.number == none) return false;
        number += parent->starts[entry.number];
        if (name[length] == '\0') return true;
        if (entry.header().kind != property_kind::compound) return false;
        parent = &(*this)[entry.reference()];
        name += length + 1;
    }
    return false;
}

bool compound_table::find(const compound &root, const char *name, property_entry &entry) const {
    std::uint32_t number;
    return find(root, name, entry, number);
}

std::uint32_t compound_table::find_number(const compound &root, const char *name) const {
    property_entry entry;
    std::uint32_t number;
    return find(root, name, entry, number) ? number : none;
}

const char *compound_table::full_name(const compound &root, std::uint32_t number, lazy_texts &texts) const {
    const property_entry found = entry(root, number);
    if (found.parent == &root) return found.name().bytes;
    std::atomic<const char *> &slot = root.full_names[number];
    const char *const present = slot.load(std::memory_order_acquire);
    if (present != nullptr) return present;
    std::size_t length = 0;
    descend(*this, root, number,
            [&length](const property_entry &entry) { length += std::size_t{entry.name().length} + 1; });
    return texts.get(slot, length - 1, [&](char *bytes) {
        descend(*this, root, number, [&bytes, &root](const property_entry &entry) {
            if (entry.parent != &root) *bytes++ = separator;
            std::memcpy(bytes, entry.name().bytes, entry.name().length);
            bytes += entry.name().length;
        });
    });
}

status compound_reader::read(std::uint64_t reference, std::uint32_t &number) {
    status outcome = enter(reference, number);
    while (outcome == QEL_ARCHIVE_OK && stack_.size() > 0) {
        frame &top = stack_.top();
        if (top.next < compounds_[top.number].count()) {
            outcome = read_property(top);
        } else {
            const std::uint32_t done = top.number;
            stack_.pop();
            outcome = leave(done);
        }
    }
    return outcome;
}

bool compound_reader::is_ancestor(std::uint64_t reference) const {
    for (std::uint32_t i = 0; i < ancestors_.size(); ++i) {
        if (ancestors_[i] == reference) return true;
    }
    return false;
}

/// Reads a compound, unless it was already read or is empty, and pushes it: its properties are read next.
status compound_reader::enter(std::uint64_t reference, std::uint32_t &number) {
    number = 0;
    if (reference == 0) return QEL_ARCHIVE_OK;
    if (is_ancestor(reference)) return QEL_ARCHIVE_DAMAGED;
    const std::uint64_t *const known = sharing_ == nullptr ? nullptr : sharing_->compounds.find(reference);
    if (known != nullptr) {
        number = static_cast<std::uint32_t>(*known);
        return compounds_[number].open ? QEL_ARCHIVE_DAMAGED : QEL_ARCHIVE_OK;
    }
    compound read = {};
    const status outcome = read_compound(reference, read);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    if (read.headers == nullptr) return QEL_ARCHIVE_OK;
    if (stack_.size() == max_levels) return QEL_ARCHIVE_DAMAGED;
    number = compounds_.size();
    read.open = true;
    if (!compounds_.push(read) || !stack_.push({number, 0})) return QEL_ARCHIVE_NO_MEMORY;
    const bool kept = sharing_ == nullptr || sharing_->compounds.add(reference, number);
    return kept ? QEL_ARCHIVE_OK : QEL_ARCHIVE_NO_MEMORY;
}

/// Reads a compound's group, a reference for each property and then one for their headers, and the headers.
status compound_reader::read_compound(std::uint64_t reference, compound &read) {
    reference_array group;
    status outcome = source_.read_group(reference, std::uint64_t{max_properties} + 1, memory_, group);
    if (outcome != QEL_ARCHIVE_OK || group.count == 0) return outcome;
    const std::uint64_t count = group.count - 1;
    total_ += static_cast<std::uint32_t>(count);
    if (total_ > max_properties) return QEL_ARCHIVE_DAMAGED;
    outcome = read_headers(group.references[count], count, read.headers);
    if (outcome != QEL_ARCHIVE_OK || count == 0) return outcome;
    read.references = group.references;
    read.starts = memory_.array<std::uint32_t>(count);
    return read.starts != nullptr ? QEL_ARCHIVE_OK : QEL_ARCHIVE_NO_MEMORY;
}

/// Reads the headers of `count` properties; null if there are none.
status compound_reader::read_headers(std::uint64_t reference, std::uint64_t count, const property_headers *&headers) {
    const auto parse = [&](const header_bytes &data, property_headers &read) {
        return read_property_headers(data, count, context_, memory_, read);
    };
    return read_headers_once({reference, count, 0}, source_, memory_,
                             sharing_ == nullptr ? nullptr : &sharing_->property_headers, parse, headers);
}

/// Reads the next property of the compound on top of the stack.
status compound_reader::read_property(frame &top) {
    const compound &parent = compounds_[top.number];
    const std::uint32_t i = top.next++;
    const property_header &header = parent.headers->headers[i];
    std::uint64_t &reference = parent.references[i];
    if (header.kind == property_kind::compound) {
        std::uint32_t number;
        const std::uint64_t inside = reference;
        std::uint64_t &kept = reference; // enter() may move the compounds, but not their arrays
        const status outcome = enter(inside, number);
        kept = number;
        return outcome;
    }
    const bool valid = is_group_reference(reference) && is_valid_position(reference, source_.file_size());
    return valid ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED;
}

/// Sums the counts of a compound after all compounds below it were read.
status compound_reader::leave(std::uint32_t number) {
    compound &parent = compounds_[number];
    std::uint64_t total = 0;
    for (std::uint32_t i = 0; i < parent.count(); ++i) {
        const property_header &header = parent.headers->headers[i];
        parent.starts[i] = static_cast<std::uint32_t>(total++);
        if (header.kind == property_kind::compound) {
            const compound &inside = compounds_[static_cast<std::uint32_t>(parent.references[i])];
            total += inside.total;
            parent.levels = std::max(parent.levels, inside.levels);
            parent.times.include(inside.times);
        } else if (header.samples > 1) {
            const time_sampling &sampling = context_.samplings.samplings[header.time_sampling];
            parent.times.include(sample_time(sampling, 0), sample_time(sampling, header.samples - 1));
        }
        if (total > max_properties) return QEL_ARCHIVE_DAMAGED;
    }
    parent.total = static_cast<std::uint32_t>(total);
    parent.open = false;
    return ++parent.levels > max_levels ? QEL_ARCHIVE_DAMAGED : QEL_ARCHIVE_OK;
}

status compound_reader::prepare_names(std::uint32_t number) {
    compound &root = compounds_[number];
    if (root.full_names != nullptr || root.total == root.count()) return QEL_ARCHIVE_OK;
    auto *const names = memory_.array<std::atomic<const char *>>(root.total);
    if (names == nullptr) return QEL_ARCHIVE_NO_MEMORY;
    for (std::uint32_t i = 0; i < root.total; ++i)
        new (names + i) std::atomic<const char *>(nullptr);
    root.full_names = names;
    return QEL_ARCHIVE_OK;
}

} // namespace qel::archives
