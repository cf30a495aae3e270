// SPDX-License-Identifier: MIT
#include "qel_archive/meshes.h"

#include "common/bounds.h"
#include "common/bytes.h"
#include "common/text.h"
#include "qel_archive/geometry_parameter.h"
#include "qel_archive/index_check.h"
#include "qel_archive/transforms.h"

#include <cstring>

namespace qel::archives {
namespace {

/// Computes the box of positions that are passed piece by piece, with the same bits as for all at once.
class piecewise_bounds {
  public:
    void include(const float *positions, std::uint64_t count) {
        const auto piece = static_cast<std::uint32_t>(count); // a piece has at most 16,384 positions
        if (!any_) {
            compute_bounds(positions, piece, bounds_);
            any_ = true;
            return;
        }
        // compute_bounds starts with the first position, so that a NaN in it stays. Only the first position of all
        // pieces may do that: the leading NaNs of this piece are compared one by one.
        std::uint64_t first = 0;
        for (; first < count && has_nan(positions + first * 3); ++first)
            widen(positions + first * 3, positions + first * 3);
        if (first == count) return;
        float box[6];
        compute_bounds(positions + first * 3, static_cast<std::uint32_t>(count - first), box);
        widen(box, box + 3);
    }

    /// Writes both corners; without positions they do not change.
    void write(float *low, float *high) const {
        if (!any_) return;
        std::copy_n(bounds_, 3, low);
        std::copy_n(bounds_ + 3, 3, high);
    }

  private:
    static bool has_nan(const float *position) {
        return position[0] != position[0] || position[1] != position[1] || position[2] != position[2];
    }

    void widen(const float *low, const float *high) {
        for (int axis = 0; axis < 3; ++axis) {
            if (low[axis] < bounds_[axis]) bounds_[axis] = low[axis];
            if (high[axis] > bounds_[axis + 3]) bounds_[axis + 3] = high[axis];
        }
    }

    float bounds_[6];
    bool any_ = false;
};

bool has_faces(const qel_archive &archive, std::uint32_t object) {
    return is_mesh(*archive.tree.objects[object].metadata);
}

/// The face counts and face indices of a mesh. Either may be missing.
struct face_entries {
    property_entry counts, indices;
    bool has_counts, has_indices;
};

status find_faces(const qel_archive &archive, std::uint32_t object, face_entries &faces) {
    if (!has_faces(archive, object)) return QEL_ARCHIVE_OK;
    faces.has_counts = find_property(archive, object, ".geom/.faceCounts", faces.counts);
    faces.has_indices = find_property(archive, object, ".geom/.faceIndices", faces.indices);
    const bool right = (!faces.has_counts || is_array_of(faces.counts.header(), QEL_ARCHIVE_VALUE_I32, 1)) &&
                       (!faces.has_indices || is_array_of(faces.indices.header(), QEL_ARCHIVE_VALUE_I32, 1));
    return right ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED;
}

/// The arrays of one sample of a mesh, not read yet.
struct mesh_arrays {
    stored_array positions, counts, indices;
};

status find_arrays(const qel_archive &archive, const property_entry &positions, const face_entries &faces,
                   std::uint64_t sample, mesh_arrays &arrays) {
    status outcome = find_array(archive, positions, sample, arrays.positions);
    if (outcome == QEL_ARCHIVE_OK && faces.has_counts)
        outcome = find_array(archive, faces.counts, sample, arrays.counts);
    if (outcome == QEL_ARCHIVE_OK && faces.has_indices)
        outcome = find_array(archive, faces.indices, sample, arrays.indices);
    return outcome;
}

status read_positions(const qel_archive &archive, const stored_array &positions, ogawa_polymesh &mesh) {
    piecewise_bounds bounds;
    mesh.vertex_count = positions.count;
    const status outcome =
        read_values(archive.file, positions.values, mesh.positions, [&bounds](const float *piece, std::uint64_t count) {
            bounds.include(piece, count / 3);
            return true;
        });
    bounds.write(mesh.bounds_min, mesh.bounds_max);
    bounds.write(mesh.self_bounds_min, mesh.self_bounds_max);
    return outcome;
}

/// Reads counts and indices. DAMAGED if the counts do not sum to the number of indices or an index is out of range.
status read_faces(const qel_archive &archive, const mesh_arrays &arrays, ogawa_polymesh &mesh) {
    mesh.face_count = arrays.counts.count;
    mesh.face_index_count = arrays.indices.count;
    std::uint64_t sum = 0;
    status outcome = read_values(archive.file, arrays.counts.values, mesh.face_counts,
                                 [&sum](const std::uint32_t *piece, std::uint64_t count) {
                                     const std::uint64_t corners = sum_counts(piece, count);
                                     sum += corners;
                                     return corners != bad_sum;
                                 });
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    if (sum != arrays.indices.count) return QEL_ARCHIVE_DAMAGED;
    const std::uint32_t limit = face_index_limit(mesh.vertex_count);
    return read_values(
        archive.file, arrays.indices.values, mesh.face_indices,
        [limit](const std::uint32_t *piece, std::uint64_t count) { return all_below(piece, count, limit); });
}

/// Reads the box that is stored with the mesh, if any.
status read_self_bounds(const qel_archive &archive, std::uint32_t object, std::uint64_t sample, ogawa_polymesh &mesh) {
    property_entry entry;
    if (!find_property(archive, object, ".geom/.selfBnds", entry)) return QEL_ARCHIVE_OK;
    const property_header &header = entry.header();
    const bool is_box =
        header.kind == property_kind::scalar && header.value == QEL_ARCHIVE_VALUE_F64 && header.extent == 6;
    if (!is_box || header.samples == 0) return QEL_ARCHIVE_OK;
    stored_array stored;
    status outcome = find_array(archive, entry, sample, stored);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    double box[6];
    outcome = status_of(archive.file.read(stored.values.at, box, sizeof box));
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    for (int axis = 0; axis < 3; ++axis) {
        mesh.self_bounds_min[axis] = static_cast<float>(box[axis]);
        mesh.self_bounds_max[axis] = static_cast<float>(box[axis + 3]);
    }
    return QEL_ARCHIVE_OK;
}

status read_normals(const qel_archive &archive, std::uint32_t object, std::uint64_t sample, const mesh_size &size,
                    ogawa_polymesh &mesh) {
    property_entry entry;
    parameter_entries entries;
    if (!find_property(archive, object, ".geom/N", entry) || !find_parameter(archive, entry, 3, entries))
        return QEL_ARCHIVE_OK;
    geometry_parameter normals;
    const status outcome = read_parameter(archive, entries, sample, size, normals);
    mesh.normals = normals.values;
    mesh.normal_count = normals.value_count;
    mesh.normal_indices = normals.indices;
    mesh.normal_scope = normals.scope;
    return outcome;
}

/// Copies a name into a UV set, truncated to its capacity.
void name_set(ogawa_uv_set &set, const char *name, std::size_t length) {
    std::memcpy(set.name, name, std::min(length, sizeof set.name - 1)); // the rest is zero
}

/// Appends a UV set to those of the mesh, unless it is unsound.
status read_uv_set(const qel_archive &archive, const parameter_entries &entries, std::uint64_t sample,
                   const mesh_size &size, ogawa_polymesh &mesh) {
    geometry_parameter uvs;
    const status outcome = read_parameter(archive, entries, sample, size, uvs);
    if (!uvs.sound) return outcome;
    ogawa_uv_set &set = mesh.uv_sets[mesh.uv_set_count++];
    set.values = uvs.values;
    set.value_count = uvs.value_count;
    set.indices = uvs.indices;
    set.index_count = uvs.index_count;
    set.scope = uvs.scope;
    return outcome;
}

status read_main_uvs(const qel_archive &archive, const parameter_entries &entries, std::uint64_t sample,
                     const mesh_size &size, ogawa_polymesh &mesh) {
    const std::uint32_t before = mesh.uv_set_count;
    const status outcome = read_uv_set(archive, entries, sample, size, mesh);
    if (mesh.uv_set_count == before) return outcome;
    std::size_t length = 0;
    const char *const name = parameter_metadata(entries, "sourceName", length);
    const bool named = name != nullptr && length != 0;
    name_set(mesh.uv_sets[before], named ? name : "uv", named ? length : 2);
    return outcome;
}

/// The compound of an object's arbitrary parameters; the empty compound if there is none.
const compound &find_parameters(const qel_archive &archive, std::uint32_t object) {
    property_entry entry;
    const bool found =
        find_property(archive, object, ".geom/.arbGeomParams", entry) && entry.header().kind == property_kind::compound;
    return archive.tree.compounds[found ? entry.reference() : 0];
}

/// Reads all UV sets among the arbitrary parameters.
status read_more_uvs(const qel_archive &archive, const compound &parameters, std::uint64_t sample,
                     const mesh_size &size, ogawa_polymesh &mesh) {
    for (std::uint32_t i = 0; i < parameters.count(); ++i) {
        const property_entry entry = {&parameters, i};
        parameter_entries entries;
        if (!find_parameter(archive, entry, 2, entries)) continue;
        const std::uint32_t before = mesh.uv_set_count;
        const status outcome = read_uv_set(archive, entries, sample, size, mesh);
        if (outcome != QEL_ARCHIVE_OK) return outcome;
        if (mesh.uv_set_count > before) name_set(mesh.uv_sets[before], entry.name().bytes, entry.name().length);
    }
    return QEL_ARCHIVE_OK;
}

status read_uvs(const qel_archive &archive, std::uint32_t object, std::uint64_t sample, const mesh_size &size,
                ogawa_polymesh &mesh) {
    const compound &parameters = find_parameters(archive, object);
    property_entry entry;
    parameter_entries main, other;
    const bool has_main = find_property(archive, object, ".geom/uv", entry) && find_parameter(archive, entry, 2, main);
    std::uint64_t max_count = has_main ? 1 : 0;
    for (std::uint32_t i = 0; i < parameters.count(); ++i)
        max_count += find_parameter(archive, {&parameters, i}, 2, other) ? 1 : 0;
    if (max_count == 0) return QEL_ARCHIVE_OK;
    mesh.uv_sets = heap_zeroed<ogawa_uv_set>(max_count);
    if (mesh.uv_sets == nullptr) return QEL_ARCHIVE_NO_MEMORY;
    status outcome = has_main ? read_main_uvs(archive, main, sample, size, mesh) : QEL_ARCHIVE_OK;
    if (outcome == QEL_ARCHIVE_OK) outcome = read_more_uvs(archive, parameters, sample, size, mesh);
    if (mesh.uv_set_count == 0) release(mesh.uv_sets);
    return outcome;
}

void write_names(const qel_archive &archive, std::uint32_t object, ogawa_polymesh &mesh) {
    copy_text(mesh.name, archive.tree.objects[object].name);
    archive.tree.write_path(object, archive.tree.path_length(object), mesh.path, sizeof mesh.path - 1);
}

status place_mesh(const qel_archive &archive, std::uint32_t object, const property_header &positions,
                  std::uint64_t sample, ogawa_polymesh &mesh) {
    matrix world;
    const double seconds = sample_time(sampling_of(archive, positions), sample);
    const status outcome = world_transform(archive, object, seconds, world);
    if (outcome == QEL_ARCHIVE_OK) std::copy_n(world.values, 16, mesh.transform);
    return outcome;
}

} // namespace

status find_positions(const qel_archive &archive, std::uint32_t object, property_entry &positions) {
    if (!find_property(archive, object, ".geom/P", positions) || positions.header().kind == property_kind::compound)
        return QEL_ARCHIVE_WRONG_KIND;
    if (!is_array_of(positions.header(), QEL_ARCHIVE_VALUE_F32, 3)) return QEL_ARCHIVE_DAMAGED;
    return positions.header().samples == 0 ? QEL_ARCHIVE_NOT_FOUND : QEL_ARCHIVE_OK;
}

status get_mesh_info(const qel_archive &archive, std::uint32_t object, qel_archive_mesh_info &info) {
    property_entry positions;
    face_entries faces = {};
    mesh_arrays arrays;
    status outcome = find_positions(archive, object, positions);
    if (outcome == QEL_ARCHIVE_OK) outcome = find_faces(archive, object, faces);
    if (outcome == QEL_ARCHIVE_OK) outcome = find_arrays(archive, positions, faces, 0, arrays);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    const property_header &header = positions.header();
    const bool faces_change = (faces.has_counts && !faces.counts.header().is_constant()) ||
                              (faces.has_indices && !faces.indices.header().is_constant());
    info.sample_count = header.samples;
    info.topology = faces_change           ? QEL_ARCHIVE_TOPOLOGY_FACES_CHANGE
                    : header.is_constant() ? QEL_ARCHIVE_TOPOLOGY_CONSTANT
                                           : QEL_ARCHIVE_TOPOLOGY_POSITIONS_CHANGE;
    info.vertex_count = arrays.positions.count;
    info.face_count = arrays.counts.count;
    info.corner_count = arrays.indices.count;
    info.start = sample_time(sampling_of(archive, header), 0);
    info.end = sample_time(sampling_of(archive, header), header.samples - 1);
    return QEL_ARCHIVE_OK;
}

status read_mesh(const qel_archive &archive, std::uint32_t object, std::uint64_t sample, ogawa_polymesh &mesh) {
    property_entry positions;
    face_entries faces = {};
    mesh_arrays arrays;
    status outcome = find_positions(archive, object, positions);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    if (sample >= positions.header().samples) return QEL_ARCHIVE_NOT_FOUND;
    outcome = find_faces(archive, object, faces);
    if (outcome == QEL_ARCHIVE_OK) outcome = find_arrays(archive, positions, faces, sample, arrays);
    if (outcome == QEL_ARCHIVE_OK) outcome = read_positions(archive, arrays.positions, mesh);
    if (outcome == QEL_ARCHIVE_OK) outcome = read_faces(archive, arrays, mesh);
    if (outcome == QEL_ARCHIVE_OK) outcome = read_self_bounds(archive, object, sample, mesh);
    if (outcome == QEL_ARCHIVE_OK) outcome = place_mesh(archive, object, positions.header(), sample, mesh);
    if (outcome == QEL_ARCHIVE_OK && has_faces(archive, object)) {
        const mesh_size size = {mesh.vertex_count, mesh.face_count, mesh.face_index_count};
        outcome = read_normals(archive, object, sample, size, mesh);
        if (outcome == QEL_ARCHIVE_OK) outcome = read_uvs(archive, object, sample, size, mesh);
    }
    write_names(archive, object, mesh);
    mesh.reserved_word = 1;
    return outcome;
}

void discard_mesh(ogawa_polymesh &mesh) {
    for (std::uint32_t i = 0; i < mesh.uv_set_count; ++i) {
        release(mesh.uv_sets[i].values);
        release(mesh.uv_sets[i].indices);
    }
    release(mesh.uv_sets);
    release(mesh.positions);
    release(mesh.normals);
    release(mesh.normal_indices);
    release(mesh.face_counts);
    release(mesh.face_indices);
    std::memset(&mesh, 0, sizeof mesh);
}

} // namespace qel::archives
