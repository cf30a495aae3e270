// SPDX-License-Identifier: MIT
#include "unit_page.h"

#include "examine/examined.h"
#include "examine/lattice.h"
#include "terminal/text.h"

#include <algorithm>

namespace web {

namespace {

constexpr std::uint64_t key_end = std::uint64_t{1} << 18;

std::uint8_t coordinate(std::uint64_t key, unsigned axis) {
    unsigned value = 0;
    for (unsigned bit = 0; bit < 6; ++bit)
        value |= static_cast<unsigned>(key >> (3 * bit + axis) & 1) << bit;
    return static_cast<std::uint8_t>(value);
}

qel_alembic_vertex vertex_of(const qel_token &token, const std::uint8_t *cell) {
    qel_alembic_vertex vertex{};
    for (int axis = 0; axis < 3; ++axis)
        vertex.position[axis] = cell[axis];
    vertex.matrix_x = cell[0];
    vertex.matrix_y = cell[1];
    vertex.matrix_z = cell[2];
    vertex.morton = token.morton;
    vertex.k11_level = static_cast<std::int8_t>(qel_matrix_48_k11_level(cell[0], cell[1], cell[2]));
    vertex.i_state = static_cast<std::int8_t>(qel_matrix_48_i_state(vertex.k11_level));
    vertex.phi_norm = qel_matrix_48_phi_norm(cell[0], cell[1], cell[2]);
    return vertex;
}

qel_alembic_token token_of(const qel_token &from) {
    qel_alembic_token token{};
    token.morton = from.morton;
    std::copy_n(from.hex_id, sizeof token.hex_id, token.hex_id);
    token.payload = from.payload;
    token.layer = from.layer;
    return token;
}

} // namespace

tool::page_model load_unit_page(const tool::input_file &file) {
    tool::examined(file).must_be_usable();
    tool::page_model model;
    model.kind = "unit";
    tool::page_mesh mesh;
    std::uint32_t outside = 0;
    const auto take = [&](std::uint64_t, const qel_token &token) {
        const std::uint8_t cell[3] = {coordinate(token.morton, 0), coordinate(token.morton, 1),
                                      coordinate(token.morton, 2)};
        if (token.morton >= key_end || *std::max_element(cell, cell + 3) >= tool::lattice_edge) {
            ++outside;
            return;
        }
        mesh.cells.insert(mesh.cells.end(), cell, cell + 3);
        mesh.positions.insert(mesh.positions.end(), cell, cell + 3);
        mesh.vertices.push_back(vertex_of(token, cell));
        mesh.tokens.push_back(token_of(token));
    };
    tool::each_record<qel_token>(file, file.header<tool::record_header>().count, take);
    if (outside > 0) model.notes.push_back(tool::counted(outside, "token") + " outside the cube of 48, left out.");
    model.objects.push_back({"tokens", -1, "Unit"});
    model.meshes.push_back(std::move(mesh));
    return model;
}

} // namespace web
