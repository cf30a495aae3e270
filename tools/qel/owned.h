// SPDX-License-Identifier: MIT
// Records of the library that release themselves; the examples have just what is wanted.
#pragma once

#include "step.h"

namespace tool {

using scene_record = example::scene;
using unit_record = example::unit;
using cache_record = example::mapped_mesh;
using archive_record = example::archive;
using polymesh_record = example::polymesh;

} // namespace tool
