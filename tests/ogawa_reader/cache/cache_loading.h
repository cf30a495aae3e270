// SPDX-License-Identifier: MIT
// Mesh cache files as they are loaded, and how tests query a loaded mesh.
#pragma once

#include "model/mesh_cache_model.h"
#include "ogawa_reader/cache/cache_cases.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#if defined(_WIN32)
#include <windows.h>

#include <psapi.h>
#endif

namespace qel::test {

/// A quad with vertex normals and a skin of 2 joints and 4 weights, as a file.
inline bytes whole_cache_file(const cache_skin &given) {
    cache_mesh mesh = quad();
    mesh.normals = {0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1};
    mesh.normal_scope = OGAWA_SCOPE_VERTEX;
    cache_skin skin = given;
    const qel_skin skin_record = skin.record();
    return model::save_mesh(mesh.record(), &skin_record).content;
}

inline cache_skin some_skin() {
    std::mt19937 random(70);
    return noise_skin(random, 2, 4);
}

inline constexpr std::size_t skin_at = 64 + 48 + 48 + 24; // in whole_cache_file

inline bool is_zero(const qel_mesh &mesh) {
    const bytes zeros(sizeof mesh, 0);
    return std::memcmp(&mesh, zeros.data(), sizeof mesh) == 0;
}

#if defined(_WIN32)
inline bool is_mapped(const std::string &path) {
    const std::filesystem::path whole(path);
    const std::string name = (whole.parent_path().filename() / whole.filename()).make_preferred().string();
    MEMORY_BASIC_INFORMATION region;
    const char *at = nullptr;
    for (; VirtualQuery(at, &region, sizeof region) != 0; at += region.RegionSize) {
        char file[1024];
        if (region.State != MEM_COMMIT || region.Type != MEM_MAPPED) continue;
        const DWORD size = K32GetMappedFileNameA(GetCurrentProcess(), region.BaseAddress, file, sizeof file);
        if (std::string(file, size).find(name) != std::string::npos) return true;
    }
    return false;
}
#else
inline bool is_mapped(const std::string &path) {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);)
        if (line.find(path) != std::string::npos) return true;
    return false;
}
#endif

class MeshCacheLoad : public testing::Test {
  protected:
    MeshCacheLoad() { std::memset(&mesh_, 0xEE, sizeof mesh_); }

    std::int32_t load(const bytes &file) {
        std::remove(path_.c_str()); // some file systems flush a file that is overwritten, and make this slow
        write_file(path_, file);
        return qel_mesh_load(path_.c_str(), &mesh_);
    }
    std::ptrdiff_t offset_of(const void *pointer) const {
        return static_cast<std::ptrdiff_t>(reinterpret_cast<std::uintptr_t>(pointer) -
                                           reinterpret_cast<std::uintptr_t>(mesh_.view));
    }
    /// Loads a file and compares everything with what the plain reader finds; then frees it.
    void expect_as_modelled(const bytes &file) {
        const heap_ledger ledger;
        const model::loaded_mesh expected = model::load_mesh(file);
        ASSERT_EQ(load(file), expected.status);
        if (expected.status != 0) {
            ASSERT_TRUE(is_zero(mesh_));
            return;
        }
        ASSERT_STREQ(model::difference(mesh_, file, expected), nullptr);
        qel_mesh_free(&mesh_);
        ASSERT_EQ(ledger.live(), 0u);
    }

    temp_folder folder_;
    std::string path_ = folder_.file("mesh.qelm");
    qel_mesh mesh_;
};

} // namespace qel::test
