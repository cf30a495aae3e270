// SPDX-License-Identifier: MIT
// Reading archives: well-formed ones, ones without a tree, and ones with wrong sizes and counts.
#include "golden/inputs.h"
#include "golden/jobs.h"
#include "golden/records.h"
#include "support/archive_writer.h"

#include <qel_unit.h>

#include <cstdlib>

namespace qel::test {
namespace {

/// Everything that can be read from one open archive.
void read_everything(digest &results, ogawa_archive &archive) {
    ogawa_object object{};
    std::strcpy(object.name, "sheet");
    std::strcpy(object.path, "/scene/sheet");
    ogawa_polymesh mesh;
    results.add(ogawa_read_polymesh(&archive, &object, 0, &mesh));
    add_polymesh(results, mesh);
    ogawa_free_polymesh(&mesh);

    const ogawa_polymesh *const first = ogawa_get_first_polymesh(&archive);
    results.add(first != nullptr);
    if (first != nullptr) add_polymesh(results, *first);
    results.add(ogawa_get_first_polymesh(&archive) == first);

    float *values = nullptr;
    std::uint32_t *indices = nullptr, count = 0, scope = 0;
    results.add(ogawa_read_positions(&archive, nullptr, 0, &values, &count));
    results.add_array(values, std::uint64_t{count} * 3);
    std::free(values);
    values = nullptr;
    count = 0;
    results.add(ogawa_read_normals(&archive, nullptr, 0, &values, &indices, &count, &scope));
    results.add_array(values, std::uint64_t{count} * 3);
    results.add(scope);
    std::free(values);

    ogawa_uv_set uvs{};
    results.add(ogawa_read_uvs(&archive, nullptr, 0, 0, &uvs));
    add_uv_set(results, uvs);
    ogawa_free_uv_set(&uvs);
    ogawa_tangent_frame frame{};
    results.add(ogawa_read_tangent_frame(&archive, nullptr, 0, &frame));
    add_tangent_frame(results, frame);
    ogawa_free_tangent_frame(&frame);
    qel_skin skin;
    results.add(ogawa_read_skinning(&archive, nullptr, &skin));
    results.add(skin.joint_count);
}

void read_archive(digest &results, const bytes &content) {
    write_file("golden.abc", content);
    ogawa_archive archive;
    const int status = ogawa_open("golden.abc", &archive);
    results.add(status);
    results.add(std::string(archive.path));
    results.add_array(archive.version, 2);
    results.add(archive.time_end, archive.fps);
    char text[512];
    ogawa_get_info(&archive, text, sizeof text);
    results.add(std::string(text));
    ogawa_get_info(&archive, text, 40);
    results.add(std::string(text));
    if (status == 0) read_everything(results, archive);
    ogawa_close(&archive);
}

/// As production tools write them, with arrays for each of the byte searches.
void whole_archives(digest &results) {
    const plain_mesh sheet = make_sheet(11, 40, 30);
    const archive_writer archive = production_archive(sheet, {bytes_of(sheet.vertex_normals), bytes_of(sheet.tangents),
                                                              bytes_of(sheet.bitangents), bytes_of(sheet.vertex_uvs)});
    results.add_bytes(archive.content().data(), archive.size());
    read_archive(results, archive.content());
    plain_mesh bare = make_sheet(12, 60, 40);
    bare.corner_normals.clear();
    bare.corner_uvs.clear();
    read_archive(results, production_archive(bare).content());
}

/// No tree: only bytes that pass for positions, normals and indices.
void byte_search(digest &results) {
    const plain_mesh sheet = make_sheet(13, 30, 30);
    archive_writer archive;
    archive.data(bytes_of(sheet.positions));
    archive.data(bytes_of(sheet.corner_normals));
    archive.data(bytes_of(make_grid(30, 30, true).face_indices));
    read_archive(results, archive.content());
    archive_writer positions_alone;
    positions_alone.pad_to(1500, 0x11);
    positions_alone.data(bytes_of(sheet.positions));
    read_archive(results, positions_alone.content());
}

/// A container of groups that refer to anything before them, with sizes and counts that need not be true.
archive_writer damaged_archive(noise &random) {
    archive_writer archive;
    std::vector<std::uint64_t> nodes = {archive_writer::empty_group, archive_writer::empty_data};
    const auto any_node = [&] { return nodes[random.below(static_cast<std::uint32_t>(nodes.size()))]; };
    for (int i = 0; i < 60; ++i) {
        if (random.below(3) == 0) {
            std::vector<std::uint64_t> children(random.below(6));
            for (std::uint64_t &child : children)
                child = any_node();
            nodes.push_back(archive.group_claiming(children.size() + (random.below(8) == 0 ? 2 : 0), children));
            continue;
        }
        std::vector<float> values;
        const bool units = random.below(2) == 0;
        const std::uint32_t count = random.below(random.below(4) == 0 ? 2000 : 100);
        while (values.size() < count * 3)
            if (units)
                append_unit_vector(random, values);
            else
                values.push_back(random.coordinate(200));
        if (!values.empty() && random.below(2) == 0)
            random.set_any(values[random.below(static_cast<std::uint32_t>(values.size()))]);
        const bytes payload = random.below(2) == 0 ? archive_writer::with_digest(bytes_of(values)) : bytes_of(values);
        nodes.push_back(archive.data_claiming(payload.size() + (random.below(6) == 0 ? 12 : 0), payload));
    }
    archive.finish(archive.group({any_node(), any_node(), any_node(), nodes.back()}));
    return archive;
}

void damaged_archives(digest &results) {
    noise random(14);
    for (int i = 0; i < 12; ++i) {
        bytes content = damaged_archive(random).content();
        if (i % 3 == 0) content.resize(content.size() - random.below(static_cast<std::uint32_t>(content.size() / 2)));
        read_archive(results, content);
    }
    const bytes whole = production_archive(make_sheet(15, 3, 3)).content();
    for (std::ptrdiff_t size = 0; size < 20; ++size) // within the header
        read_archive(results, bytes(whole.begin(), whole.begin() + size));
    ogawa_archive archive;
    results.add(ogawa_open("missing.abc", &archive));
}

void schemas(digest &results) {
    for (const char *text : {"AbcGeom_PolyMesh_v1", "AbcGeom_SubD_v1", "Points", "Xform", "Curves", "Camera",
                             "SubD PolyMesh", "polymesh", ""})
        results.add(ogawa_schema_from_string(text));
    for (ogawa_schema schema = 0; schema < 10; ++schema)
        results.add(std::string(ogawa_schema_to_string(schema)));
    auto *const object = static_cast<ogawa_object *>(std::calloc(1, sizeof(ogawa_object)));
    ogawa_free_object(object);
}

} // namespace

const job archive_jobs[] = {{"whole_archives", whole_archives},
                            {"byte_search", byte_search},
                            {"damaged_archives", damaged_archives},
                            {"schemas", schemas},
                            {nullptr, nullptr}};

} // namespace qel::test
