// SPDX-License-Identifier: MIT
// What main.cpp dispatches to. Every command returns the exit status or throws failure.
#pragma once

#include "convert/whole.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tool {

struct info_options {
    std::vector<std::string> names;
    bool json = false, quiet = false;
    bool by_bytes = false;              ///< of an archive, what is found by the look of its bytes
    bool tree = false, verbose = false; ///< of an archive, all objects, and their properties
};
int info(const info_options &options);

struct dump_options {
    std::string name;
    std::string path;                    ///< of an archive, only this object and what is below it
    std::optional<std::uint32_t> sample; ///< only this one, or the last where there are fewer
    bool json = false;
    bool by_bytes = false; ///< of an archive, the mesh that is found by the look of its bytes
};
int dump(const dump_options &options);

struct convert_options {
    std::vector<std::string> names; ///< archives, and folders of them
    std::vector<std::string> lists; ///< files that name more of them, a line each
    std::string folder;
    unsigned processes = 1;
    std::size_t shard = 1, shards = 1; ///< of all archives only the part with this number, from 1
    bool resume = false;               ///< those that are done are left out
    bool verbose = false, quiet = false, json = false;
    bool by_bytes = false; ///< a mesh is found by the look of an archive's bytes
    job::whole_options whole;
};
int convert(const convert_options &options);

struct nearest_options {
    std::vector<std::string> units; ///< and behind them the place, where no position is given
    std::string around;
    std::string position, scene; ///< X,Y,Z in the world, and the scene whose meshes lay the lattices
    int count = 8;
    bool packed = false; ///< X,Y,Z is a packed lattice vertex instead of a Morton code
    bool json = false;
};
int nearest(nearest_options options);

struct view_options {
    std::string input, page;
    std::uint64_t megabytes = 64; ///< at most, of the page
    bool by_bytes = false;        ///< an archive's mesh is found by the look of its bytes
};
int view(const view_options &options);

struct completion_options {
    std::string shell, file = "-";
};

} // namespace tool
