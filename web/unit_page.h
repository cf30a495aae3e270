// SPDX-License-Identifier: MIT
#pragma once

#include "files/input.h"
#include "view/page_model.h"

namespace web {

/// A unit has no positions: both halves of the page show its tokens at their cells.
tool::page_model load_unit_page(const tool::input_file &file);

} // namespace web
