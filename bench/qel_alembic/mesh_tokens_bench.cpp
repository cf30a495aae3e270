// SPDX-License-Identifier: MIT
// Processing a mesh into vertex records and tokens.
#include "model/topology_model.h"
#include "qel_alembic/scene_inputs.h"
#include "support/growth.h"
#include "support/limits.h"
#include "support/rows.h"
#include "support/side_by_side.h"

namespace qel::bench {

namespace {

/// An unprocessed mesh record that borrows its arrays.
qel_alembic_mesh unprocessed(triangle_mesh &mesh) {
    qel_alembic_mesh record = {};
    record.vertex_count = mesh.vertex_count();
    record.face_count = mesh.face_count();
    record.positions = mesh.positions.data();
    record.indices = mesh.indices.data();
    return record;
}

void drop_records(qel_alembic_mesh &record) {
    std::free(record.vertices);
    std::free(record.tokens);
    record.vertices = nullptr;
    record.tokens = nullptr;
    std::memset(record.bounds, 0, sizeof record.bounds);
}

contender processing(qel_alembic_mesh &record) {
    return {[&record] { qel_alembic_process_mesh(&record, 1); }, [&record] { drop_records(record); }};
}

/// For each vertex all faces are examined.
void process_plainly(const triangle_mesh &mesh, model::processed_mesh &out) {
    float bounds[6];
    qel_alembic_compute_bounds(mesh.positions.data(), mesh.vertex_count(), bounds);
    out = model::process_mesh(mesh.positions, mesh.indices, bounds, 1);
}

bool same_as_plain(triangle_mesh &mesh) {
    qel_alembic_mesh record = unprocessed(mesh);
    qel_alembic_process_mesh(&record, 1);
    model::processed_mesh plain;
    process_plainly(mesh, plain);
    const std::size_t count = plain.vertices.size();
    const bool same = std::memcmp(record.vertices, plain.vertices.data(), count * sizeof *record.vertices) == 0 &&
                      std::memcmp(record.tokens, plain.tokens.data(), count * sizeof *record.tokens) == 0;
    drop_records(record);
    return same;
}

void process(benchmark::State &state, std::size_t vertices, double model_target = no_target,
             double limit_target = no_target) {
    triangle_mesh small(1000), mesh(vertices);
    if (!agree_with_model(state, "the plain records differ", [&] { return same_as_plain(small); })) return;
    report_size(state, mesh.vertex_count());
    qel_alembic_mesh record = unprocessed(mesh);
    model::processed_mesh plain;
    side_by_side(state, processing(record))
        .model({[&] { process_plainly(mesh, plain); }, [&] { plain = {}; }}, model_target)
        .limit("streaming its inputs and outputs", {[&] {
                   stream_read(mesh.positions);
                   stream_read(mesh.indices);
                   stream_fill(mesh.vertex_count() * (sizeof(qel_alembic_vertex) + sizeof(qel_alembic_token)));
               }},
               limit_target)
        .measure();
}

/// Processes into the arrays of the previous call, so without the system's cost of fresh memory.
void process_again(benchmark::State &state) {
    triangle_mesh mesh(sized(50000, 1000));
    qel_alembic_mesh record = unprocessed(mesh);
    qel_alembic_process_mesh(&record, 1);
    std::vector<unsigned char> outputs(mesh.vertex_count() * (sizeof(qel_alembic_vertex) + sizeof(qel_alembic_token)));
    side_by_side(state, {[&] { qel_alembic_process_mesh(&record, 1); }})
        .limit("streaming its inputs and outputs", {[&] {
                   stream_read(mesh.positions);
                   stream_read(mesh.indices);
                   std::memset(outputs.data(), 0x5A, outputs.size());
                   keep(outputs.data());
               }})
        .measure();
    drop_records(record);
}

void process_large(benchmark::State &state) {
    triangle_mesh mesh(sized(1000000, 2000)), smaller(sized(50000, 1000));
    qel_alembic_mesh record = unprocessed(mesh), smaller_record = unprocessed(smaller);
    side_by_side(state, processing(record)).limit("the 50 k mesh", processing(smaller_record), 25).measure();
}

} // namespace

void add_mesh_token_rows() {
    row("process mesh", "50 k vertices, 100 k faces", [](auto &state) { process(state, sized(50000, 1000), 1000, 3); });
    row("process mesh into the same arrays", "50 k vertices, 100 k faces", process_again);
    row("process mesh", "1 M vertices, 2 M faces", process_large);
    growth("process mesh", "vertex", 20'000'000, [](auto &state, std::size_t vertices) { process(state, vertices); });
}

} // namespace qel::bench
