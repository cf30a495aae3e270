// SPDX-License-Identifier: MIT
#include "common/file.h"
#include "qel_alembic/scene.h"
#include "qel_unit/unit_format.h"

#include <algorithm>
#include <cstring>

namespace qel {
namespace {

void write_header(std::FILE *stream, std::uint32_t token_count) {
    unit_header header = {};
    std::memcpy(header.magic, unit_magic, sizeof header.magic);
    header.version = unit_version;
    header.count = token_count;
    std::fwrite(&header, sizeof header, 1, stream);
}

qel_token packed(const qel_alembic_token &token) {
    qel_token record;
    record.morton = token.morton;
    std::memcpy(record.hex_id, token.hex_id, sizeof record.hex_id);
    record.payload = token.payload;
    record.layer = token.layer;
    return record;
}

/// Writes a mesh's tokens in batches; zero bytes if there are none, so that the file's length matches its header. Stops
/// at the first error of the stream.
void write_tokens(std::FILE *stream, const qel_alembic_mesh &mesh) {
    constexpr std::uint32_t batch_size = 64;
    qel_token batch[batch_size] = {};
    for (std::uint32_t done = 0, size = 0; done < mesh.vertex_count; done += size) {
        size = std::min(batch_size, mesh.vertex_count - done);
        if (mesh.tokens != nullptr) std::transform(mesh.tokens + done, mesh.tokens + done + size, batch, packed);
        if (std::fwrite(batch, sizeof *batch, size, stream) != size) return;
    }
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t qel_alembic_export_qel(const qel_alembic_mesh *mesh, const char *path) {
    if (mesh == nullptr || path == nullptr || mesh->vertex_count == 0 || mesh->tokens == nullptr)
        return QEL_ALEMBIC_EXPORT_QEL_CANNOT_CREATE;
    const buffered_stream stream(path, "wb");
    if (stream.get() == nullptr) return QEL_ALEMBIC_EXPORT_QEL_CANNOT_CREATE;
    write_header(stream.get(), mesh->vertex_count);
    write_tokens(stream.get(), *mesh);
    return QEL_OK;
}

std::int32_t qel_alembic_export_file_qel(const qel_alembic_file *scene, const char *path) {
    if (scene == nullptr || path == nullptr || meshes_in(*scene) == 0) return QEL_ALEMBIC_EXPORT_FILE_QEL_CANNOT_CREATE;
    const buffered_stream stream(path, "wb");
    if (stream.get() == nullptr) return QEL_ALEMBIC_EXPORT_FILE_QEL_CANNOT_CREATE;
    std::uint32_t token_count = 0; // wraps at 2^32, as the header has 32 bits
    for (std::uint32_t i = 0; i < scene->mesh_count; ++i)
        token_count += scene->meshes[i].vertex_count;
    write_header(stream.get(), token_count);
    for (std::uint32_t i = 0; i < scene->mesh_count; ++i)
        write_tokens(stream.get(), scene->meshes[i]);
    return QEL_OK;
}

} // extern "C"
