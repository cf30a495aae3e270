// SPDX-License-Identifier: MIT
// A mesh with UV sets, made by hand, whose tangents are computed.
#pragma once

#include "qel_unit.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

namespace qel::test {

using floats = std::vector<float>;
using numbers = std::vector<std::uint32_t>;

/// A mesh record over vectors, with one UV set named "uv" at first.
class uv_mesh {
  public:
    uv_mesh(floats positions, numbers counts, numbers indices, floats uvs)
        : positions_(std::move(positions)), counts_(std::move(counts)), indices_(std::move(indices)) {
        mesh.positions = positions_.data();
        mesh.vertex_count = static_cast<std::uint32_t>(positions_.size() / 3);
        mesh.face_counts = counts_.data();
        mesh.face_count = static_cast<std::uint32_t>(counts_.size());
        mesh.face_indices = indices_.data();
        mesh.face_index_count = static_cast<std::uint32_t>(indices_.size());
        add_set("uv", std::move(uvs));
    }
    ~uv_mesh() { ogawa_free_tangent_frame(&mesh.tangent_frame); }
    uv_mesh(const uv_mesh &) = delete;
    uv_mesh &operator=(const uv_mesh &) = delete;

    void add_set(const char *name, floats uvs) {
        values_.push_back(std::make_unique<floats>(std::move(uvs)));
        ogawa_uv_set set{};
        std::strcpy(set.name, name);
        set.values = values_.back()->data();
        set.value_count = static_cast<std::uint32_t>(values_.back()->size() / 2);
        set.scope = OGAWA_SCOPE_FACE_VARYING;
        sets_.push_back(set);
        mesh.uv_sets = sets_.data();
        mesh.uv_set_count = static_cast<std::uint32_t>(sets_.size());
    }

    void set_uv_indices(numbers indices, std::uint32_t scope = OGAWA_SCOPE_FACE_VARYING) {
        uv_indices_ = std::move(indices);
        sets_[0].indices = uv_indices_.data();
        sets_[0].index_count = static_cast<std::uint32_t>(uv_indices_.size());
        sets_[0].scope = scope;
    }

    ogawa_uv_set &set() { return sets_[0]; }
    std::int32_t compute(const char *name = nullptr) { return ogawa_compute_tangent_frame(&mesh, name); }
    floats tangents() const { return listed(mesh.tangent_frame.tangents); }
    floats bitangents() const { return listed(mesh.tangent_frame.bitangents); }

    ogawa_polymesh mesh{};

  private:
    floats listed(const float *vectors) const { return floats(vectors, vectors + mesh.vertex_count * 3); }

    floats positions_;
    numbers counts_, indices_, uv_indices_;
    std::vector<std::unique_ptr<floats>> values_;
    std::vector<ogawa_uv_set> sets_;
};

} // namespace qel::test
