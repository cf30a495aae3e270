// SPDX-License-Identifier: MIT
// What is known about a file, and what is wrong with it.
#pragma once

#include "input.h"

#include <qel_unit.h>

#include <string>
#include <utility>
#include <vector>

namespace tool {

struct report {
    std::vector<std::pair<std::string, std::string>> facts; ///< name and value, in order
    std::vector<std::string> problems;                      ///< none in a sound file

    void fact(const std::string &name, const std::string &value) { facts.emplace_back(name, value); }
    void fact(const std::string &name, std::uint64_t value) { fact(name, std::to_string(value)); }
    void problem(const std::string &what) { problems.push_back(what); }
};

/// Counts what is wrong in the same way, and tells it once with the first place.
class tally {
  public:
    void found(std::uint64_t place) {
        if (count_++ == 0) first_ = place;
    }
    /// "3 tokens have …, the first is token 17".
    void tell(report &about, const char *noun, const std::string &what) const;

  private:
    std::uint64_t count_ = 0, first_ = 0;
};

/// How many bytes there are against how many the counts say.
void compare_sizes(report &about, std::uint64_t size, std::uint64_t expected);
/// Each of `count` triples has three finite numbers.
void check_finite(report &about, const std::string &what, const float *triples, std::uint64_t count);
/// A box is two finite corners in order.
void check_box(report &about, const std::string &what, const float *low, const float *high);
/// Each of `count` numbers is below `limit`.
void check_indices(report &about, const std::string &what, const std::uint32_t *numbers, std::uint64_t count,
                   std::uint64_t limit);
std::string box_text(const float *low, const float *high);

/// Everything about a file of any kind.
report examine(const input_file &file);

report examine_unit(const input_file &file);
report examine_agents(const input_file &file);
report examine_scene(const input_file &file);
report examine_cache(const input_file &file);
report examine_archive(const input_file &file);

/// What is wrong with a scene that was loaded from a file.
void check_scene(report &about, const qel_alembic_file &scene, const input_file &file);
/// Which blocks of a mapped cache lie in the file: without problems, its pointers may be followed.
void check_cache_layout(report &about, const qel_mesh &cache);
/// What stands in the blocks.
void check_cache_content(report &about, const qel_mesh &cache);
/// An archive's root lies behind its header.
void check_root(report &about, const input_file &file);
/// The archive's mesh: faces must name corners and vertices that exist.
bool check_faces(report &about, const ogawa_polymesh &mesh);

// Loads, or fails with the meaning of the library's code.
void load_scene(const input_file &file, qel_alembic_file &scene);
void map_cache(const input_file &file, qel_mesh &cache);
void load_unit(const input_file &file, qel_unit &unit);
void open_archive(const input_file &file, ogawa_archive &archive);

} // namespace tool
