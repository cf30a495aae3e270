// SPDX-License-Identifier: MIT
// A straightforward agent directory on the library's own records, without a file. tests/model/agent_model.h defines the
// correct result.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel::baseline {

/// A directory without a file; null without memory.
qel_agent_dir *agent_init();
void agent_free(qel_agent_dir *dir);

std::int32_t agent_spawn(qel_agent_dir *dir, const char *parent, std::uint8_t type, std::uint8_t tier, std::uint8_t tag,
                         char *id_out);
std::uint32_t agent_monitor(const qel_agent_dir *dir, const char *pattern, char *ids_out, std::int32_t max);

} // namespace qel::baseline
