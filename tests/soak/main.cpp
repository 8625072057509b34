// SPDX-License-Identifier: GPL-3.0-or-later
// Plays the instrument without plan or rest for hours of its own time, as fast as it goes, and looks every
// minute whether it still is what it was: no number that is not finite, no voice that stays, no memory that
// grows.
//
// Each minute's end loads sixty presets and takes back all that was set, so that the live heap can be
// compared from minute to minute. From minute 5 on it may grow by 256 kB: an hour finds 100 bytes that every
// preset leaves, which are 330 kB by then. The resident memory is told, not judged.
//
//   orphia_soak [--minutes N] [--seed N]      an hour, seed 1
#include "host/common/Errors.h"
#include "host/presets/PresetLibrary.h"
#include "rigs/InstrumentRig.h"
#include "rigs/ProcessorHost.h"
#include "support/platform/Platform.h"
#include "watched/VoiceWatch.h"

#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

// There is one when the address sanitizer keeps the heap.
extern "C" [[gnu::weak]] std::size_t __sanitizer_get_current_allocated_bytes();

namespace {

using namespace orphia;
using namespace orphia::test;

/// What is kept for later use has grown to its full size by then; from there on it may grow by so much.
constexpr int settledMinute = 5;
constexpr double heapBound = 256e3;
/// The longest release is 20 s; modulation may double a setting.
constexpr double longestRelease = 45.0;
/// -80 dBFS.
constexpr float audible = 1e-4F;
const std::filesystem::path examples = ORPHIA_EXAMPLES;

double LiveHeapBytes() {
    const auto known = mallinfo2();
    return static_cast<double>(__sanitizer_get_current_allocated_bytes != nullptr
                                   ? __sanitizer_get_current_allocated_bytes()
                                   : known.uordblks + known.hblkhd);
}

/// A processor, which is played and called with anything at any time, and an instrument of the host library,
/// which goes through presets, samples and rates. The first and second processor of the watched library.
class Soak {
public:
    explicit Soak(u32 seed)
        : player(seed), played(Engine()->CreateProcessor(seed)), instrument(Engine(), 44100, seed) {
        const host::PresetLibrary library{{}};
        std::vector<std::string> warnings;
        for (const auto& entry : library.Entries()) {
            presets.push_back(host::PresetLibrary::Load(entry, instrument.Catalog(), warnings));
        }
        for (const auto& info : instrument.Catalog().Parameters()) {
            knobs.push_back(info.id);
        }
    }

    bool Run(double minutes) {
        for (int minute = 1; done < minutes; ++minute) {
            const double share = std::min(1.0, minutes - done);
            Play(45.0 * share, false);
            Play(15.0 * share, true);
            Check("a key is up", EndAllNotes());
            Browse();
            Check("all is at rest", ComeToRest());
            done += share;
            EndMinute(minute);
        }
        const std::pair<const char*, std::size_t> lines[] = {{"blocks", blocks},
                                                             {"blocks that were heard", heardBlocks},
                                                             {"messages", player.messages},
                                                             {"settings", player.settings},
                                                             {"presets", loadedPresets},
                                                             {"samples loaded", loadedSamples},
                                                             {"samples refused", refusedSamples},
                                                             {"tempo changes", player.tempos},
                                                             {"most voices at once", mostVoices},
                                                             {"bad blocks", badBlocks},
                                                             {"stuck voices or sounds", stuck}};
        for (const auto& [what, count] : lines) {
            std::printf("%12zu %s\n", count, what);
        }
        std::printf("soak: %.1f minutes of sound, heap %+.0f kB, resident %+.1f MB since minute %d\n", done,
                    1e-3 * (heap[1] - heap[0]), 1e-6 * (resident[1] - resident[0]), settledMinute);
        return badBlocks + stuck == 0 && heap[1] - heap[0] <= heapBound && heardBlocks > 0;
    }

private:
    void Play(double seconds, bool isRude) {
        for (double time = 0.0; time < seconds; time += BlockSeconds()) {
            player.SendMessages(played, Happens(40.0) ? 1 : 0);
            if (Happens(isRude ? 200.0 : 5.0)) {
                player.TurnKnobs(played, knobs, 20);
            }
            if (Happens(0.3)) {
                played.SetPath(player.Below(ProcessorHost::sampleCount), player.AnyOf(paths));
            }
            if (Happens(0.3)) {
                LoadPreset(player.AnyOf(presets));
            }
            if (Happens(0.7)) {
                player.MoveSong(played, true);
                player.ChangeVoice();
            }
            if (Happens(0.1)) {
                constexpr std::array rates = {44100.0F, 44100.0F, 48000.0F, 32000.0F, 96000.0F};
                player.OneIn(2) ? played.Set(ProcessorHost::panic, 1.0F)
                                : void(played.Initialize(player.AnyOf(rates)));
            }
            if (isRude) {
                const auto [id, number] = played.AnySetting(player);
                player.OneIn(4) ? played.Set(id, number) : played.Send(player.AnyBytes());
            }
            RunBlock(
                {isRude ? 4 * player.Below(played.blockSize / 4 + 1) : played.blockSize, player.Below(3)});
        }
    }
    bool Happens(double perSecond) {
        return player.Below(1000000) < static_cast<u32>(1e6 * perSecond * BlockSeconds());
    }
    double BlockSeconds() const {
        return static_cast<double>(played.blockSize) / static_cast<double>(played.rate);
    }

    void LoadPreset(const host::Preset& preset) {
        played.LoadPreset();
        for (const host::ParameterSetting& setting : preset.settings) {
            played.Set(setting.id, host::PositionOf(instrument.Catalog(), setting));
        }
        ++loadedPresets;
    }

    float RunBlock(const ProcessorHost::Shape& shape) {
        played.Block(player, shape);
        played.EndBlock();
        ++blocks;
        badBlocks += std::isfinite(played.Peak()) ? 0 : 1;
        heardBlocks += played.Peak() > audible ? 1 : 0;
        if (blocks % 64 == 0) {
            mostVoices = std::max(mostVoices, watch.Voices().size());
        }
        return played.Peak();
    }
    float RunPlain() { return RunBlock({played.blockSize}); }

    /// Takes the hands from the keys and the feet from the pedals, and waits for the last voice.
    bool EndAllNotes() {
        for (u32 key = 0; key < 16 * 128; ++key) {
            played.Send({static_cast<u8>(0x80 | key >> 7U), static_cast<u8>(key & 127U), 0});
            if (key % 128 == 127) {
                RunPlain();
            }
        }
        for (const auto& info : instrument.Catalog().Parameters()) {
            // What holds a voice without a key.
            for (const char* holds :
                 {"VST3_CtrlSustainOnOff", "Carrier_PitchTrack", "Carrier_Oscillators_ADSR"}) {
                if (info.name.find(holds) != std::string::npos) {
                    played.Set(info.id, played.preset[info.id]);
                }
            }
        }
        double time = 0.0;
        do {
            RunPlain();
            time += BlockSeconds();
        } while (time < longestRelease && (time < 1.0 || !watch.Voices().empty()));
        return watch.Voices().empty();
    }
    /// A plain preset without samples and voice is silent.
    bool ComeToRest() {
        for (u32 sample = 0; sample < ProcessorHost::sampleCount; ++sample) {
            played.SetPath(sample, {});
        }
        played.SetTransport({});
        played.Initialize();
        played.LoadPreset();
        played.WaitForSamples();
        player.BeSilent();
        float loudest = 0.0F;
        for (double time = 0.0; time < 1.0; time += BlockSeconds()) {
            const float peak = RunPlain();
            loudest = time < 0.5 ? 0.0F : std::max(loudest, peak);
        }
        player.Speak(ReadSound(examples / "voice.flac").samples);
        return loudest < audible;
    }

    /// From preset to preset, each for two blocks and a note: what a preset leaves behind adds up.
    void Browse() {
        std::vector<float> sound[2];
        for (int i = 0; i < 60; ++i) {
            instrument.LoadPreset(player.AnyOf(presets));
            try {
                instrument.LoadSample(player.Below(ProcessorHost::sampleCount), player.AnyOf(paths));
                ++loadedSamples;
            } catch (const host::FileError&) {
                ++refusedSamples;
            }
            player.SendMessages(instrument, 10);
            player.TurnKnobs(instrument, knobs, 20);
            player.MoveSong(instrument, true);
            instrument.SetSampleRate(player.OneIn(20) ? 96000 : 44100);
            for (int block = 0; block < 2; ++block) {
                sound[0].resize(instrument.FramesPerBlock());
                sound[1] = sound[0];
                float* output[2] = {sound[0].data(), sound[1].data()};
                instrument.ProcessBlock(nullptr, 0, output);
                badBlocks += std::isfinite(Peak(sound[0])) && std::isfinite(Peak(sound[1])) ? 0 : 1;
            }
        }
        for (u32 sample = 0; sample < ProcessorHost::sampleCount; ++sample) {
            instrument.ClearSample(sample);
        }
        instrument.LoadPreset(host::DefaultPreset(instrument.Catalog()));
        instrument.TakeMessages();
        loadedPresets += 61;
    }
    static float Peak(const std::vector<float>& sound) {
        float sum = 0.0F;
        for (const float x : sound) {
            sum += std::abs(x);
        }
        return sum;
    }

    void Check(const char* when, bool holds) {
        if (!holds) {
            ++stuck;
            std::printf("when %s, %zu voices run, peak %g\n", when, watch.Voices().size(),
                        static_cast<double>(played.Peak()));
        }
    }
    void EndMinute(int minute) {
        heap[1] = LiveHeapBytes();
        resident[1] = static_cast<double>(Velmora::Platform::ResidentMemory());
        if (minute <= settledMinute) {
            heap[0] = heap[1];
            resident[0] = resident[1];
        }
        std::printf("minute %d: heap %.0f bytes, resident %.1f MB, %zu bad blocks, %zu stuck\n", minute,
                    heap[1], resident[1] * 1e-6, badBlocks, stuck);
        std::fflush(stdout);
    }

    VoiceWatch watch;
    RandomPlayer player;
    ProcessorHost played;
    host::Instrument instrument;
    std::vector<host::Preset> presets;
    std::vector<u32> knobs;
    /// Files that can be played, and some that cannot.
    std::vector<std::string> paths = {examples / "voice.flac", examples / "chord.flac",
                                      examples.parent_path() / "presets/samples/beat.flac",
                                      examples / "missing.wav", examples / "song.mid"};
    double done = 0.0;
    std::size_t blocks = 0;
    std::size_t heardBlocks = 0;
    std::size_t badBlocks = 0;
    std::size_t loadedPresets = 0;
    std::size_t loadedSamples = 0;
    std::size_t refusedSamples = 0;
    std::size_t mostVoices = 0;
    std::size_t stuck = 0;
    /// When it had settled, and now.
    std::array<double, 2> heap{};
    std::array<double, 2> resident{};
};

} // namespace

int main(int count, char** arguments) {
    double minutes = 60.0;
    double seed = 1.0;
    bool isGood = count % 2 == 1;
    for (int i = 1; i + 1 < count; i += 2) {
        const std::string_view name = arguments[i];
        char* end = nullptr;
        const double number = std::strtod(arguments[i + 1], &end);
        isGood = isGood && *end == '\0' && number > 0.0 && (name == "--minutes" || name == "--seed");
        (name == "--seed" ? seed : minutes) = number;
    }
    if (!isGood) {
        std::fputs("usage: orphia_soak [--minutes N] [--seed N]\n", stderr);
        return 2;
    }
    try {
        return Soak(static_cast<u32>(seed)).Run(minutes) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "soak: %s\n", error.what());
        return 1;
    }
}
