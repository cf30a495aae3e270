// SPDX-License-Identifier: MIT
// Annotated dumps on the pages of docs/, compared with real files.
#pragma once

#include "support/temp_folder.h"

#include <string>

namespace qel::test {

/// Expects that the dump after a heading of a page is the file's content. QEL_PRINT_DUMPS=1 prints the bytes, to
/// write the page from.
void expect_dump(const std::string &page, const std::string &heading, const bytes &file);

} // namespace qel::test
