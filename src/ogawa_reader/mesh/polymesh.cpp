// SPDX-License-Identifier: MIT
#include "ogawa_reader/mesh/polymesh_fallback.h"

#include "common/bounds.h"
#include "common/bytes.h"
#include "common/file.h"
#include "common/heap.h"
#include "common/text.h"
#include "ogawa_reader/container/array_layout.h"
#include "ogawa_reader/container/node_walk.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

using namespace qel;

enum read_status : int { mesh_read = 0, no_mesh = -1, no_memory = -2 };
static_assert(no_mesh == static_cast<int>(no_positions) && no_memory == static_cast<int>(no_position_memory),
              "the byte search's codes are passed on");

// Where the tree is searched.

constexpr std::uint32_t max_nodes = 500;
constexpr std::int32_t max_depth = 20;
constexpr std::uint64_t root_at = 8;
constexpr std::uint64_t top_object_child = 2; // of the root group

bool read_word(std::FILE *stream, std::uint64_t at, std::uint64_t &word) {
    return read_at(stream, at, &word, sizeof word) == sizeof word;
}

/// Finds the reference to the archive's top object, the root group's third child.
bool find_top_object(std::FILE *stream, std::uint64_t length, std::uint64_t &reference) {
    std::uint64_t root, children;
    if (!read_word(stream, root_at, root)) return false;
    root &= ~data_node_bit;
    if (root == 0 || root >= length) return false;
    if (!read_word(stream, root, children) || children <= top_object_child) return false;
    return read_word(stream, root + sizeof children + top_object_child * sizeof reference, reference);
}

// What a payload is, by its first words.

constexpr std::uint64_t smallest_triples = 10'001; // float triples are recognised from this size on
constexpr std::uint64_t smallest_faces = 1001;
constexpr std::uint64_t too_large_for_face_counts = 500'000;

/// The first twelve words of a payload, each a float or an unsigned integer as a test needs it.
class payload_head {
  public:
    explicit payload_head(const std::uint8_t *bytes) { std::memcpy(bytes_, bytes, size); }

    /// Replaces the first bytes; those beyond `count` stay.
    void replace(const std::uint8_t *bytes, std::size_t count) {
        std::memcpy(bytes_, bytes, std::min(count, size));
    }

    float real(std::size_t i) const { return load<float>(bytes_ + i * 4); }
    std::uint32_t word(std::size_t i) const { return load<std::uint32_t>(bytes_ + i * 4); }

    /// NaN, infinite, or too large for a coordinate.
    bool wild(std::size_t i) const { return !(std::fabs(real(i)) <= 50000.0f); }

    bool any_wild(std::size_t first, std::size_t end) const {
        for (std::size_t i = first; i < end; ++i) {
            if (wild(i)) return true;
        }
        return false;
    }

    /// The largest magnitude of six floats, none of them wild.
    float largest_of_six(std::size_t first) const {
        float largest = 0.0f;
        for (std::size_t i = first; i < first + 6; ++i)
            largest = std::max(largest, std::fabs(real(i)));
        return largest;
    }

    static constexpr std::size_t size = 48;

  private:
    std::uint8_t bytes_[size];
};

/// A digest is noise: two of its four words are no coordinates. Where fewer show it, the size may: only
/// without the digest it is a whole number of triples. Listed nodes are all longer than a digest.
bool begins_with_digest(const payload_head &head, std::uint64_t size) {
    int wild_words = 0;
    for (std::size_t i = 0; i < 4; ++i)
        wild_words += head.wild(i);
    if (wild_words >= 2) return true;
    const std::uint64_t rest = size - digest_bytes;
    return rest % 12 == 0 && rest >= smallest_triples && !head.any_wild(4, 10) &&
           head.largest_of_six(4) > 1.5f;
}

bool like_face_counts(const payload_head &head) {
    int in_range = 0;
    for (std::size_t i = 0; i < 10; ++i)
        in_range += head.word(i) >= 3 && head.word(i) <= 8;
    return in_range >= 8;
}

bool like_face_indices(const payload_head &head) {
    int changes = 0;
    for (std::size_t i = 0; i < 10; ++i) {
        if (head.word(i) > 99'999) return false;
        if (i > 0) changes += head.word(i) != head.word(i - 1);
    }
    return changes >= 5;
}

/// Where an array stands in the file; size 0 when there is none.
struct array_block {
    std::uint64_t at;
    std::uint64_t size;
};

struct mesh_blocks {
    array_block positions;
    array_block normals;
    array_block face_counts;
    array_block face_indices;
};

/// Keeps the larger block, the first of equal ones.
void offer(array_block &best, const array_block &block) {
    if (block.size > best.size) best = block;
}

void weigh_triples(const payload_head &head, const array_block &block, mesh_blocks &best) {
    if (block.size % 12 != 0 || head.any_wild(0, 6)) return;
    const float largest = head.largest_of_six(0);
    if (largest > 1.5f)
        offer(best.positions, block);
    else if (largest <= 1.1f) // unit vectors, give or take; in between it is neither
        offer(best.normals, block);
}

void weigh_faces(const payload_head &head, const array_block &block, mesh_blocks &best) {
    if (block.size < smallest_faces || block.size % 4 != 0) return;
    if (block.size < too_large_for_face_counts && like_face_counts(head)) offer(best.face_counts, block);
    if (block.size >= smallest_triples && like_face_indices(head)) offer(best.face_indices, block);
}

/// Offers a node to whatever it may be. Its first 48 bytes decide, read anew behind a digest: a file that
/// ends there leaves the last words as they were.
void classify(std::FILE *stream, const ogawa_data_node &node, mesh_blocks &best) {
    std::uint8_t bytes[payload_head::size + digest_bytes];
    const std::size_t held = read_at(stream, node.payload_at, bytes, sizeof bytes);
    if (held < payload_head::size) return;
    payload_head head(bytes);
    array_block block = {node.payload_at, node.payload_size};
    if (begins_with_digest(head, block.size)) {
        block = {block.at + digest_bytes, block.size - digest_bytes};
        head.replace(bytes + digest_bytes, held - std::size_t{digest_bytes});
    }
    if (block.size >= smallest_triples) weigh_triples(head, block, best);
    weigh_faces(head, block, best);
}

/// Lists the data nodes under the top object and classifies them; false when that gives no positions.
bool find_blocks(std::FILE *stream, mesh_blocks &best) {
    const std::uint64_t length = stream_length(stream);
    std::uint64_t top_object;
    if (!find_top_object(stream, length, top_object)) return false;
    const scratch<ogawa_data_node> nodes(heap_array<ogawa_data_node>(max_nodes));
    if (!nodes) return false;
    ogawa_node_collector collector = {stream, length, nodes.get(), 0, max_nodes, max_depth};
    ogawa_collect_data_nodes(&collector, static_cast<std::int64_t>(top_object), 0);
    for (std::uint32_t i = 0; i < collector.count; ++i)
        classify(stream, nodes[i], best);
    return best.positions.size != 0;
}

/// Reads a block whole or not at all. Without memory the count stays beside a null array.
template <class T>
void read_block(std::FILE *stream, const array_block &block, std::uint32_t record_bytes, T *&array,
                std::uint32_t &count) {
    if (block.size == 0) return;
    count = static_cast<std::uint32_t>(block.size / record_bytes);
    array = heap_array<T>(block.size / sizeof(T));
    const auto size = static_cast<std::size_t>(block.size); // node payloads are small
    if (array == nullptr || read_at(stream, block.at, array, size) == size) return;
    release(array);
    count = 0;
}

void read_blocks(std::FILE *stream, const mesh_blocks &blocks, ogawa_polymesh *mesh) {
    read_block(stream, blocks.positions, 12, mesh->positions, mesh->vertex_count);
    read_block(stream, blocks.normals, 12, mesh->normals, mesh->normal_count);
    if (blocks.normals.size != 0) mesh->normal_scope = OGAWA_SCOPE_FACE_VARYING; // also when cut short
    read_block(stream, blocks.face_counts, 4, mesh->face_counts, mesh->face_count);
    read_block(stream, blocks.face_indices, 4, mesh->face_indices, mesh->face_index_count);
}

read_status finish(ogawa_polymesh *mesh) {
    if (mesh->positions != nullptr) { // then there are vertices, too
        float bounds[6];
        compute_bounds(mesh->positions, mesh->vertex_count, bounds);
        std::copy_n(bounds, 3, mesh->bounds_min);
        std::copy_n(bounds + 3, 3, mesh->bounds_max);
        std::copy_n(bounds, 3, mesh->self_bounds_min);
        std::copy_n(bounds + 3, 3, mesh->self_bounds_max);
    }
    for (int i = 0; i < 16; i += 5)
        mesh->transform[i] = 1.0;
    mesh->reserved_word = 1;
    return mesh->vertex_count != 0 ? mesh_read : no_mesh;
}

} // namespace

extern "C" {

int ogawa_read_polymesh(const ogawa_archive *archive, const ogawa_object *object, std::uint64_t /*sample*/,
                        ogawa_polymesh *mesh) {
    if (archive == nullptr || archive->file == nullptr || mesh == nullptr) return no_mesh;
    std::memset(mesh, 0, sizeof *mesh);
    copy_text(mesh->name, object != nullptr ? object->name : "mesh");
    copy_text(mesh->path, object != nullptr ? object->path : "/mesh");

    mesh_blocks blocks = {};
    if (find_blocks(archive->file, blocks)) {
        read_blocks(archive->file, blocks, mesh);
    } else {
        const position_scan_status status = read_mesh_from_bytes(archive, mesh);
        if (status != positions_found) return status;
    }
    return finish(mesh);
}

ogawa_polymesh *ogawa_get_first_polymesh(ogawa_archive *archive) {
    if (archive == nullptr) return nullptr;
    if (archive->polymesh_count != 0 && archive->polymeshes != nullptr) return archive->polymeshes[0];

    ogawa_object query = {};
    copy_text(query.name, "mesh");
    copy_text(query.path, "/mesh");
    query.schema = OGAWA_SCHEMA_POLYMESH;
    ogawa_polymesh *mesh = heap_array<ogawa_polymesh>(1);
    if (mesh == nullptr) return nullptr;
    if (ogawa_read_polymesh(archive, &query, 0, mesh) != mesh_read) {
        std::free(mesh); // the arrays that it may hold are not released with it
        return nullptr;
    }

    ogawa_polymesh **cache = heap_array<ogawa_polymesh *>(1);
    if (cache == nullptr) return mesh; // uncached: the caller's now
    cache[0] = mesh;
    archive->polymeshes = cache;
    archive->polymesh_count = 1;
    return mesh;
}

int ogawa_read_positions(const ogawa_archive *archive, const ogawa_object * /*object*/,
                         std::uint64_t /*sample*/, float **positions, std::uint32_t *count) {
    if (archive == nullptr || archive->file == nullptr || positions == nullptr || count == nullptr)
        return no_positions;
    return ogawa_scan_positions(archive, positions, count);
}

void ogawa_free_polymesh(ogawa_polymesh *mesh) {
    if (mesh == nullptr) return;
    std::free(mesh->positions);
    std::free(mesh->reserved_array);
    std::free(mesh->normals);
    std::free(mesh->normal_indices);
    std::free(mesh->face_counts);
    std::free(mesh->face_indices);
    if (mesh->uv_sets != nullptr) {
        for (std::uint32_t i = 0; i < mesh->uv_set_count; ++i)
            ogawa_free_uv_set(&mesh->uv_sets[i]);
        std::free(mesh->uv_sets);
    }
    ogawa_free_tangent_frame(&mesh->tangent_frame);
    ogawa_free_manifold(&mesh->manifold);
    std::free(mesh->reserved_buffer);
    std::memset(mesh, 0, sizeof *mesh);
}
}
