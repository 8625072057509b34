// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/instrument/Instrument.h"

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace orphia::bench {

/// The instrument as hosts have it, through its library, with a voice on its input. Buffers for one block.
class PlayedInstrument {
public:
    /// What it has to do beside the vocoder.
    enum class Load { Idle, Voices, Everything };

    /// Idle: no sound and no key. Voices: a voice speaks, and so many keys hold saw voices of two
    /// oscillators. Everything: also the 25 voices that follow the pitch, and three effects.
    PlayedInstrument(std::uint32_t rate, Load load, unsigned keys);

    void RunBlock();
    host::Instrument& Engine() { return *instrument; }
    /// False when the last block was silent.
    bool IsHeard() const;
    /// What the left side had in the last block.
    const std::vector<float>& Left() const { return left; }

private:
    void SetUp(Load load);

    std::unique_ptr<host::Instrument> instrument;
    std::vector<float> voice;
    std::vector<float> left;
    std::vector<float> right;
    std::size_t position = 0;
    bool speaks = false;
};

/// The library, loaded once.
std::shared_ptr<const host::EngineLibrary> Library();

} // namespace orphia::bench
