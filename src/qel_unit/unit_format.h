// SPDX-License-Identifier: MIT
// The unit file: a 24-byte header, then the packed tokens. Nothing follows them.
#pragma once

#include "qel_unit/token.h"

#include <cstddef>
#include <cstdint>

namespace qel {

constexpr char unit_magic[4] = {'Q', 'E', 'L', '\0'};
constexpr std::uint32_t unit_version = 1;

#pragma pack(push, 1)
struct unit_header {
    char magic[4];         // "QEL" and a zero byte
    std::uint32_t version; // not checked when read
    std::uint32_t count;   // tokens that follow
    std::uint32_t extra;   // never interpreted
    std::int64_t saved_at; // seconds since 1970; ignored when read
};
#pragma pack(pop)

static_assert(sizeof(unit_header) == 24);
static_assert(offsetof(unit_header, version) == 4);
static_assert(offsetof(unit_header, count) == 8);
static_assert(offsetof(unit_header, extra) == 12);
static_assert(offsetof(unit_header, saved_at) == 16);

} // namespace qel
