// SPDX-License-Identifier: MIT
// The messages for the library's codes in the tool.
#pragma once

#include "files/failure.h"

#include <qel_unit.h>

#include <initializer_list>

namespace tool {

struct meaning {
    int code;
    const char *text;
};
using meanings = std::initializer_list<meaning>;

inline const char *meaning_of(int code, meanings known) {
    for (const meaning &each : known)
        if (each.code == code) return each.text;
    return "unexpected code";
}

// Messages for failed loads and saves.
inline constexpr meanings unit_load_meanings = {
    {QEL_UNIT_LOAD_CANNOT_OPEN, "the file cannot be opened"},
    {QEL_UNIT_LOAD_TOO_SHORT, "its header is cut short"},
    {QEL_UNIT_LOAD_NOT_A_UNIT, "it is not a unit file"},
    {QEL_UNIT_LOAD_TOKENS_NO_MEMORY, "not enough memory for the tokens that its header claims"},
    {QEL_UNIT_LOAD_INDEX_NO_MEMORY, no_memory},
    {QEL_UNIT_LOAD_ORDER_NO_MEMORY, no_memory}};
inline constexpr meanings scene_load_meanings = {
    {QEL_ALEMBIC_LOAD_CANNOT_OPEN, "the file cannot be opened"},
    {QEL_ALEMBIC_LOAD_NOT_A_SCENE, "its header is cut short"}, // its magic has been checked
    {QEL_ALEMBIC_LOAD_UNKNOWN_VERSION, "its version is not supported"},
    {QEL_ALEMBIC_LOAD_NO_MEMORY, "not enough memory for what its counts claim"}};
inline constexpr meanings scene_save_meanings = {{QEL_ALEMBIC_SAVE_CANNOT_CREATE, "the file cannot be created"}};
inline constexpr meanings cache_load_meanings = {{QEL_MESH_LOAD_BAD_ARGUMENT, "no path"},
                                                 {QEL_MESH_LOAD_CANNOT_OPEN, "the file cannot be opened"},
                                                 {QEL_MESH_LOAD_CANNOT_MAP, "it cannot be mapped"},
                                                 {QEL_MESH_LOAD_NO_MEMORY, no_memory},
                                                 {QEL_MESH_LOAD_NOT_A_CACHE, "it is not a mesh cache"}};
inline constexpr meanings cache_save_meanings = {
    {QEL_MESH_SAVE_BAD_ARGUMENT, "the mesh is empty"},
    {QEL_MESH_SAVE_CANNOT_CREATE, "the file cannot be created"},
    {QEL_MESH_SAVE_INDEX_OUTSIDE, "a face names a vertex that does not exist"}};
inline constexpr meanings load_raw_meanings = {{QEL_ALEMBIC_LOAD_RAW_BAD_ARGUMENT, "the mesh is empty"},
                                               {QEL_ALEMBIC_LOAD_RAW_NO_MEMORY, no_memory}};

} // namespace tool
