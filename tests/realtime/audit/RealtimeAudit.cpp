// SPDX-License-Identifier: GPL-3.0-or-later
#include "realtime/audit/RealtimeAudit.h"

#include "realtime/CallTrap.h"
#include "realtime/SystemCallTrap.h"
#include "rigs/InstrumentRig.h"

#include <algorithm>
#include <cmath>
#include <string_view>

namespace orphia::test {

using host::ParameterInfo;
using host::ParameterSetting;
using std::uint32_t;
using std::uint8_t;

namespace {

const std::filesystem::path examples = ORPHIA_EXAMPLES;
/// -80 dBFS.
constexpr float audible = 1e-4F;
/// Automation wears a preset away; after so much sound it is loaded again.
constexpr double longestStretch = 2.0;

/// The exceptions: another window of the tracker, and a stretch to the beat when it becomes very fast.
constexpr std::string_view trackerWindow = "AnalysisWindowSize";
bool MayAllocate(const ParameterInfo& info) {
    return info.name.ends_with(trackerWindow) || info.name.ends_with("TimeStretchSync") ||
           info.name.ends_with("TimeStretchBars");
}

/// Whether an effect runs, and which.
bool ChoosesEffect(const ParameterInfo& info) {
    return info.name.ends_with("_ModuleType") || info.name.ends_with("_Bypass") ||
           info.name.ends_with("FX_Enable");
}

} // namespace

RealtimeAudit::RealtimeAudit(uint32_t seed)
    : random(seed), instrument(Engine(), 44100, seed), speech(ReadSound(examples / "voice.flac").samples),
      seesTheSystem(SystemCallTrap::Prepare()) {
    std::vector<std::string> warnings;
    const host::PresetLibrary library{std::filesystem::path()}; // without those of a user
    for (const auto& entry : library.Entries()) {
        presets.push_back({entry.id, host::PresetLibrary::Load(entry, instrument.Catalog(), warnings)});
    }
    for (const ParameterInfo& info : instrument.Catalog().Parameters()) {
        if (info.IsSettable() && !MayAllocate(info)) {
            knobs.push_back(info.id);
            if (!ChoosesEffect(info)) {
                knobsButEffects.push_back(info.id);
            }
        }
    }
}

void RealtimeAudit::Run(double minutes) {
    constexpr double effectShare = 0.2;
    SwitchEffects(60.0 * minutes * effectShare);
    constexpr std::array<uint32_t, 4> rates = {44100, 48000, 44100, 96000};
    const double share = 60.0 * minutes * (1.0 - effectShare) / static_cast<double>(presets.size());
    for (const NamedPreset& preset : presets) {
        instrument.SetSampleRate(rates[counts.presets % rates.size()]);
        PlayPreset(preset, share);
        ++counts.presets;
    }
    MakeException();
}

/// The traps see what the library and its libraries do: in the end the tracker takes another window.
void RealtimeAudit::MakeException() {
    const auto tracks = [](const NamedPreset& preset) { return preset.id == "voice-harmony"; };
    instrument.LoadPreset(std::find_if(presets.begin(), presets.end(), tracks)->preset);
    const Counts before = counts;
    const std::string faultBefore = firstFault;
    const uint32_t id = instrument.Catalog().Find(trackerWindow).id;
    pending = {id, ParameterSetting::Scale::Position, instrument.Position(id) < 0.5F ? 1.0F : 0.0F};
    hasPending = true;
    Play(0.1);
    const std::uint64_t calls = counts.trappedCalls - before.trappedCalls;
    counts = before; // this is no part of the audit
    counts.callsOfException = calls;
    firstFault = faultBefore;
}

bool RealtimeAudit::StretchesToTheBeat() const {
    const auto& parameters = instrument.Catalog().Parameters();
    return std::any_of(parameters.begin(), parameters.end(), [this](const ParameterInfo& info) {
        return info.name.ends_with("TimeStretchSync") && instrument.Value(info.id) > 0.5F;
    });
}

/// From each effect to each other one, in each slot, while all other knobs move.
void RealtimeAudit::SwitchEffects(double share) {
    const double perSwitch = share / (2.0 * static_cast<double>(allSwitches));
    for (uint32_t slot = 0; slot < effectSlots; ++slot) {
        const std::string name = "FX" + std::to_string(slot + 1) + "_ModuleType";
        const ParameterInfo& info = instrument.Catalog().Find(name);
        const auto choose = [&](uint32_t effect) {
            pending = {info.id, ParameterSetting::Scale::Position,
                       static_cast<float>(effect) / static_cast<float>(effectCount - 1)};
            hasPending = true;
            Play(perSwitch);
        };
        for (uint32_t from = 0; from < effectCount; ++from) {
            instrument.LoadPreset(presets[Below(static_cast<uint32_t>(presets.size()))].preset);
            instrument.Set("FX_Enable", "on");
            followsTheBeat = StretchesToTheBeat();
            turned = &knobsButEffects;
            for (uint32_t to = 0; to < effectCount; ++to) {
                if (to != from) {
                    situation = name + " " + std::to_string(from) + " to " + std::to_string(to);
                    choose(from);
                    choose(to);
                    ++counts.switches;
                }
            }
        }
    }
    turned = &knobs;
}

void RealtimeAudit::PlayPreset(const NamedPreset& preset, double share) {
    situation = "preset " + preset.id;
    for (double played = 0.0; played < share; played += longestStretch) {
        instrument.LoadPreset(preset.preset);
        followsTheBeat = StretchesToTheBeat();
        Play(std::min(longestStretch, share - played));
    }
}

void RealtimeAudit::Play(double share) {
    constexpr int fewestBlocks = 4;
    const double end = seconds + share;
    for (int block = 0; block < fewestBlocks || seconds < end; ++block) {
        RunBlock();
    }
}

void RealtimeAudit::MakeMoves() {
    if (hasPending) {
        instrument.Set(pending);
        hasPending = false;
    }
    TurnKnobs();
    SendMessages();
    MoveSong();
}

/// Up to 16 in a block of a millisecond, over their whole range and at its ends.
void RealtimeAudit::TurnKnobs() {
    for (uint32_t knob = Below(17); knob > 0; --knob) {
        lastKnob = (*turned)[Below(static_cast<uint32_t>(turned->size()))];
        const float at = static_cast<float>(Below(129)) / 128.0F;
        Below(8) == 0 ? instrument.Control(lastKnob, instrument.Value(lastKnob))
                      : instrument.Set({lastKnob, ParameterSetting::Scale::Position, at});
        ++counts.settings;
    }
}

/// Notes on and off, and any other message of a channel; in some blocks more than one takes.
void RealtimeAudit::SendMessages() {
    constexpr std::array<uint8_t, 8> kinds = {0x90, 0x90, 0x80, 0xA0, 0xB0, 0xC0, 0xD0, 0xE0};
    const uint32_t number = Below(200) == 0 ? 300 : Below(4);
    for (uint32_t message = 0; message < number; ++message) {
        const auto status = static_cast<uint8_t>(kinds[Below(kinds.size())] | Below(16));
        const uint32_t first = Below(2) == 0 ? 36 + Below(48) : Below(128);
        instrument.Send({status, static_cast<uint8_t>(first), static_cast<uint8_t>(Below(128))});
        ++counts.messages;
    }
    if (Below(2000) == 0) {
        Below(2) == 0 ? instrument.Panic() : instrument.AllNotesOff();
    }
}

void RealtimeAudit::MoveSong() {
    if (Below(20) == 0) {
        constexpr std::array<double, 4> odd = {0.0, 1.0, 999.0, 1e9};
        const double tempo = !followsTheBeat && Below(16) == 0 ? odd[Below(odd.size())] : 20.0 + Below(280);
        instrument.SetTransport({tempo, static_cast<double>(Below(1000)) / 7.0, Below(5) != 0});
        ++counts.tempos;
    }
}

void RealtimeAudit::RunBlock() {
    const std::size_t frames = instrument.FramesPerBlock();
    for (auto& buffer : buffers) {
        buffer.resize(frames);
    }
    for (float& sample : buffers[0]) {
        position = (position + 1) % speech.size();
        sample = speech[position];
    }
    const float* voice[2] = {buffers[0].data(), buffers[0].data()};
    float* output[2] = {buffers[1].data(), buffers[2].data()};
    const uint32_t voiceChannels = Below(3);
    long systemCall = SystemCallTrap::none;
    std::size_t calls = 0;
    std::string firstCall;
    {
        const CallTrap callTrap;
        {
            const SystemCallTrap systemTrap;
            MakeMoves();
            instrument.ProcessBlock(voice, voiceChannels, output);
            instrument.TakeMeters();
            systemCall = systemTrap.FirstCall();
        }
        calls = callTrap.Count();
        firstCall = callTrap.FirstCall();
    }
    counts.trappedCalls += calls;
    if (systemCall != SystemCallTrap::none) {
        ++counts.systemCalls;
        firstCall += (firstCall.empty() ? "" : ", ") + ("system call " + std::to_string(systemCall));
    }
    if (!firstCall.empty() && firstFault.empty()) {
        NoteFault(firstCall);
    }
    const auto isHeard = [](float sample) { return std::abs(sample) > audible; };
    counts.heardBlocks += std::any_of(buffers[1].begin(), buffers[1].end(), isHeard) ? 1 : 0;
    ++counts.blocks;
    seconds += static_cast<double>(frames) / instrument.SampleRate();
}

void RealtimeAudit::NoteFault(const std::string& call) {
    firstFault = call + " in block " + std::to_string(counts.blocks) + ", " + situation + ", after " +
                 instrument.Catalog().Parameters()[lastKnob].name;
}

} // namespace orphia::test
