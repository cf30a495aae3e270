// SPDX-License-Identifier: MIT
// make_torus_archive OUTPUT.abc: writes the archive that the examples read by default.
#include "support/archive_writer.h"

#include <cstdio>

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_torus_archive OUTPUT.abc\n");
        return 2;
    }
    // 48 x 24 quads: the smallest round numbers whose arrays are all long enough to be recognized.
    using namespace qel::test;
    plain_mesh torus = make_torus(48, 24, 3.0f, 1.0f);
    // A plain array is recognized by its length alone. An odd number of triples is no number of
    // UVs, and this number of UVs no number of triples; the normals have another length, and so are not paired with
    // the tangents.
    torus.vertex_normals.insert(torus.vertex_normals.end(), 9, 0.0f);
    torus.vertex_uvs.insert(torus.vertex_uvs.end(), 2, 0.0f);
    torus.tangents.insert(torus.tangents.end(), 3, 0.0f);
    torus.bitangents.insert(torus.bitangents.end(), 3, 0.0f);
    production_archive(torus, {bytes_of(torus.vertex_normals), bytes_of(torus.vertex_uvs), bytes_of(torus.tangents),
                               bytes_of(torus.bitangents)})
        .save(argv[1]);
    return 0;
}
