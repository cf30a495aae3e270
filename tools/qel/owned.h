// SPDX-License-Identifier: MIT
// Records and arrays of the library that release themselves.
#pragma once

#include <qel_unit.h>

#include <cstdlib>
#include <memory>

namespace tool {

/// A record of the library that is released at the end of its scope.
template <class Record, void (*Release)(Record *)>
class owned {
  public:
    owned() = default;
    ~owned() { Release(&record_); }
    owned(const owned &) = delete;
    owned &operator=(const owned &) = delete;
    Record *get() { return &record_; }
    Record *operator->() { return &record_; }

  private:
    Record record_{};
};

/// A unit's release leaves `order` to its owner.
inline void free_unit_and_order(qel_unit *unit) {
    qel_unit_free(unit);
    std::free(unit->order);
}

using archive_record = owned<ogawa_archive, ogawa_close>;
using polymesh_record = owned<ogawa_polymesh, ogawa_free_polymesh>;
using unit_record = owned<qel_unit, free_unit_and_order>;
using scene_record = owned<qel_alembic_file, qel_alembic_free>;
using cache_record = owned<qel_mesh, qel_mesh_free>;

struct free_array {
    void operator()(void *array) const { std::free(array); }
};
/// An array that a function handed out.
template <class T>
using array = std::unique_ptr<T[], free_array>;

} // namespace tool
