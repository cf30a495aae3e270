// SPDX-License-Identifier: MIT
#include "qel_alembic/scene_format.h"

#include "common/file.h"
#include "common/heap.h"
#include "common/text.h"
#include "qel_alembic/scene.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace qel {
namespace {

enum scene_save_status : std::int32_t { scene_saved = 0, cannot_save = -1 };
enum scene_load_status : std::int32_t {
    scene_loaded = 0,
    cannot_open_scene = -1,
    not_a_scene = -2,
    unknown_version = -3,
    out_of_memory = -4
};

/// Writes records and arrays. Errors are not reported, but nothing more is written after one.
class scene_writer {
  public:
    explicit scene_writer(std::FILE *stream) : stream_(stream) {}

    template <class T>
    void record(const T &value) {
        write(&value, sizeof value);
    }

    /// `count` records, zero ones where there are none: the file stays as long as its counts say.
    template <class T>
    void array(const T *values, std::uint64_t count) {
        if (values != nullptr)
            write(values, count * sizeof(T));
        else
            write_zeros(count * sizeof(T));
    }

  private:
    void write(const void *bytes, std::uint64_t size) {
        const auto whole = static_cast<std::size_t>(size);
        failed_ = failed_ || std::fwrite(bytes, 1, whole, stream_) != whole;
    }

    void write_zeros(std::uint64_t size) {
        static constexpr std::uint8_t zeros[4096] = {};
        for (std::uint64_t piece = 0; size > 0 && !failed_; size -= piece) {
            piece = std::min<std::uint64_t>(size, sizeof zeros);
            write(zeros, piece);
        }
    }

    std::FILE *stream_;
    bool failed_ = false;
};

void write_header(scene_writer &writer, const qel_alembic_file &scene) {
    scene_header header = {};
    std::memcpy(header.magic, scene_magic, sizeof header.magic);
    header.version = scene_version;
    header.mesh_count = scene.mesh_count;
    header.frame_count = scene.frame_count;
    header.total_vertices = scene.total_vertices;
    header.total_faces = scene.total_faces;
    header.fps = scene.fps;
    header.time_start = scene.time_start;
    header.time_end = scene.time_end;
    header.flags = scene.flags;
    writer.record(header);
}

void write_mesh(scene_writer &writer, const qel_alembic_mesh &mesh) {
    mesh_block block = {};
    std::memcpy(block.name, mesh.name, sizeof block.name);
    block.vertex_count = mesh.vertex_count;
    block.face_count = mesh.face_count;
    std::memcpy(block.bounds, mesh.bounds, sizeof block.bounds);
    block.reserved = mesh.reserved;
    block.layer = mesh.layer;
    writer.record(block);
    writer.array(mesh.positions, std::uint64_t{mesh.vertex_count} * 3);
    writer.array(mesh.indices, std::uint64_t{mesh.face_count} * 3);
    writer.array(mesh.vertices, mesh.vertex_count);
    writer.array(mesh.tokens, mesh.vertex_count);
}

void write_frame(scene_writer &writer, const qel_alembic_frame &frame) {
    writer.record(frame_block{frame.frame, frame.time, frame.mesh_count});
    if (frame.meshes == nullptr)
        writer.array<std::uint32_t>(nullptr, frame.mesh_count); // meshes of no vertices
    for (std::uint32_t i = 0; i < meshes_in(frame); ++i) {
        writer.record(frame.meshes[i].vertex_count);
        writer.array(frame.meshes[i].positions, std::uint64_t{frame.meshes[i].vertex_count} * 3);
    }
}

void write_scene(scene_writer &writer, const qel_alembic_file &scene) {
    write_header(writer, scene);
    if (scene.meshes == nullptr) writer.array<mesh_block>(nullptr, scene.mesh_count);
    for (std::uint32_t i = 0; i < meshes_in(scene); ++i)
        write_mesh(writer, scene.meshes[i]);
    if (scene.frames == nullptr) writer.array<frame_block>(nullptr, scene.frame_count);
    for (std::uint32_t i = 0; i < frames_in(scene); ++i)
        write_frame(writer, scene.frames[i]);
}

/// The length of a stream that cannot tell: no array is sure to be there.
constexpr std::uint64_t any_length = std::numeric_limits<std::uint64_t>::max();

/// Reads records and arrays of a file that may be cut short or lie: what the file does not hold is zero.
class scene_reader {
  public:
    /// `length` is how much the stream holds, as far as it says; no count makes an array that takes more than
    /// `most_missing` bytes beyond what the stream can hold.
    scene_reader(std::FILE *stream, std::uint64_t length, std::uint64_t most_missing)
        : stream_(stream), left_(length), most_missing_(most_missing) {}

    /// False when the file ends before the record does.
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

    /// A new array; null when there is no memory for so many.
    template <class T>
    T *array(std::uint64_t count) {
        const std::uint64_t size = count * sizeof(T);
        if (size > left_ && size - left_ > most_missing_) return nullptr;
        const bool held = size <= left_ && left_ != any_length;
        T *values = held ? heap_array<T>(count) : heap_zeroed<T>(count);
        if (values == nullptr) return nullptr;
        const auto bytes = static_cast<std::size_t>(size); // as there is memory for them
        const std::size_t got = take(values, bytes);
        // Of an array that may well be missing, and is zero already, no page is touched.
        if (held) std::memset(reinterpret_cast<std::uint8_t *>(values) + got, 0, bytes - got);
        return values;
    }

    /// Zeroed records, to be read one by one; null when there is no memory for so many. In the file, one takes
    /// `smallest` bytes or more, often far fewer than in memory: what may well be there is not refused.
    template <class T>
    T *empty_records(std::uint64_t count, std::size_t smallest) const {
        const std::uint64_t size = count * sizeof(T);
        const bool missing = count > left_ / smallest;
        return missing && size > left_ && size - left_ > most_missing_ ? nullptr : heap_zeroed<T>(count);
    }

    /// Whether to read one more record. When the file has ended, all further ones are empty: some are still
    /// made, with arrays of no entries; after them, a count that lies costs no more time.
    bool more() { return left_ > 0 || ++empty_ <= most_empty; }

  private:
    static constexpr std::uint32_t most_empty = 1 << 16;

    /// Reads as much as there is of `size` bytes; returns how much that was.
    std::size_t take(void *bytes, std::uint64_t size) {
        const auto wanted = static_cast<std::size_t>(size);
        const std::size_t got = std::fread(bytes, 1, wanted, stream_);
        if (got != wanted)
            left_ = 0;
        else if (left_ != any_length)
            left_ -= std::min<std::uint64_t>(left_, size);
        return got;
    }

    std::FILE *stream_;
    std::uint64_t left_;
    std::uint64_t most_missing_;
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
    frame.meshes = reader.empty_records<qel_alembic_mesh>(frame.mesh_count, smallest_frame_mesh);
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
    if (scene.frame_count == 0) return true; // `frames` stays as the caller set it
    scene.frames = reader.empty_records<qel_alembic_frame>(scene.frame_count, sizeof(frame_block));
    if (scene.frames == nullptr) return false;
    for (std::uint32_t i = 0; i < scene.frame_count && reader.more(); ++i)
        if (!read_frame(reader, scene.frames[i])) return false;
    return true;
}

/// The bytes that a stream holds. One that cannot tell, such as a pipe, is believed to hold anything.
std::uint64_t believed_length(std::FILE *stream) {
    const std::uint64_t length = stream_length(stream);
    std::rewind(stream);
    return length == 0 ? any_length : length;
}

void free_arrays(const qel_alembic_mesh &mesh) {
    std::free(mesh.positions);
    std::free(mesh.indices);
    std::free(mesh.vertices);
    std::free(mesh.tokens);
}

/// Frees the meshes of a scene or frame. A record without meshes is not written to: of the many that a file may
/// claim, those that nobody has touched take no memory yet.
template <class Owner>
void release_meshes(Owner &owner) {
    if (owner.meshes == nullptr) return;
    for (std::uint32_t i = 0; i < meshes_in(owner); ++i)
        free_arrays(owner.meshes[i]);
    release(owner.meshes);
}

} // namespace

std::int32_t load_scene(const char *path, qel_alembic_file *scene, std::uint64_t most_missing) {
    if (scene == nullptr) return cannot_open_scene;
    buffered_stream stream(path, "rb"); // frames come in small pieces
    if (stream.get() == nullptr) return cannot_open_scene;
    scene_reader reader(stream.get(), believed_length(stream.get()), most_missing);

    scene_header header;
    if (!reader.whole(header) || std::memcmp(header.magic, scene_magic, sizeof header.magic) != 0)
        return not_a_scene;
    scene->version = header.version;
    if (header.version > scene_version) return unknown_version;
    take_header(header, *scene);

    scene->meshes = reader.empty_records<qel_alembic_mesh>(scene->mesh_count, sizeof(mesh_block));
    if (scene->meshes == nullptr) return out_of_memory; // the counts stay
    if (!read_meshes(reader, *scene) || !read_frames(reader, *scene)) {
        qel_alembic_free(scene);
        return out_of_memory;
    }
    stream.close();
    copy_text(scene->source, path);
    qel_alembic_build_hash_table(scene); // without memory for it, the scene does without
    return scene_loaded;
}

} // namespace qel

extern "C" {

int32_t qel_alembic_save(const char *path, const qel_alembic_file *scene) {
    if (scene == nullptr) return qel::cannot_save;
    const qel::buffered_stream stream(path, "wb");
    if (stream.get() == nullptr) return qel::cannot_save;
    qel::scene_writer writer(stream.get());
    qel::write_scene(writer, *scene);
    return qel::scene_saved;
}

int32_t qel_alembic_load(const char *path, qel_alembic_file *scene) {
    return qel::load_scene(path, scene, qel::most_missing_bytes);
}

void qel_alembic_free(qel_alembic_file *scene) {
    if (scene == nullptr) return;
    qel::release_meshes(*scene);
    for (std::uint32_t i = 0; i < qel::frames_in(*scene); ++i)
        qel::release_meshes(scene->frames[i]);
    qel::release(scene->frames);
    qel::release(scene->hash);
    scene->mesh_count = 0;
    scene->frame_count = 0;
}

void qel_alembic_mesh_free(qel_alembic_mesh *mesh) {
    if (mesh == nullptr) return;
    qel::release(mesh->positions);
    qel::release(mesh->indices);
    qel::release(mesh->vertices);
    qel::release(mesh->tokens);
    mesh->vertex_count = 0;
}

} // extern "C"
