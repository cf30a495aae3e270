// SPDX-License-Identifier: MIT
// The properties of objects: compounds that hold scalars, arrays and compounds.
#pragma once

#include "qel_archive/header_source.h"
#include "qel_archive/lazy_text.h"
#include "qel_archive/place_table.h"

#include <atomic>
#include <cstdint>

namespace qel::archives {

constexpr std::uint32_t max_properties = std::uint32_t{1} << 24;
constexpr std::uint32_t max_levels = 1000; // of objects, and of properties in one object

/// The times that samples span; none where `any` is false.
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

/// A compound and, through the compounds in it, all that it holds. Where groups are shared, so are compounds.
struct compound {
    const property_headers *headers; // null where it holds nothing
    std::uint64_t *places;           // a property's group in the file, a compound's number
    std::uint32_t *starts;           // a property's number among all that the compound holds, depth first
    std::uint32_t total;             // how many these are
    std::uint32_t levels;
    time_span times; // of properties with more than one sample
    bool open;       // being read
    std::atomic<const char *>
        *full_names; // of all that it holds, made when asked for; null where names are short

    std::uint32_t count() const { return headers == nullptr ? 0 : headers->names.count; }
};

/// One property, found: a compound and the property's number in it.
struct property_entry {
    const compound *home;
    std::uint32_t number;

    const text &name() const { return home->headers->names.names[number]; }
    const property_header &header() const { return home->headers->headers[number]; }
    std::uint64_t place() const { return home->places[number]; }
};

/// All compounds of an archive. Number 0 is the empty one.
class compound_table {
  public:
    const compound &operator[](std::uint64_t number) const {
        return compounds_[static_cast<std::uint32_t>(number)];
    }

    void clear() { compounds_.clear(); }

    /// Finds the property with a number, smaller than the compound's total.
    property_entry entry(const compound &root, std::uint32_t number) const;

    /// Finds a property by its name, which begins in a compound; false when there is none.
    bool find(const compound &root, const char *name, property_entry &entry) const;

    /// The number of the property with a name, `none` when there is none.
    std::uint32_t find_number(const compound &root, const char *name) const;

    /// The name of a property with those of the compounds that it stands in; null when there is no memory.
    const char *full_name(const compound &root, std::uint32_t number, lazy_texts &texts) const;

  private:
    friend class compound_reader;

    bool find(const compound &root, const char *name, property_entry &entry, std::uint32_t &number) const;

    heap_list<compound> compounds_;
};

/// Reads compounds into a table. With `sharing`, what stands at one place is read once. `around` are the groups of the
/// objects that are being read: none of them can be a compound, whose group would be inside itself.
class compound_reader {
  public:
    compound_reader(header_source &source, const header_context &context, arena &memory,
                    compound_table &table, shared_places *sharing, const heap_list<std::uint64_t> &around)
        : source_(source), context_(context), memory_(memory), compounds_(table.compounds_),
          sharing_(sharing), around_(around) {}

    /// Makes the empty compound; to be called first.
    bool begin() { return compounds_.push(compound{}); }

    /// Reads the compound of an object, and all that it holds.
    status read(std::uint64_t reference, std::uint32_t &number);

    /// Makes room for the names in an object's compound that are made when asked for.
    status prepare_names(std::uint32_t number);

  private:
    struct frame {
        std::uint32_t number;
        std::uint32_t next;
    };

    bool is_around(std::uint64_t reference) const;
    status enter(std::uint64_t reference, std::uint32_t &number);
    status read_compound(std::uint64_t reference, compound &read);
    status read_headers(std::uint64_t reference, std::uint64_t count, const property_headers *&headers);
    status read_property(frame &place);
    status leave(std::uint32_t number);

    header_source &source_;
    const header_context &context_;
    arena &memory_;
    heap_list<compound> &compounds_;
    shared_places *sharing_;
    const heap_list<std::uint64_t> &around_;
    heap_list<frame> stack_;
    std::uint32_t total_ = 0;
};

} // namespace qel::archives
