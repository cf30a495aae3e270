// SPDX-License-Identifier: MIT
// The fixed workload: every function of the interfaces on generated inputs. Files are written to the current folder and
// named without one, since their names are part of some results.
#pragma once

#include "golden/digest.h"

namespace qel::test {

struct job {
    const char *name;
    void (*run)(digest &results);
};

// One list for each part of the library; the last entry has no name.
extern const job token_jobs[], archive_jobs[], mesh_jobs[], scene_jobs[], agent_jobs[], structure_jobs[];

} // namespace qel::test
