// SPDX-License-Identifier: GPL-3.0-or-later
// Plays the instrument, from the library that hosts load, with more automation than any song has, and counts
// the calls that its audio thread must not make: those that CallTrap knows, and any call of the system.
//
// What is done between the blocks, such as loading a preset, is not for an audio thread and not counted; the
// blocks that follow it are.
//
//   orphia_realtime_audit [MINUTES [SEED]]
#include "host/presets/PresetLibrary.h"
#include "realtime/CallTrap.h"
#include "rigs/InstrumentRig.h"
#include "rigs/RandomPlayer.h"

#include <cstdio>
#include <cstdlib>
#include <optional>

namespace {

using namespace orphia;
using namespace orphia::test;

constexpr u32 effectCount = 12;
constexpr u32 slotCount = 3;
/// Ordered pairs of effects, each slot for itself.
constexpr std::size_t allSwitches = slotCount * effectCount * (effectCount - 1);
/// Automation wears a preset away; after so much sound it is loaded again.
constexpr double longestStretch = 2.0;
/// -80 dBFS.
constexpr float audible = 1e-4F;

/// The exception: a stretch to the beat when it becomes very fast.
bool MayAllocate(const std::string& name) {
    return name.ends_with("TimeStretchSync") || name.ends_with("TimeStretchBars");
}
/// Whether an effect runs, and which.
bool ChoosesEffect(const std::string& name) {
    return name.ends_with("_ModuleType") || name.ends_with("_Bypass") || name.ends_with("FX_Enable");
}

class RealtimeAudit {
public:
    explicit RealtimeAudit(u32 seed)
        : player(seed), instrument(Engine(), 44100, seed), seesTheSystem(SystemCallTrap::Prepare()) {
        player.Speak(ReadSound(std::filesystem::path(ORPHIA_EXAMPLES) / "voice.flac").samples);
        std::vector<std::string> warnings;
        const host::PresetLibrary library{std::filesystem::path()}; // without those of a user
        for (const auto& entry : library.Entries()) {
            presets.emplace_back(entry.id, host::PresetLibrary::Load(entry, instrument.Catalog(), warnings));
        }
        for (const auto& info : instrument.Catalog().Parameters()) {
            if (info.IsSettable() && !MayAllocate(info.name)) {
                knobs.push_back(info.id);
                if (!ChoosesEffect(info.name)) {
                    knobsButEffects.push_back(info.id);
                }
            }
        }
    }

    /// All switches of effects, for about a fifth of the time but at least a few blocks each, then all
    /// factory presets.
    void Run(double minutes) {
        SwitchEffects(60.0 * minutes * 0.2);
        constexpr std::array<u32, 4> rates = {44100, 48000, 44100, 96000};
        const double share = 60.0 * minutes * 0.8 / static_cast<double>(presets.size());
        for (std::size_t i = 0; i < presets.size(); ++i) {
            instrument.SetSampleRate(rates[i % rates.size()]);
            for (double played = 0.0; played < share; played += longestStretch) {
                Load(presets[i].second);
                situation = "preset " + presets[i].first;
                Play(std::min(longestStretch, share - played));
            }
        }
    }

    /// The figures, the verdict last.
    bool Report() {
        std::printf("realtime: %.1f minutes of music, %zu factory presets, %zu switches of effects\n",
                    seconds / 60.0, presets.size(), switches);
        std::printf("realtime: %zu blocks, %zu %% of them heard, %zu parameter changes, %zu messages, %zu "
                    "changes of tempo\n",
                    blocks, 100 * heardBlocks / blocks, player.settings, player.messages, player.tempos);
        const std::string fault = firstFault;
        const std::size_t setUp = CallsOfSetUp();
        std::printf("realtime: %zu forbidden calls (%zu when the rate is set)", trappedCalls, setUp);
        seesTheSystem ? std::printf(", %zu blocks that enter the system\n", systemCalls)
                      : std::printf("; this kernel does not tell who enters it\n");
        // Zero calls of an instrument that is silent or stands still would prove nothing, nor traps that are
        // blind.
        const bool isPlayed = switches == allSwitches && !presets.empty() && heardBlocks > blocks / 4;
        const char* const doubt = !isPlayed    ? "not all was played"
                                  : setUp == 0 ? "the traps are blind"
                                               : nullptr;
        if (!fault.empty() || doubt != nullptr) {
            std::fprintf(stderr, "realtime: %s\n", fault.empty() ? doubt : ("the first: " + fault).c_str());
        }
        return fault.empty() && doubt == nullptr;
    }

private:
    void Load(const host::Preset& preset) {
        instrument.LoadPreset(preset);
        const auto& parameters = instrument.Catalog().Parameters();
        followsTheBeat = std::any_of(parameters.begin(), parameters.end(), [this](const auto& info) {
            return info.name.ends_with("TimeStretchSync") && instrument.Value(info.id) > 0.5F;
        });
    }

    /// The traps see what the library does: another rate allocates.
    std::size_t CallsOfSetUp() {
        const CallTrap callTrap;
        instrument.SetSampleRate(48000);
        return callTrap.Count();
    }

    /// From each effect to each other one, in each slot, while all other knobs move.
    void SwitchEffects(double share) {
        const double perSwitch = share / (2.0 * static_cast<double>(allSwitches));
        turned = knobsButEffects;
        for (u32 pair = 0; pair < slotCount * effectCount * effectCount; ++pair) {
            const std::string name = "FX" + std::to_string(pair % slotCount + 1) + "_ModuleType";
            const u32 from = pair / slotCount / effectCount;
            const u32 to = pair / slotCount % effectCount;
            if (from == to) {
                Load(player.AnyOf(presets).second);
                instrument.Set("FX_Enable", "on");
                continue;
            }
            situation = name + " " + std::to_string(from) + " to " + std::to_string(to);
            for (const u32 effect : {from, to}) {
                SetNext(instrument.Catalog().Find(name).id, static_cast<float>(effect) / (effectCount - 1));
                Play(perSwitch);
            }
            ++switches;
        }
        turned = knobs;
    }

    /// In front of the next block, on the audio thread.
    void SetNext(u32 id, float at) { pending = {id, host::ParameterSetting::Scale::Position, at}; }

    void Play(double share) {
        const double end = seconds + share;
        for (int block = 0; block < 4 || seconds < end; ++block) {
            RunBlock();
        }
    }

    /// What the audio thread does; under the traps.
    void MakeMoves() {
        if (pending) {
            instrument.Set(*pending);
            pending.reset();
        }
        player.TurnKnobs(instrument, turned, 17);
        if (player.OneIn(8)) {
            instrument.Control(player.lastKnob, instrument.Value(player.lastKnob));
        }
        // In some blocks more than one takes.
        player.SendMessages(instrument, player.OneIn(200) ? 300 : player.Below(4));
        if (player.OneIn(2000)) {
            player.OneIn(2) ? instrument.Panic() : instrument.AllNotesOff();
        }
        if (player.OneIn(20)) {
            // A sample that is stretched to the tempo needs one that songs have.
            player.MoveSong(instrument, !followsTheBeat);
        }
    }

    void RunBlock() {
        const std::size_t frames = instrument.FramesPerBlock();
        for (auto& buffer : buffers) {
            buffer.resize(frames);
        }
        player.Sing(buffers[0]);
        const float* voice[2] = {buffers[0].data(), buffers[0].data()};
        float* output[2] = {buffers[1].data(), buffers[2].data()};
        const u32 voiceChannels = player.Below(3);
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
        trappedCalls += calls;
        systemCalls += systemCall != SystemCallTrap::none ? 1 : 0;
        if (firstFault.empty() && (calls != 0 || systemCall != SystemCallTrap::none)) {
            firstFault = firstCall + ", system call " + std::to_string(systemCall) + ", in block " +
                         std::to_string(blocks) + ", " + situation + ", after " +
                         instrument.Catalog().Parameters()[player.lastKnob].name;
        }
        heardBlocks += std::any_of(buffers[1].begin(), buffers[1].end(),
                                   [](float sample) { return std::abs(sample) > audible; })
                           ? 1
                           : 0;
        ++blocks;
        seconds += static_cast<double>(frames) / instrument.SampleRate();
    }

    RandomPlayer player;
    host::Instrument instrument;
    std::vector<std::pair<std::string, host::Preset>> presets;
    std::vector<u32> knobs;
    std::vector<u32> knobsButEffects;
    /// The knobs that may be turned at present.
    std::span<const u32> turned = knobs;
    std::array<std::vector<float>, 3> buffers;
    std::optional<host::ParameterSetting> pending;
    bool followsTheBeat = false;
    std::string situation;
    std::string firstFault;
    bool seesTheSystem = false;
    double seconds = 0.0;
    std::size_t blocks = 0;
    std::size_t heardBlocks = 0;
    std::size_t switches = 0;
    std::size_t trappedCalls = 0;
    std::size_t systemCalls = 0;
};

} // namespace

int main(int count, char** arguments) {
    const double minutes = count > 1 ? std::strtod(arguments[1], nullptr) : 10.0;
    const unsigned long seed = count > 2 ? std::strtoul(arguments[2], nullptr, 10) : 1;
    if (!(minutes > 0.0) || count > 3) {
        std::fputs("usage: orphia_realtime_audit [MINUTES [SEED]]\n", stderr);
        return 2;
    }
    try {
        RealtimeAudit audit(static_cast<u32>(seed));
        audit.Run(minutes);
        return audit.Report() ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "realtime: %s\n", error.what());
        return 1;
    }
}
