// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "TestFiles.h"
#include "host/instrument/Instrument.h"
#include "host/parameters/ParameterText.h"
#include "host/player/BlockAdapter.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

/// Instruments of the library that was built along with the tests.
namespace orphia::test {

using Settings = std::vector<const char*>;

inline std::shared_ptr<const host::EngineLibrary> Engine() {
    static const auto library = host::EngineLibrary::Load(ORPHIA_ENGINE_LIBRARY);
    return library;
}

inline void Apply(host::Instrument& instrument, const Settings& settings) {
    for (const char* each : settings) {
        instrument.Set(host::ParseAssignment(instrument.Catalog(), each));
    }
}

/// With reproducible noise.
inline std::unique_ptr<host::Instrument> Ready(const Settings& settings = {}, std::uint32_t seed = 1) {
    auto instrument = std::make_unique<host::Instrument>(Engine(), 44100, seed);
    Apply(*instrument, settings);
    return instrument;
}

/// The next seconds, with a voice or without.
inline Sound Render(host::Instrument& instrument, double seconds, const Sound& voice = {}) {
    host::BlockAdapter adapter(instrument, host::BlockAdapter::Mode::WholeBlocks);
    const double rate = instrument.SampleRate();
    const auto blocks = static_cast<std::size_t>(seconds * rate) / instrument.FramesPerBlock();
    Sound sound;
    sound.sampleRate = static_cast<int>(rate);
    sound.samples.resize(2 * blocks * instrument.FramesPerBlock());
    std::vector<float> heard = voice.samples;
    if (!heard.empty()) {
        heard.resize(sound.samples.size());
    }
    adapter.Process(heard, sound.samples);
    return sound;
}

} // namespace orphia::test
