// SPDX-License-Identifier: MIT
#include "qel_archive/properties.h"

#include <algorithm>
#include <cstring>

namespace qel::archives {
namespace {

constexpr char separator = '/';

/// The number, in its compound, of the property that is or holds number `number` of all.
std::uint32_t holder(const compound &home, std::uint32_t number) {
    const std::uint32_t *const starts = home.starts;
    return static_cast<std::uint32_t>(std::upper_bound(starts, starts + home.count(), number) - starts) - 1;
}

/// Walks from a compound to the property with a number and shows each on the way, the property last.
template <class Visit>
void descend(const compound_table &table, const compound &root, std::uint32_t number, Visit visit) {
    const compound *home = &root;
    for (;;) {
        const property_entry entry = {home, holder(*home, number)};
        visit(entry);
        number -= home->starts[entry.number];
        if (number == 0) return;
        --number; // the compound itself
        home = &table[entry.place()];
    }
}

} // namespace

property_entry compound_table::entry(const compound &root, std::uint32_t number) const {
    property_entry found = {};
    descend(*this, root, number, [&found](const property_entry &entry) { found = entry; });
    return found;
}

bool compound_table::find(const compound &root, const char *name, property_entry &entry,
                          std::uint32_t &number) const {
    const compound *home = &root;
    for (number = 0; home->headers != nullptr; ++number) {
        const std::size_t length = std::strcspn(name, "/");
        entry = {home, find_name(home->headers->names, name, length)};
        if (entry.number == none) return false;
        number += home->starts[entry.number];
        if (name[length] == '\0') return true;
        if (entry.header().kind != property_kind::compound) return false;
        home = &(*this)[entry.place()];
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
    if (found.home == &root) return found.name().bytes;
    std::atomic<const char *> &slot = root.full_names[number];
    const char *const present = slot.load(std::memory_order_acquire);
    if (present != nullptr) return present;
    std::size_t length = 0;
    descend(*this, root, number,
            [&length](const property_entry &entry) { length += std::size_t{entry.name().length} + 1; });
    return texts.get(slot, length - 1, [&](char *bytes) {
        descend(*this, root, number, [&bytes, &root](const property_entry &entry) {
            if (entry.home != &root) *bytes++ = separator;
            std::memcpy(bytes, entry.name().bytes, entry.name().length);
            bytes += entry.name().length;
        });
    });
}

status compound_reader::read(std::uint64_t reference, std::uint32_t &number) {
    stack_.clear();
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

bool compound_reader::is_around(std::uint64_t reference) const {
    for (std::uint32_t i = 0; i < around_.size(); ++i) {
        if (around_[i] == reference) return true;
    }
    return false;
}

/// Finds or reads a compound; what it holds is read next where it holds anything.
status compound_reader::enter(std::uint64_t reference, std::uint32_t &number) {
    number = 0;
    if (reference == 0) return QEL_ARCHIVE_OK;
    if (is_around(reference)) return QEL_ARCHIVE_DAMAGED;
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

/// Reads a compound's group and headers: one child a property, the headers last.
status compound_reader::read_compound(std::uint64_t reference, compound &read) {
    reference_array group;
    status outcome = source_.read_group(reference, std::uint64_t{max_properties} + 1, memory_, group);
    if (outcome != QEL_ARCHIVE_OK || group.count == 0) return outcome;
    const std::uint64_t count = group.count - 1;
    total_ += static_cast<std::uint32_t>(count);
    if (total_ > max_properties) return QEL_ARCHIVE_DAMAGED;
    outcome = read_headers(group.references[count], count, read.headers);
    if (outcome != QEL_ARCHIVE_OK || count == 0) return outcome;
    read.places = group.references;
    read.starts = memory_.array<std::uint32_t>(count);
    return read.starts != nullptr ? QEL_ARCHIVE_OK : QEL_ARCHIVE_NO_MEMORY;
}

/// Reads the headers of `count` properties; null where there are none.
status compound_reader::read_headers(std::uint64_t reference, std::uint64_t count,
                                     const property_headers *&headers) {
    headers = nullptr;
    const std::uint64_t *const known =
        sharing_ == nullptr ? nullptr : sharing_->property_headers.find(reference);
    if (known != nullptr) {
        // NOLINTNEXTLINE(performance-no-int-to-ptr)
        headers = reinterpret_cast<const property_headers *>(static_cast<std::uintptr_t>(*known));
        return headers->names.count == count ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED;
    }
    header_bytes data;
    status outcome = source_.read_data(reference, memory_, data);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    if (count == 0) return data.size == 0 ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED;
    auto *const read = memory_.array<property_headers>(1);
    if (read == nullptr) return QEL_ARCHIVE_NO_MEMORY;
    outcome = read_property_headers(data, count, context_, memory_, *read);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    headers = read;
    const bool kept = sharing_ == nullptr ||
                      sharing_->property_headers.add(reference, reinterpret_cast<std::uintptr_t>(read));
    return kept ? QEL_ARCHIVE_OK : QEL_ARCHIVE_NO_MEMORY;
}

/// Takes the next property of the compound on top of the stack.
status compound_reader::read_property(frame &place) {
    const compound &home = compounds_[place.number];
    const std::uint32_t i = place.next++;
    const property_header &header = home.headers->headers[i];
    std::uint64_t &reference = home.places[i];
    if (header.kind == property_kind::compound) {
        std::uint32_t number;
        const std::uint64_t inside = reference;
        std::uint64_t &kept = reference; // entering moves compounds, not what they point to
        const status outcome = enter(inside, number);
        kept = number;
        return outcome;
    }
    const bool stands = leads_to_group(reference) && can_stand(reference, source_.file_size());
    return stands ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED;
}

/// Counts what a compound holds, now that all of it is read.
status compound_reader::leave(std::uint32_t number) {
    compound &home = compounds_[number];
    std::uint64_t total = 0;
    for (std::uint32_t i = 0; i < home.count(); ++i) {
        const property_header &header = home.headers->headers[i];
        home.starts[i] = static_cast<std::uint32_t>(total++);
        if (header.kind == property_kind::compound) {
            const compound &inside = compounds_[static_cast<std::uint32_t>(home.places[i])];
            total += inside.total;
            home.levels = std::max(home.levels, inside.levels);
            home.times.include(inside.times);
        } else if (header.samples > 1) {
            const time_sampling &sampling = context_.samplings.samplings[header.time_sampling];
            home.times.include(sample_time(sampling, 0), sample_time(sampling, header.samples - 1));
        }
        if (total > max_properties) return QEL_ARCHIVE_DAMAGED;
    }
    home.total = static_cast<std::uint32_t>(total);
    home.open = false;
    return ++home.levels > max_levels ? QEL_ARCHIVE_DAMAGED : QEL_ARCHIVE_OK;
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
