// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "golden/Scene.h"
#include "rigs/TestFiles.h"

#include <cstddef>

namespace orphia::test {

struct Recording {
    Sound sound;
    /// Of the carrier's voices, followed from block to block.
    std::size_t startedVoices = 0;
    std::size_t endedVoices = 0;
    std::size_t mostVoices = 0;
};

/// Plays a scene with an instrument of its own, with fixed seeds. Throws when its preset or samples are not
/// there.
Recording Play(const Scene& scene);

} // namespace orphia::test
