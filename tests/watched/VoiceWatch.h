// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/DynamicLibrary.h"

#include <cstdint>
#include <stdexcept>
#include <vector>

namespace orphia::test {

/// What the watched library, which must be the engine of these tests, tells beside what all engines do.
class VoiceWatch {
public:
    VoiceWatch() : library(ORPHIA_ENGINE_LIBRARY) {
        list =
            library.FindFunction<std::uint32_t(std::uint32_t, std::uint32_t*, std::uint32_t)>("ListVoices");
        if (list == nullptr) {
            throw std::runtime_error("the engine tells no voices");
        }
    }

    /// The voices that ran in the last block of a processor, counted from 0 in the order of their making.
    std::vector<std::uint32_t> Voices(std::uint32_t processor = 0) const {
        constexpr std::uint32_t slots = 57;
        std::vector<std::uint32_t> voices(slots);
        voices.resize(list(processor, voices.data(), slots));
        return voices;
    }

private:
    Velmora::Platform::DynamicLibrary library;
    std::uint32_t (*list)(std::uint32_t, std::uint32_t*, std::uint32_t) = nullptr;
};

} // namespace orphia::test
