// SPDX-License-Identifier: GPL-3.0-or-later
// Binds the program of one target to the fuzzer, whose main calls this name.
#include "fuzz/FuzzTargets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    orphia::fuzz::ORPHIA_FUZZ_TARGET({data, size});
    return 0;
}
