// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdio>
#include <cstdlib>

namespace orphia::fuzz {

/// Ends the program when something does not hold: what a fuzzer takes for a finding. On the standard output,
/// since the other one is closed to silence the codecs.
inline void Require(bool holds, const char* otherwise) {
    if (!holds) {
        std::printf("fault: %s\n", otherwise);
        std::fflush(stdout);
        std::abort();
    }
}

} // namespace orphia::fuzz
