// SPDX-License-Identifier: GPL-3.0-or-later
#include "soak/RandomPlayer.h"

#include "host/common/Errors.h"
#include "host/presets/NeutralStart.h"
#include "rigs/InstrumentRig.h"
#include "rigs/TestFiles.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace orphia::test {

using host::ParameterInfo;
using host::ParameterRole;
using host::ParameterSetting;
using std::uint32_t;
using std::uint8_t;

namespace {

const std::filesystem::path examples = ORPHIA_EXAMPLES;
/// The longest release is 20 s; modulation may double a setting.
constexpr double longestRelease = 45.0;
/// -80 dBFS.
constexpr float audible = 1e-4F;
constexpr int browsedPresets = 60;

} // namespace

RandomPlayer::RandomPlayer(const VoiceWatch& voiceWatch, uint32_t seed, SoakCounts& soakCounts)
    : watch(voiceWatch), counts(soakCounts), random(seed), instrument(Engine(), 44100, seed),
      speech(ReadSound(examples / "voice.flac").samples) {
    const host::PresetLibrary library{{}};
    std::vector<std::string> warnings;
    for (const auto& entry : library.Entries()) {
        presets.push_back(host::PresetLibrary::Load(entry, instrument.Catalog(), warnings));
    }
    presets.push_back(host::DefaultPreset(instrument.Catalog()));
    const auto root = examples.parent_path();
    sampleFiles = {examples / "voice.flac",  examples / "chord.flac", root / "presets/samples/beat.flac",
                   examples / "missing.wav", examples / "song.mid",   examples};
    instrument.SetOffline(true);
}

bool RandomPlayer::Happens(double perSecond) {
    const double perBlock = perSecond * instrument.FramesPerBlock() / instrument.SampleRate();
    return static_cast<double>(random()) < perBlock * static_cast<double>(std::mt19937::max());
}

double RandomPlayer::Seconds(std::size_t blocks) const {
    return static_cast<double>(blocks) * instrument.FramesPerBlock() / instrument.SampleRate();
}

void RandomPlayer::Play(double seconds) {
    for (double time = 0.0; time < seconds; time += Seconds(1)) {
        MakeMoves();
        RunBlock();
    }
}

void RandomPlayer::BrowsePresets() {
    for (int preset = 0; preset < browsedPresets; ++preset) {
        ChangePreset();
        RunBlock();
        counts.notes += instrument.NoteOn(36 + Below(36)) ? 1 : 0;
        RunBlock();
    }
}

void RandomPlayer::MakeMoves() {
    MoveKeys();
    if (Happens(4.0)) {
        MoveController();
    }
    if (Happens(5.0)) {
        TurnKnobs();
    }
    if (Happens(0.3)) {
        ChangeSample();
    }
    if (Happens(0.2)) {
        ChangePreset();
    }
    if (Happens(0.2)) {
        ChangeTempo();
    }
    if (Happens(0.5)) {
        ChangeVoice();
    }
    if (Happens(0.1)) {
        ++counts.resets;
        Below(2) == 0 ? instrument.Panic() : instrument.Reset();
    }
    if (Happens(0.05)) {
        ChangeRate();
    }
}

/// Notes of all channels, most of them in a small range so that they meet.
void RandomPlayer::MoveKeys() {
    if (Happens(8.0)) {
        const unsigned note = Below(4) == 0 ? Below(128) : 36 + Below(36);
        counts.notes += instrument.NoteOn(note, static_cast<float>(Below(128)) / 127.0F, Below(3)) ? 1 : 0;
    }
    if (Happens(20.0)) {
        instrument.NoteOff(36 + Below(36), Below(3));
    }
    if (Happens(0.1)) {
        instrument.AllNotesOff();
    }
}

void RandomPlayer::MoveController() {
    constexpr std::array<uint8_t, 12> numbers = {1, 6, 7, 11, 38, 64, 64, 74, 100, 101, 121, 123};
    const uint8_t number = Below(3) == 0 ? static_cast<uint8_t>(Below(128)) : numbers[Below(numbers.size())];
    constexpr std::array<uint8_t, 5> kinds = {0xA0, 0xB0, 0xB0, 0xD0, 0xE0};
    const auto status = static_cast<uint8_t>(kinds[Below(kinds.size())] | Below(16));
    const bool isController = (status & 0xF0) == 0xB0;
    instrument.Send(
        {status, isController ? number : static_cast<uint8_t>(Below(128)), static_cast<uint8_t>(Below(128))});
}

/// Some at a time, over their whole range and at its ends.
void RandomPlayer::TurnKnobs() {
    const auto& parameters = instrument.Catalog().Parameters();
    for (uint32_t knob = Below(20); knob > 0; --knob) {
        const ParameterInfo& info = parameters[Below(static_cast<uint32_t>(parameters.size()))];
        const float at = static_cast<float>(Below(129)) / 128.0F;
        instrument.Set({info.id, ParameterSetting::Scale::Position, at});
        ++counts.settings;
    }
}

void RandomPlayer::ChangeSample() {
    const uint32_t sample = Below(host::Instrument::sampleCount);
    if (Below(4) == 0) {
        instrument.ClearSample(sample);
        return;
    }
    try {
        instrument.LoadSample(sample, sampleFiles[Below(static_cast<uint32_t>(sampleFiles.size()))]);
        ++counts.loadedSamples;
    } catch (const host::FileError&) {
        ++counts.refusedSamples;
    }
}

void RandomPlayer::ChangePreset() {
    instrument.LoadPreset(presets[Below(static_cast<uint32_t>(presets.size()))]);
    ++counts.presets;
}

void RandomPlayer::ChangeTempo() {
    constexpr std::array<double, 4> odd = {0.0, 1.0, 999.0, 1e9};
    const double tempo = Below(8) == 0 ? odd[Below(odd.size())] : 20.0 + Below(280);
    instrument.SetTransport({tempo, static_cast<double>(Below(1000)) / 7.0, Below(5) != 0});
    ++counts.tempos;
}

void RandomPlayer::ChangeRate() {
    constexpr std::array<uint32_t, 5> rates = {44100, 44100, 48000, 32000, 96000};
    instrument.SetSampleRate(rates[Below(rates.size())]);
    ++counts.rates;
}

void RandomPlayer::ChangeVoice() {
    constexpr std::array<Voice, 6> kinds = {Voice::Speech, Voice::Speech, Voice::Speech,
                                            Voice::Noise,  Voice::Broken, Voice::None};
    voice = kinds[Below(kinds.size())];
    voiceChannels = voice == Voice::None ? 0 : 1 + Below(2);
}

void RandomPlayer::FillVoice() {
    constexpr std::array<float, 5> broken = {std::numeric_limits<float>::quiet_NaN(),
                                             std::numeric_limits<float>::infinity(), -1e30F, 1e-40F, 1.0F};
    for (float& sample : input) {
        position = (position + 1) % speech.size();
        switch (voice) {
        case Voice::Speech:
            sample = speech[position];
            break;
        case Voice::Noise:
            sample = static_cast<float>(Below(2001)) * 1e-3F - 1.0F;
            break;
        case Voice::Broken:
            sample = broken[Below(broken.size())];
            break;
        case Voice::None:
            sample = 0.0F;
            break;
        }
    }
}

void RandomPlayer::RunBlock() {
    const std::size_t frames = instrument.FramesPerBlock();
    input.resize(frames);
    output[0].resize(frames);
    output[1].resize(frames);
    FillVoice();
    const float* voices[2] = {input.data(), input.data()};
    float* sides[2] = {output[0].data(), output[1].data()};
    instrument.ProcessBlock(voices, voiceChannels, sides);
    peak = 0.0F;
    for (const auto& side : output) {
        for (const float sample : side) {
            peak = std::isfinite(sample) ? std::max(peak, std::abs(sample)) : HUGE_VALF;
        }
    }
    counts.badBlocks += std::isfinite(peak) ? 0 : 1;
    counts.heardBlocks += peak > audible ? 1 : 0;
    ++counts.blocks;
    if (counts.blocks % 64 == 0) {
        counts.mostVoices = std::max(counts.mostVoices, watch.Voices().size());
    }
}

void RandomPlayer::SetNeutral(const char* pattern) {
    const host::NeutralStart& neutral = host::NeutralStart::Get();
    for (const ParameterInfo& info : instrument.Catalog().Parameters()) {
        if (info.name.find(pattern) != std::string::npos) {
            instrument.Set({info.id, ParameterSetting::Scale::Position, neutral.Position(info.id)});
        }
    }
}

std::string RandomPlayer::EndAllNotes() {
    instrument.AllNotesOff();
    // What holds a voice without a key.
    for (const char* holds : {"VST3_CtrlSustainOnOff", "Carrier_PitchTrack", "Carrier_Oscillators_ADSR"}) {
        SetNeutral(holds);
    }
    for (double time = 0.0; time < longestRelease; time += Seconds(1)) {
        RunBlock();
        if (time > 1.0 && watch.Voices().empty()) {
            return {};
        }
    }
    return std::to_string(watch.Voices().size()) + " voices run, " + std::to_string(longestRelease) +
           " s after the last key was up";
}

std::string RandomPlayer::ComeToRest() {
    for (uint32_t sample = 0; sample < host::Instrument::sampleCount; ++sample) {
        instrument.ClearSample(sample);
    }
    instrument.SetSampleRate(44100);
    instrument.LoadPreset(presets.back());
    instrument.SetTransport({});
    instrument.TakeMessages();
    voice = Voice::None;
    voiceChannels = 0;
    float loudest = 0.0F;
    for (double time = 0.0; time < 1.0; time += Seconds(1)) {
        RunBlock();
        loudest = time < 0.5 ? 0.0F : std::max(loudest, peak);
    }
    return loudest < audible ? std::string()
                             : "nothing is played, and yet there are samples of " + std::to_string(loudest);
}

} // namespace orphia::test
