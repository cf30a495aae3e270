// SPDX-License-Identifier: MIT
// Which archives a call converts, and where the results of each go.
#pragma once

#include "commands.h"
#include "convert/many.h"

namespace tool {

/// Whether the call names one archive, whose results go right into the folder.
bool is_for_one(const convert_options &options);

/// Each archive with the folder of its own, in the order of the call; those that are called the same get numbers. Of a
/// shard its part: the folders are those that they have without it.
std::vector<work> list_work(const convert_options &options);

} // namespace tool
