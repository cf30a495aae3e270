// SPDX-License-Identifier: MIT
// The system's header on Windows, without its macros min and max and without rarely used parts. Empty elsewhere.
#pragma once

#if defined(_WIN32)
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#endif
