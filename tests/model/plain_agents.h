// SPDX-License-Identifier: MIT
// The agent directory's memory step by step, on the library's own records: the straightforward way, to compare its
// cost. agent_model says what is right.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel::model {

/// A directory without a file; null without memory.
qel_agent_dir *plain_agent_init();
void plain_agent_free(qel_agent_dir *dir);

std::int32_t plain_agent_spawn(qel_agent_dir *dir, const char *parent, std::uint8_t type, std::uint8_t tier,
                               std::uint8_t tag, char *id_out);
std::uint32_t plain_agent_monitor(const qel_agent_dir *dir, const char *pattern, char *ids_out,
                                  std::int32_t max);

} // namespace qel::model
