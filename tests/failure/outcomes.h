// SPDX-License-Identifier: MIT
// What each function has changed after each of its codes: one row of a table each. A row names the fields of
// the caller's records that the call has changed, and their values; every field that it does not name is as it was.
#pragma once

#include "support/failing_heap.h"
#include "support/record_fields.h"
#include "support/temp_folder.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <iosfwd>
#include <string>
#include <type_traits>
#include <vector>

namespace qel::test {

/// "null", "owned" (a block that is allocated), "freed", or "set" (to anything else, such as a place within a block).
std::string pointer_text(const void *pointer, const heap_ledger &ledger);
std::string number_text(double number);
std::string name_text(const char *text, std::size_t size);

/// The value of a field as text.
template <class T>
std::string value_text(const T &value, const heap_ledger &ledger) {
    if constexpr (std::is_same_v<T, std::FILE *>) {
        return value == nullptr ? "null" : "open";
    } else if constexpr (std::is_pointer_v<T>) {
        return pointer_text(value, ledger);
    } else if constexpr (std::is_arithmetic_v<T>) {
        return number_text(static_cast<double>(value));
    } else if constexpr (std::is_same_v<std::remove_extent_t<T>, char>) {
        return name_text(value, sizeof value);
    } else {
        static_assert(std::is_array_v<T>);
        return "filled";
    }
}

/// The caller's side of one call: records full of filler, a folder, and the changes of the watched fields.
class caller {
  public:
    caller();
    ~caller();
    caller(const caller &) = delete;
    caller &operator=(const caller &) = delete;

    /// Remembers the fields of a record as they are now.
    template <class Record>
    void watch(Record &record) {
        ++record_;
        watch_fields("", record);
    }
    /// The process's agent directory, if it exists.
    void watch_directory();
    /// The length of the file at `path`.
    void watch_file() { watched_file_ = path; }

    template <class T>
    void watch(const std::string &name, T &value) {
        const auto *at = reinterpret_cast<const std::uint8_t *>(&value);
        fields_.push_back(
            {record_, name, at, bytes(at, at + sizeof value), [this, &value] { return value_text(value, ledger); }});
    }

    /// What has changed since, such as "count 3, tokens owned". Of a record that was written as a whole, fields that
    /// are zero or null are named together, as "rest 0".
    std::string changes() const;

    heap_ledger ledger;
    temp_folder folder;
    std::string path = folder.file("file");
    std::function<void()> afterwards; // called after the changes are compared
    std::string cannot;               // why the system cannot provoke the case

    qel_unit unit;
    ogawa_archive archive;
    ogawa_polymesh mesh;
    ogawa_uv_set uv_set;
    ogawa_tangent_frame frame;
    ogawa_manifold manifold;
    qel_alembic_mesh scene_mesh;
    qel_alembic_file scene;
    qel_alembic_hit hit;
    qel_skin skin;
    qel_mesh cache;
    qel_agent agent;
    float *floats;
    const float *positions, *normals;
    std::uint32_t *numbers;
    const std::uint32_t *borrowed;
    std::uint32_t count, scope;
    std::uint64_t key;
    char text[12];
    std::uint8_t byte;

  private:
    struct field {
        int record;
        std::string name;
        const std::uint8_t *at;
        bytes before;
        std::function<std::string()> value;

        bool changed() const { return std::memcmp(at, before.data(), before.size()) != 0; }
        bool zero() const;
    };

    /// Of records within the record, the fields; of the two bytes of a version, each.
    template <class Record>
    void watch_fields(const std::string &prefix, Record &record) {
        visit_fields(record, [&](const std::string &name, auto &value) {
            using type = std::remove_reference_t<decltype(value)>;
            if constexpr (std::is_class_v<type>) {
                watch_fields(prefix + name + ".", value);
            } else if constexpr (std::is_same_v<type, std::uint8_t[2]>) {
                watch(prefix + name + " 0", value[0]);
                watch(prefix + name + " 1", value[1]);
            } else {
                watch(prefix + name, value);
            }
        });
    }

    std::vector<field> fields_;
    int record_ = 0;
    std::string watched_file_;
    bool watches_directory_ = false, had_directory_ = false;
};

/// The preparation of many calls: a record of the caller is watched.
template <auto record>
void watching(caller &c) {
    c.watch(c.*record);
}
inline void watching_directory(caller &c) {
    c.watch_directory();
}

struct outcome {
    const char *function;
    std::int32_t code;
    const char *when;
    std::int32_t (*call)(caller &);
    std::string changes;
    void (*before)(caller &) = [](caller &) {}; // comes before the call
};

void PrintTo(const outcome &row, std::ostream *out);

// One table for each part of the interface.
extern const std::vector<outcome> unit_outcomes, archive_outcomes, geometry_outcomes, scene_outcomes,
    scene_query_outcomes, cache_outcomes, agent_outcomes;

} // namespace qel::test
