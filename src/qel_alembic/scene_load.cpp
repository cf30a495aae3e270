// SPDX-License-Identifier: MIT
#include "qel_alembic/scene_load.h"

#include "common/file.h"
#include "common/heap.h"
#include "common/text.h"
#include "qel_alembic/scene.h"
#include "qel_alembic/scene_format.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace qel {
namespace {

/// The length used for a stream without one, such as a pipe.
constexpr std::uint64_t unknown_length = std::numeric_limits<std::uint64_t>::max();

/// Reads records and arrays of a file whose counts may be wrong: bytes after the file's end are read as zero.
class scene_reader {
  public:
    /// `length` is the stream's. No array exceeds the rest of the stream by more than `max_missing` bytes.
    scene_reader(std::FILE *stream, std::uint64_t length, std::uint64_t max_missing)
        : stream_(stream), left_(length), max_missing_(max_missing) {}

    /// Reads one record; false if the file ends inside it.
    template <class T>
    bool whole(T &value) {
        return take(&value, sizeof value) == sizeof value;
    }

    template <class T>
    T record() {
        T value = {};
        take(&value, sizeof value);
        return value;
    }

    /// Reads a new array; null if there is no memory for it, or if it exceeds the stream by too much.
    template <class T>
    T *array(std::uint64_t count) {
        const std::uint64_t size = count * sizeof(T);
        if (size > left_ && size - left_ > max_missing_) return nullptr;
        const bool held = size <= left_ && left_ != unknown_length;
        T *values = held ? heap_array<T>(count) : heap_zeroed<T>(count);
        if (values == nullptr) return nullptr;
        const auto bytes = static_cast<std::size_t>(size); // fits: there is memory for them
        const std::size_t got = take(values, bytes);
        // An array that may exceed the stream is already zero; clearing it again would commit its pages.
        if (held) std::memset(reinterpret_cast<std::uint8_t *>(values) + got, 0, bytes - got);
        return values;
    }

    /// Allocates zeroed records, to be read one by one; null as for an array. In the file a record takes at least
    /// `min_bytes`, often far fewer than in memory: records that the rest of the stream may hold are never refused.
    template <class T>
    T *empty_records(std::uint64_t count, std::size_t min_bytes) const {
        const std::uint64_t size = count * sizeof(T);
        const bool missing = count > left_ / min_bytes;
        // In memory a record takes no fewer bytes than in the file, so `size` exceeds the bytes left.
        return missing && size - left_ > max_missing_ ? nullptr : heap_zeroed<T>(count);
    }

    /// Whether to read one more record. After the end of the file every record is empty: the first `max_empty` of them
    /// get arrays without entries, the others stay unchanged, so that a wrong count takes no more time.
    bool more() { return left_ > 0 || ++empty_ <= max_empty; }

  private:
    static constexpr std::uint32_t max_empty = 1 << 16;

    /// Reads up to `size` bytes; returns how many were read.
    std::size_t take(void *bytes, std::uint64_t size) {
        const auto wanted = static_cast<std::size_t>(size);
        const std::size_t got = std::fread(bytes, 1, wanted, stream_);
        if (got != wanted)
            left_ = 0;
        else if (left_ != unknown_length)
            left_ -= std::min<std::uint64_t>(left_, size);
        return got;
    }

    std::FILE *stream_;
    std::uint64_t left_;
    std::uint64_t max_missing_;
    std::uint32_t empty_ = 0;
};

void take_header(const scene_header &header, qel_alembic_file &scene) {
    scene.mesh_count = header.mesh_count;
    scene.frame_count = header.frame_count;
    scene.total_vertices = header.total_vertices;
    scene.total_faces = header.total_faces;
    scene.time_start = header.time_start;
    scene.time_end = header.time_end;
    scene.fps = header.fps;
    scene.flags = header.flags;
}

bool read_mesh(scene_reader &reader, qel_alembic_mesh &mesh) {
    const auto block = reader.record<mesh_block>();
    std::memcpy(mesh.name, block.name, sizeof mesh.name);
    mesh.vertex_count = block.vertex_count;
    mesh.face_count = block.face_count;
    std::memcpy(mesh.bounds, block.bounds, sizeof mesh.bounds);
    mesh.reserved = block.reserved;
    mesh.layer = block.layer;
    mesh.positions = reader.array<float>(std::uint64_t{mesh.vertex_count} * 3);
    if (mesh.positions == nullptr) return false;
    mesh.indices = reader.array<std::uint32_t>(std::uint64_t{mesh.face_count} * 3);
    if (mesh.indices == nullptr) return false;
    mesh.vertices = reader.array<qel_alembic_vertex>(mesh.vertex_count);
    if (mesh.vertices == nullptr) return false;
    mesh.tokens = reader.array<qel_alembic_token>(mesh.vertex_count);
    return mesh.tokens != nullptr;
}

bool read_frame(scene_reader &reader, qel_alembic_frame &frame) {
    const auto block = reader.record<frame_block>();
    frame.frame = block.frame;
    frame.time = block.time;
    frame.mesh_count = block.mesh_count;
    frame.meshes = reader.empty_records<qel_alembic_mesh>(frame.mesh_count, min_frame_mesh_bytes);
    if (frame.meshes == nullptr) return false;
    for (std::uint32_t i = 0; i < frame.mesh_count && reader.more(); ++i) {
        qel_alembic_mesh &mesh = frame.meshes[i];
        mesh.vertex_count = reader.record<std::uint32_t>();
        mesh.positions = reader.array<float>(std::uint64_t{mesh.vertex_count} * 3);
        if (mesh.positions == nullptr) return false;
    }
    return true;
}

bool read_meshes(scene_reader &reader, qel_alembic_file &scene) {
    for (std::uint32_t i = 0; i < scene.mesh_count && reader.more(); ++i)
        if (!read_mesh(reader, scene.meshes[i])) return false;
    return true;
}

bool read_frames(scene_reader &reader, qel_alembic_file &scene) {
    if (scene.frame_count == 0) return true; // `frames` keeps the caller's value
    scene.frames = reader.empty_records<qel_alembic_frame>(scene.frame_count, sizeof(frame_block));
    if (scene.frames == nullptr) return false;
    for (std::uint32_t i = 0; i < scene.frame_count && reader.more(); ++i)
        if (!read_frame(reader, scene.frames[i])) return false;
    return true;
}

std::uint64_t length_or_unknown(std::FILE *stream) {
    const std::uint64_t length = stream_length(stream);
    std::rewind(stream);
    return length == 0 ? unknown_length : length;
}

} // namespace

std::int32_t load_scene(const char *path, qel_alembic_file *scene, std::uint64_t max_missing) {
    if (scene == nullptr) return QEL_ALEMBIC_LOAD_CANNOT_OPEN;
    const buffered_stream stream(path, "rb"); // frames are read in small pieces
    if (stream.get() == nullptr) return QEL_ALEMBIC_LOAD_CANNOT_OPEN;
    scene_reader reader(stream.get(), length_or_unknown(stream.get()), max_missing);

    scene_header header;
    if (!reader.whole(header) || std::memcmp(header.magic, scene_magic, sizeof header.magic) != 0)
        return QEL_ALEMBIC_LOAD_NOT_A_SCENE;
    scene->version = header.version;
    if (header.version > scene_version) return QEL_ALEMBIC_LOAD_UNKNOWN_VERSION;
    take_header(header, *scene);

    scene->meshes = reader.empty_records<qel_alembic_mesh>(scene->mesh_count, sizeof(mesh_block));
    if (scene->meshes == nullptr) return QEL_ALEMBIC_LOAD_NO_MEMORY; // the counts stay
    if (!read_meshes(reader, *scene) || !read_frames(reader, *scene)) {
        qel_alembic_free(scene);
        return QEL_ALEMBIC_LOAD_NO_MEMORY;
    }
    copy_text(scene->source, path);
    qel_alembic_build_hash_table(scene); // without memory for it the scene has no index
    return QEL_OK;
}

} // namespace qel

using namespace qel;

extern "C" {

std::int32_t qel_alembic_load(const char *path, qel_alembic_file *scene) {
    return load_scene(path, scene, max_missing_bytes);
}

} // extern "C"
