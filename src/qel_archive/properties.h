// SPDX-License-Identifier: MIT
// The properties of objects: compounds that hold scalars, arrays and compounds.
#pragma once

#include "qel_archive/header_source.h"
#include "qel_archive/lazy_text.h"
#include "qel_archive/position_table.h"

#include <atomic>
#include <cstdint>

namespace qel::archives {

constexpr std::uint32_t max_properties = std::uint32_t{1} << 24;
constexpr std::uint32_t max_levels = 1000; // of objects, and of properties in one object

/// First and last sample time; undefined if `any` is false.
struct time_span {
    bool any;
    double start, end;

    void include(double first, double last) {
        if (!any || first < start) start = first;
        if (!any || last > end) end = last;
        any = true;
    }
    void include(const time_span &other) {
        if (other.any) include(other.start, other.end);
    }
};

/// A compound. If groups are shared, one compound may be that of several properties.
struct compound {
    const property_headers *headers; // null if it has no properties
    std::uint64_t *references;       // references of properties in the file; numbers of compounds
    std::uint32_t *starts;           // numbers of its properties among all below it, depth first
    std::uint32_t total;             // properties below it, including those in compounds
    std::uint32_t levels;
    time_span times; // of properties below it with more than one sample
    bool open;       // being read
    std::atomic<const char *>
        *full_names; // of all properties below it, made on request; null if all its compounds are empty

    std::uint32_t count() const { return headers == nullptr ? 0 : headers->names.count; }
};

/// A property: its compound and its number there.
struct property_entry {
    const compound *parent;
    std::uint32_t number;

    const text &name() const { return parent->headers->names.names[number]; }
    const property_header &header() const { return parent->headers->headers[number]; }
    std::uint64_t reference() const { return parent->references[number]; }
};

/// All compounds of an archive. Number 0 is the empty compound.
class compound_table {
  public:
    const compound &operator[](std::uint64_t number) const { return compounds_[static_cast<std::uint32_t>(number)]; }

    void clear() { compounds_.clear(); }

    /// The property `number` of a compound; it is below the compound's total.
    property_entry entry(const compound &root, std::uint32_t number) const;

    /// Finds a property by its name relative to a compound, such as ".geom/P"; false if there is none.
    bool find(const compound &root, const char *name, property_entry &entry) const;

    /// The number of the property with this name; `none` if there is none.
    std::uint32_t find_number(const compound &root, const char *name) const;

    /// The name of a property, preceded by the names of the compounds above it; null when there is no memory.
    const char *full_name(const compound &root, std::uint32_t number, lazy_texts &texts) const;

  private:
    friend class compound_reader;

    bool find(const compound &root, const char *name, property_entry &entry, std::uint32_t &number) const;

    heap_list<compound> compounds_;
};

/// Reads compounds into a table. With `sharing`, each position is read once. `ancestors` are the references of the
/// objects being read: a compound with one of them would contain itself.
class compound_reader {
  public:
    compound_reader(header_source &source, const header_context &context, arena &memory, compound_table &table,
                    shared_positions *sharing, const heap_list<std::uint64_t> &ancestors)
        : source_(source), context_(context), memory_(memory), compounds_(table.compounds_), sharing_(sharing),
          ancestors_(ancestors) {}

    /// Makes the empty compound. Must be called first; false when there is no memory.
    bool begin() { return compounds_.push(compound{}); }

    /// Reads the compound of an object and all compounds below it.
    status read(std::uint64_t reference, std::uint32_t &number);

    /// Allocates the slots of full names of an object's compound.
    status prepare_names(std::uint32_t number);

  private:
    struct frame {
        std::uint32_t number;
        std::uint32_t next;
    };

    bool is_ancestor(std::uint64_t reference) const;
    status enter(std::uint64_t reference, std::uint32_t &number);
    status read_compound(std::uint64_t reference, compound &read);
    status read_headers(std::uint64_t reference, std::uint64_t count, const property_headers *&headers);
    status read_property(frame &top);
    status leave(std::uint32_t number);

    header_source &source_;
    const header_context &context_;
    arena &memory_;
    heap_list<compound> &compounds_;
    shared_positions *sharing_;
    const heap_list<std::uint64_t> &ancestors_;
    heap_list<frame> stack_;
    std::uint32_t total_ = 0;
};

} // namespace qel::archives
