// SPDX-License-Identifier: MIT
// Mesh cache files of any bytes: map, compare with the model, skin.
#include "harness.h"
#include "mesh_checks.h"

#include <fuzzer/FuzzedDataProvider.h>

using namespace qel;
using namespace qel::fuzz;

namespace {

/// A nearly valid file: blocks at the header's offsets, with a skin; some of its numbers are wrong.
bytes make_file(FuzzedDataProvider &fuzz) {
    const auto any_offset = [&fuzz](std::uint32_t truth) {
        if (fuzz.ConsumeIntegralInRange(0, 5) != 0) return truth;
        return fuzz.ConsumeBool() ? fuzz.ConsumeIntegral<std::uint32_t>()
                                  : truth + fuzz.ConsumeIntegral<std::uint8_t>() - 128u;
    };
    qel_mesh_header header = {};
    std::memcpy(header.magic, "QELM", 4);
    header.version = fuzz.ConsumeIntegral<std::uint8_t>();
    header.flags = fuzz.ConsumeIntegralInRange<std::uint16_t>(0, 7);
    header.vertex_count = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 60);
    header.triangle_count = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 60);
    header.reserved = fuzz.ConsumeIntegral<std::uint8_t>();
    const std::uint32_t triples = header.vertex_count * 2 + header.triangle_count;
    header.positions_offset = any_offset(64);
    header.normals_offset = any_offset(64 + header.vertex_count * 12);
    header.indices_offset = any_offset(64 + header.vertex_count * 24);
    header.skin_offset = any_offset(64 + triples * 12);
    const std::uint32_t joints = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 6);
    const std::uint32_t weights = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 80);
    header.joint_count = joints;
    bytes file;
    append(file, header);
    file.resize(file.size() + std::size_t{triples} * 12);
    append(file, any_offset(joints));
    for (std::uint32_t j = 0; j < joints; ++j) {
        qel_skin_joint joint = {};
        for (double &value : joint.joint_transform)
            value = fuzz.ConsumeBool() ? fuzz.ConsumeIntegral<std::int8_t>() : fuzz.ConsumeFloatingPoint<double>();
        append(file, joint);
    }
    append(file, any_offset(weights));
    for (std::uint32_t i = 0; i < weights; ++i) {
        qel_skin_weight weight = {};
        fuzz.ConsumeData(weight.joints, sizeof weight.joints);
        for (float &value : weight.weights)
            value = fuzz.PickValueInArray({0.0f, 0.5f, 1.0f, -1.0f, 1e-6f, 9e-7f, 3e38f, __builtin_nanf("")});
        append(file, weight);
    }
    file.resize(file.size() + 128);
    const std::size_t cut = fuzz.ConsumeBool() ? fuzz.ConsumeIntegral<std::uint16_t>() % file.size() : 0;
    file.resize(file.size() - cut);
    return file;
}

/// Every allocation of a load may fail: the header and the pointers do not change, the skin may be missing.
void run_out_of_memory(const bytes &content, std::uint64_t n, bool all_later) {
    const memory_file file(content);
    qel_mesh mesh;
    std::int32_t status;
    {
        const failing_heap heap = failing_heap::at(n, all_later);
        status = qel_mesh_load(file.path(), &mesh);
    }
    if (status == 0) {
        require(std::memcmp(&mesh.header, content.data(), std::min(content.size(), sizeof mesh.header)) == 0);
        if (mesh.skin != nullptr && (mesh.skin->joints == nullptr || mesh.skin->weights == nullptr)) {
            // Counts without arrays. The file's length bounds the counts.
            std::vector<double> poses(std::size_t{mesh.skin->joint_count} * 16 + 1);
            std::vector<float> positions(std::size_t{mesh.skin->weight_count} * 3 + 1);
            qel_skin_apply(mesh.skin, poses.data(), positions.data(), positions.data());
        }
    }
    qel_mesh_free(&mesh);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider fuzz(data, size);
    const heap_ledger heap;
    const int door = fuzz.ConsumeIntegralInRange(0, 4);
    const auto n = fuzz.ConsumeIntegralInRange<std::uint64_t>(1, 3);
    if (door < 2)
        check_cache_file(fuzz.ConsumeRemainingBytes<std::uint8_t>());
    else if (door < 4)
        check_cache_file(make_file(fuzz));
    else
        run_out_of_memory(make_file(fuzz), n, n % 2 == 0);
    require(heap.live() == 0);
    return 0;
}
