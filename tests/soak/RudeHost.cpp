// SPDX-License-Identifier: GPL-3.0-or-later
#include "soak/RudeHost.h"

#include "rigs/InstrumentRig.h"

#include <array>
#include <chrono>
#include <cmath>
#include <thread>

namespace orphia::test {

using std::uint32_t;
using std::uint8_t;

namespace {

constexpr uint32_t sampleCount = 12;
constexpr double blockSeconds = RandomHost::blockSize / 44100.0;
constexpr double longestRelease = 45.0;
constexpr float audible = 1e-4F;

uint32_t IdOf(const char* name) { return host::ParameterCatalog::OfInstrument().Find(name).id; }

} // namespace

RudeHost::RudeHost(const VoiceWatch& voiceWatch, uint32_t seed, SoakCounts& soakCounts)
    : watch(voiceWatch), counts(soakCounts), host(seed, Engine()->CreateProcessor(seed)) {}

void RudeHost::Play(double seconds) {
    for (double time = 0.0; time < seconds; time += blockSeconds) {
        if (host.Below(8) == 0) {
            MakeCalls();
        }
        if (host.Below(200) == 0) {
            host.NoteOn(static_cast<uint8_t>(36 + host.Below(36)));
            ++counts.notes;
        }
        if (host.Below(5000) == 0) {
            host.LoadPreset();
            ++counts.presets;
        }
        if (host.Below(5000) == 0) {
            Initialize();
        }
        Block(4 * host.Below(12));
    }
}

void RudeHost::MakeCalls() {
    for (uint32_t call = host.Below(8); call > 0; --call) {
        host.SetAnything();
        ++counts.settings;
    }
    for (uint32_t event = host.Below(4); event > 0; --event) {
        host.PushAnything();
    }
    if (host.Below(100) == 0) {
        const std::string examples = ORPHIA_EXAMPLES;
        const std::array<std::string, 4> paths = {
            examples + "/voice.flac", examples + "/chord.flac", {}, examples + "/missing.flac"};
        SendPath(host.Below(sampleCount), paths[host.Below(paths.size())]);
    }
    if (host.Below(20) == 0) {
        host.tempo = host.AnyNumber();
        host.songPosition = host.AnyNumber();
        ++counts.tempos;
    }
}

void RudeHost::SendPath(uint32_t sample, const std::string& path) {
    static const uint32_t firstPath = IdOf("Modulator_Sample1_Path");
    auto size = static_cast<uint32_t>(path.size());
    host.processor->SetParameterData(firstPath + sample, path.data(), &size);
}

void RudeHost::Initialize() {
    const Velmora::Processor::ProcessorSetup setUp{44100.0F};
    host.processor->Initialize(&setUp);
    ++counts.resets;
}

void RudeHost::Block(uint32_t frames) {
    const float odd = host.AnyNumber();
    host.Block(frames, host.Below(3), host.Below(4) == 0 ? &odd : nullptr);
    counts.badBlocks += frames == 0 || std::isfinite(host.Peak()) ? 0 : 1;
    counts.heardBlocks += host.Peak() > audible ? 1 : 0;
    ++counts.blocks;
}

std::string RudeHost::EndAllNotes() {
    for (uint8_t channel = 0; channel < 16; ++channel) {
        for (uint8_t note = 0; note < 128; ++note) {
            const uint8_t midi[3] = {static_cast<uint8_t>(0x80 | channel), note, 0};
            host.processor->PushEvent(midi);
        }
        Block();
    }
    static const uint32_t pedal = IdOf("VST3_CtrlSustainOnOff");
    static const uint32_t follow = IdOf("Carrier_PitchTrack");
    static const uint32_t envelope = IdOf("Carrier_Oscillators_ADSR_Attack");
    host.processor->SetParameter(pedal, 0.0F);
    host.processor->SetParameter(follow, 0.0F);
    host.Restore(envelope, IdOf("Carrier_Oscillators_ADSR_ControlRate") + 1);
    for (double time = 0.0; time < longestRelease; time += blockSeconds) {
        Block();
        if (time > 1.0 && watch.Voices(1).empty()) {
            return {};
        }
    }
    return std::to_string(watch.Voices(1).size()) + " voices run, " + std::to_string(longestRelease) +
           " s after the last key was up";
}

std::string RudeHost::ComeToRest() {
    for (uint32_t sample = 0; sample < sampleCount; ++sample) {
        SendPath(sample, {});
    }
    host.tempo = 120.0F;
    host.songPosition = 0.0F;
    Initialize();
    host.LoadPreset();
    for (host.processor->Idle(); host.processor->IsLoading(); host.processor->Idle()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    const float silence = 0.0F;
    float loudest = 0.0F;
    for (double time = 0.0; time < 1.0; time += blockSeconds) {
        host.Block(RandomHost::blockSize, 2, &silence);
        loudest = time < 0.5 ? 0.0F : std::max(loudest, host.Peak());
    }
    return loudest < audible ? std::string()
                             : "nothing is played, and yet there are samples of " + std::to_string(loudest);
}

} // namespace orphia::test
