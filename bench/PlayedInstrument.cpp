// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/PlayedInstrument.h"

#include "bench/BenchSignals.h"

#include <algorithm>
#include <string>

namespace orphia::bench {

using host::Instrument;

std::shared_ptr<const host::EngineLibrary> Library() {
    static const std::shared_ptr<const host::EngineLibrary> library = host::EngineLibrary::Load();
    return library;
}

PlayedInstrument::PlayedInstrument(std::uint32_t rate, Load load, unsigned keys)
    : instrument(std::make_unique<Instrument>(Library(), rate, 1)), voice(Vowels().left),
      left(instrument->FramesPerBlock()), right(left), speaks(load != Load::Idle) {
    SetUp(load);
    for (unsigned key = 0; key < keys; ++key) {
        instrument->NoteOn(36 + key);
    }
    // Voices have started, smoothers have settled, and the pitch is found.
    for (int block = 0; block < 1000; ++block) {
        RunBlock();
    }
}

void PlayedInstrument::SetUp(Load load) {
    instrument->Set("PolyphonyMode", "12");
    for (const char* oscillator : {"Osc1", "Osc2"}) {
        const std::string prefix = std::string("Carrier_Oscillators_") + oscillator;
        instrument->Set(prefix + "Waveform", "1");
        instrument->Set(prefix + "Volume", "-20 dB");
        instrument->Set(prefix + "Coarse", "0 st");
    }
    instrument->Set("Carrier_Oscillators_Osc2Fine", "0.1");
    instrument->Set("Carrier_Oscillators_Osc2KeyTrack", "on");
    if (load != Load::Everything) {
        return;
    }
    instrument->Set("Carrier_PitchTrack", "on");
    instrument->Set("ChordGenerator_ChordOn", "on");
    for (int interval = 1; interval <= 25; ++interval) {
        instrument->Set("ChordGenerator_ChordKey" + std::to_string(interval), "on");
    }
    instrument->Set("FX_Enable", "on");
    // Reverb, phaser and overdrive: the costly ones.
    instrument->Set("FX1_ModuleType", "1");
    instrument->Set("FX2_ModuleType", "5");
    instrument->Set("FX3_ModuleType", "6");
}

void PlayedInstrument::RunBlock() {
    const std::size_t frames = left.size();
    if (position + frames > voice.size()) {
        position = 0;
    }
    const float* input[] = {voice.data() + position, voice.data() + position};
    float* output[] = {left.data(), right.data()};
    instrument->ProcessBlock(input, speaks ? 2 : 0, output);
    position += frames;
}

bool PlayedInstrument::IsHeard() const {
    return std::any_of(left.begin(), left.end(), [](float x) { return x != 0.0F; });
}

} // namespace orphia::bench
