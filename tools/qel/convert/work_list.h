// SPDX-License-Identifier: MIT
// The archives of a call and the folders of their results.
#pragma once

#include "commands.h"
#include "convert/many.h"

namespace tool {

/// Whether the call names one archive, whose results are put directly into the folder.
bool is_for_one(const convert_options &options);

/// Each archive with its own folder, in the order of the call; archives of the same name get numbers. For a shard, only
/// its part; folders are named as without shards.
std::vector<work> list_work(const convert_options &options);

} // namespace tool
