// SPDX-License-Identifier: MIT
#include "common/file.h"
#include "qel_alembic/scene.h"
#include "qel_alembic/scene_format.h"

#include <algorithm>
#include <cstring>

namespace qel {
namespace {

/// Writes records and arrays. Errors are not reported; nothing is written after the first one.
class scene_writer {
  public:
    explicit scene_writer(std::FILE *stream) : stream_(stream) {}

    template <class T>
    void record(const T &value) {
        write(&value, sizeof value);
    }

    /// Writes `count` records, zero bytes for a null array: the file's length always matches its counts.
    template <class T>
    void array(const T *values, std::uint64_t count) {
        if (values != nullptr)
            write(values, count * sizeof(T));
        else
            failed_ = failed_ || !write_zeros(stream_, count * sizeof(T));
    }

  private:
    void write(const void *bytes, std::uint64_t size) {
        const auto whole = static_cast<std::size_t>(size);
        failed_ = failed_ || std::fwrite(bytes, 1, whole, stream_) != whole;
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
    if (frame.meshes == nullptr) writer.array<std::uint32_t>(nullptr, frame.mesh_count); // meshes without vertices
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

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t qel_alembic_save(const char *path, const qel_alembic_file *scene) {
    if (scene == nullptr) return QEL_ALEMBIC_SAVE_CANNOT_CREATE;
    const buffered_stream stream(path, "wb");
    if (stream.get() == nullptr) return QEL_ALEMBIC_SAVE_CANNOT_CREATE;
    scene_writer writer(stream.get());
    write_scene(writer, *scene);
    return QEL_OK;
}

} // extern "C"
