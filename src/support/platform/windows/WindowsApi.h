// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// The system's header without its rarely used parts and without its min and max.
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif

#include <windows.h>
