// SPDX-License-Identifier: MIT
// The commands and their options. Every command returns the exit status or throws failure.
#pragma once

#include "examine/archive_scene.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tool {

struct info_options {
    std::vector<std::string> names;
    bool json = false, quiet = false;
    bool by_bytes = false;              ///< of an archive, what a search of its bytes finds
    bool tree = false, verbose = false; ///< of an archive, all objects, and their properties
};
int info(const info_options &options);

struct dump_options {
    std::string name;
    std::string path;                    ///< of an archive, only this object and what is below it
    std::optional<std::uint32_t> sample; ///< only this one, or the last if there are fewer
    bool json = false;
    bool by_bytes = false; ///< of an archive, the mesh that a search of its bytes finds
};
int dump(const dump_options &options);

/// The results of a conversion.
enum part : unsigned { part_tokens = 1, part_scene = 2, part_cache = 4, part_agents = 8, all_parts = 15 };

/// Frame numbers `first` to `last`, each `step`-th.
struct frame_range {
    std::int32_t first = INT_MIN, last = INT_MAX, step = 1;
    bool has(std::int32_t number) const {
        return number >= first && number <= last && (std::int64_t{number} - first) % step == 0;
    }
};

struct whole_options {
    scene_choice meshes{false, true, {}};
    unsigned parts = all_parts;
    std::optional<std::int32_t> frame; ///< only this one
    std::optional<frame_range> range;  ///< else all frames
};

struct convert_options {
    std::vector<std::string> names; ///< archives, and folders of them
    std::vector<std::string> lists; ///< files that name further archives, one a line
    std::string folder;
    unsigned processes = 1;
    std::size_t shard = 1, shards = 1; ///< only this part of all archives, from 1
    bool resume = false;               ///< archives that are done are left out
    bool verbose = false, quiet = false, json = false;
    bool by_bytes = false; ///< convert the mesh that a search of the archive's bytes finds
    whole_options whole;
};
int convert(const convert_options &options);

struct nearest_options {
    std::vector<std::string> units; ///< and last the place, unless a position is given
    std::string place;
    std::string position, scene; ///< X,Y,Z in the world, and the scene whose meshes define the lattices
    int count = 8;
    bool packed = false; ///< X,Y,Z is a packed lattice vertex instead of a Morton code
    bool json = false;
};
int nearest(nearest_options options);

struct view_options {
    std::string input, page;
    std::uint64_t megabytes = 64; ///< of the page, at most
    bool by_bytes = false;        ///< show the mesh that a search of the archive's bytes finds
};
int view(const view_options &options);

struct completion_options {
    std::string shell, file = "-";
};

} // namespace tool
