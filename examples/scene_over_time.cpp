// SPDX-License-Identifier: MIT
// A scene with frames: a square that rises over one second, sampled between its frames.
#include <qel_unit.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

namespace {

constexpr float square[4][3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
constexpr std::uint32_t triangles[2][3] = {{0, 1, 2}, {0, 2, 3}};

template <class T>
T *zeroed(std::uint32_t count) {
    return static_cast<T *>(std::calloc(count, sizeof(T)));
}

/// In frame 24 n the square is at height n. Frames hold only positions.
bool add_frames(qel_alembic_file &scene, std::uint32_t count) {
    scene.frames = zeroed<qel_alembic_frame>(count);
    if (scene.frames == nullptr) return false;
    scene.frame_count = count;
    for (std::uint32_t i = 0; i < count; ++i) {
        qel_alembic_frame &frame = scene.frames[i];
        frame.frame = static_cast<std::int32_t>(i * 24);
        frame.time = static_cast<float>(i);
        frame.meshes = zeroed<qel_alembic_mesh>(1);
        if (frame.meshes == nullptr) return false;
        frame.mesh_count = 1;
        frame.meshes[0].positions = zeroed<float>(12);
        if (frame.meshes[0].positions == nullptr) return false;
        frame.meshes[0].vertex_count = 4;
        std::memcpy(frame.meshes[0].positions, square, sizeof square);
        for (int vertex = 0; vertex < 4; ++vertex)
            frame.meshes[0].positions[vertex * 3 + 2] = static_cast<float>(i);
    }
    return true;
}

bool build(qel_alembic_file &scene) {
    scene.fps = 24.0f;
    scene.time_end = 1.0f;
    scene.meshes = zeroed<qel_alembic_mesh>(1);
    if (scene.meshes == nullptr) return false;
    if (qel_alembic_load_raw(square[0], 4, triangles[0], 2, "square", scene.meshes) != 0) return false;
    scene.mesh_count = 1;
    scene.total_faces = 2;
    return qel_alembic_build_hash_table(&scene) == 0 && add_frames(scene, 2);
}

void print_height(const qel_alembic_file &scene, float time) {
    qel_alembic_mesh between{};
    const int code = qel_alembic_interpolate_time(&scene, time, &between);
    if (code == 0)
        std::printf("at %.2f s the square is at height %.2f\n", time, between.positions[2]);
    else
        std::printf("at %.2f s there is no square: code %d\n", time, code);
    std::free(between.positions); // the one array that interpolation allocates
}

} // namespace

int main() {
    qel_alembic_file scene{};
    if (!build(scene)) {
        std::fprintf(stderr, "no memory\n");
        qel_alembic_free(&scene);
        return 1;
    }
    char text[1024];
    qel_alembic_file_info(&scene, text, sizeof text);
    std::printf("%s\n", text);

    std::uint32_t first = 0, last = 0;
    float fps = 0;
    qel_alembic_get_frame_range(&scene, &first, &last, &fps);
    std::printf("frames %u to %u at %.0f frames per second\n", first, last, fps);
    for (const float time : {0.0f, 0.25f, 0.5f, 1.0f, 2.0f})
        print_height(scene, time);

    qel_alembic_hit hit{};
    if (qel_alembic_lookup_frame_vertex(&scene, 24, 0, 2, &hit) == 0)
        std::printf("vertex %u of frame 24 stands in frame record %u\n", hit.vertex_index, hit.frame_index);
    qel_alembic_hit nearest[2];
    const std::uint32_t found = qel_alembic_query_nearest(&scene, scene.meshes[0].vertices[2].morton, 2, nearest);
    for (std::uint32_t i = 0; i < found; ++i)
        std::printf("near: vertex %u, id %.8s, distance %.0f\n", nearest[i].vertex_index, nearest[i].token->hex_id,
                    nearest[i].distance);
    qel_alembic_free(&scene);
    return 0;
}
