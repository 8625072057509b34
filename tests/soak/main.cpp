// SPDX-License-Identifier: GPL-3.0-or-later
// Plays the instrument without plan or rest for hours of its own time, as fast as it goes, and looks whether
// it still is what it was: no number that is not finite, no place that is not to be written, no value but the
// one that was set, no voice that stays, no preset that is silent, no memory that grows; and, in a build
// whose tests can trap calls, nothing that an audio thread must not call, from the first setting of a block
// to its end.
//
// Each minute's end loads sixty presets and takes back all that was set, so that the live heap can be
// compared from minute to minute. From minute 5 on it may grow by 256 kB: an hour finds 100 bytes that every
// preset leaves, which are 330 kB by then. The resident memory is told, not judged.
//
//   orphia_soak [MINUTES [SEED]]      an hour, seed 1
#include "host/common/Errors.h"
#include "host/presets/PresetLibrary.h"
#include "realtime/CallTrap.h"
#include "rigs/InstrumentRig.h"
#include "rigs/ProcessorHost.h"
#include "support/platform/Platform.h"
#include "watched/VoiceWatch.h"

#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <string_view>

// There is one when the address sanitizer keeps the heap.
extern "C" [[gnu::weak]] std::size_t __sanitizer_get_current_allocated_bytes();

namespace {

using namespace orphia;
using namespace orphia::test;
using Velmora::Processor::FXContainer;
using Velmora::Processor::FXVariant;

/// What is kept for later use has grown to its full size by then; from there on it may grow by so much.
constexpr int settledMinute = 5;
constexpr double heapBound = 256e3;
/// The longest release is 20 s; modulation may double a setting.
constexpr double longestRelease = 45.0;
/// -80 dBFS.
constexpr float audible = 1e-4F;
/// What no gains there are amount to. The circuits' own, of which four stand in a row, go up to 500 each:
/// +245 dBFS were heard of them, and +130 of three equalisers in a row.
constexpr float blownUp = 1e20F;
constexpr u32 parameterCount = ProcessorHost::parameterCount;
const std::filesystem::path examples = ORPHIA_EXAMPLES;

#ifdef ORPHIA_HAS_TRAPS
constexpr bool hasTraps = true;
using SystemTrap = SystemCallTrap;
#else
constexpr bool hasTraps = false;
struct SystemTrap {
    static bool Prepare() { return true; }
    static long FirstCall() { return SystemCallTrap::none; }
};
#endif

/// The exception: a stretch to the beat when it becomes very fast.
bool MayAllocate(std::string_view name) {
    return name.ends_with("TimeStretchSync") || name.ends_with("TimeStretchBars");
}
/// What holds a voice without a key.
bool HoldsVoices(std::string_view name) {
    return name == "VST3_CtrlSustainOnOff" || name.starts_with("Carrier_PitchTrack") ||
           name.starts_with("Carrier_Oscillators_ADSR");
}

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
            (MayAllocate(info.name) ? stretches : knobs).push_back(info.id);
        }
    }

    bool Run(double minutes) {
        for (int minute = 1; done < minutes; ++minute) {
            const double share = std::min(1.0, minutes - done);
            SwitchEffects();
            Play(45.0 * share, false);
            Play(15.0 * share, true);
            Require(EndAllNotes(), "a voice stays when all keys are up");
            Browse();
            Require(ComeToRest(), "something sounds at rest");
            Require(Sound(), "a preset is not heard");
            done += share;
            EndMinute(minute);
        }
        return Report();
    }

private:
    /// What an audio thread does to the processor, with a block at the end.
    template <class Moves>
    float RunBlock(const ProcessorHost::Shape& shape, Moves moves) {
        played.Prepare(player, shape);
        Trapped([&] {
            moves();
            played.Run();
            played.EndBlock();
        });
        Require(std::isfinite(played.Peak()), "a sample is not finite, not written, or should not be");
        Require(played.Peak() <= blownUp, "it blows up");
        ++blocks;
        heardBlocks += played.Peak() > audible ? 1 : 0;
        loudest = std::max(loudest, played.Peak());
        if (blocks % 64 == 0) {
            mostVoices = std::max(mostVoices, watch.Voices().size());
        }
        return played.Peak();
    }
    float RunPlain() {
        return RunBlock({played.blockSize}, [] {});
    }
    template <class Action>
    void Trapped(Action act) {
        const CallTrap calls;
        const SystemTrap system;
        act();
        systemCalls += system.FirstCall() != SystemCallTrap::none ? 1 : 0;
        trappedCalls += calls.Count();
        Require(system.FirstCall() == SystemCallTrap::none, "a block enters the system");
        Require(calls.Count() == 0, calls.FirstCall());
    }
    /// Keeps what is the first that does not hold.
    void Require(bool holds, const char* otherwise) {
        if (!holds && faults++ == 0) {
            firstFault = {otherwise, blocks, played.rate, played.tempo, player.lastKnob};
        }
    }

    void Play(double seconds, bool isRude) {
        for (double time = 0.0; time < seconds; time += BlockSeconds()) {
            if (Happens(0.3)) {
                LoadPreset(presets[loadedPresets % presets.size()]);
            }
            if (Happens(0.05)) {
                constexpr std::array rates = {44100.0F, 44100.0F, 48000.0F, 32000.0F, 96000.0F, 0.0F};
                played.Initialize(player.AnyOf(rates));
            }
            if (isRude) {
                Ask();
            }
            RunBlock(isRude ? AnyShape() : ProcessorHost::Shape{played.blockSize, player.Below(3)},
                     [&] { Move(isRude); });
        }
    }
    void Move(bool isRude) {
        // In some blocks more than one takes.
        player.SendMessages(played, player.OneIn(5000) ? 300 : Happens(40.0) ? 1 : 0);
        if (Happens(isRude ? 200.0 : 20.0)) {
            player.TurnKnobs(played, knobs, 20);
        }
        if (Happens(0.3)) {
            played.SetData(ProcessorHost::firstPath + player.Below(ProcessorHost::sampleCount),
                           player.AnyOf(paths));
        }
        if (Happens(0.7)) {
            // A sample that is stretched to the tempo needs one that songs have.
            player.MoveSong(played, std::none_of(stretches.begin(), stretches.end(),
                                                 [this](u32 id) { return played.Value(id) > 0.5F; }));
            player.ChangeVoice();
        }
        if (Happens(0.05)) {
            played.Set(ProcessorHost::panic, 1.0F);
        }
        if (isRude) {
            const auto [id, number] = played.AnySetting(player);
            player.OneIn(4) && !MayAllocate(NameOf(id)) ? Set(id, number) : played.Send(player.AnyBytes());
        }
    }
    /// What is set is there.
    void Set(u32 id, float position) {
        using Matrix = Velmora::Processor::ModulationMatrix;
        constexpr u32 firstRoute = ProcessorHost::Engine::FirstParameter<1>();
        played.Set(id, position);
        const float value = played.Value(id);
        if (id - firstRoute >= Matrix::parameterCount) {
            Require(id >= parameterCount || value == position || std::isnan(position),
                    "a parameter is not what was set");
        } else if (id - firstRoute >= Matrix::cellCount) {
            Require(value == (position > 0.5F ? 1.0F : 0.0F), "a switch is not what was set");
        } else { // an amount, in its own unit and within it
            Require(!(position >= 0.0F && position <= 1.0F) || std::abs(value - position) < 1e-5F,
                    "an amount is not what was set");
        }
    }
    std::string_view NameOf(u32 id) const {
        const auto& all = instrument.Catalog().Parameters();
        return id < all.size() ? std::string_view(all[id].name) : std::string_view();
    }
    /// Any length, any number of channels, buffers at any place.
    ProcessorHost::Shape AnyShape() {
        return {.frames = player.OneIn(8) ? player.Below(400) : 4 * player.Below(played.blockSize / 4 + 2),
                .inputs = player.Below(4),
                .outputs = player.OneIn(4) ? player.Below(4) : 2,
                .shift = player.OneIn(4) ? player.Below(4) : 0,
                .isPlaying = player.OneIn(2),
                .isOffline = player.OneIn(2)};
    }
    /// What a host asks between the blocks, of any id.
    void Ask() {
        const u32 id = player.OneIn(4) ? ~player.Below(256) : player.Below(parameterCount + 4);
        Velmora::Processor::ParameterInfoRecord record{};
        u32 sameId = id;
        const bool isThere = played.processor->GetParameterInfoByIndex(id, &sameId, &record);
        Require(isThere == (id < played.processor->GetParameterCount()), "a parameter that there is not");
        Require(isThere ? sameId == id && record.name[0] != '\0'
                        : played.Value(id) == ProcessorHost::untouched,
                "a parameter without a name, or a value without a parameter");
        std::array<u8, 300> data{};
        u32 size = player.Below(data.size());
        played.processor->GetParameterData(id, data.data(), &size);
        played.processor->GetBlockSize(player.AnyNumber());
        player.OneIn(100) ? played.SetData(id, std::string(player.Below(16), 'a')) : void();
    }
    bool Happens(double perSecond) {
        return player.Below(1000000) < static_cast<u32>(1e6 * perSecond * BlockSeconds());
    }
    double BlockSeconds() const {
        return static_cast<double>(played.blockSize) / std::max(8000.0, static_cast<double>(played.rate));
    }

    /// The block behind it may do what loading does.
    void LoadPreset(const host::Preset& preset) {
        played.SetTransport({});
        played.LoadPreset();
        for (const host::ParameterSetting& setting : preset.settings) {
            played.Set(setting.id, host::PositionOf(instrument.Catalog(), setting));
        }
        played.Block(player);
        ++loadedPresets;
    }

    /// From each effect to each other one, in each slot, while knobs move.
    void SwitchEffects() {
        constexpr u32 types = FXVariant::typeCount;
        for (u32 pair = 0; pair < FXContainer::slotCount * types * types; ++pair) {
            const u32 slot = pair % FXContainer::slotCount;
            const u32 id = ProcessorHost::Engine::FirstParameter<5>() +
                           FXContainer::SlotId(slot, FXVariant::ParameterId(FXVariant::ModuleType));
            for (int block = 0; block < 6; ++block) {
                const u32 type = pair / FXContainer::slotCount / (block < 3 ? types : 1) % types;
                RunBlock({played.blockSize}, [&] {
                    player.TurnKnobs(played, knobs, 5);
                    played.Set(id, static_cast<float>(type) / static_cast<float>(types - 1));
                    player.SendMessages(played, 1);
                });
            }
        }
    }

    /// Takes the hands from the keys and the feet from the pedals, and waits for the last voice.
    bool EndAllNotes() {
        for (u32 key = 0; key < 16 * 128; ++key) {
            played.Send({static_cast<u8>(0x80 | key >> 7U), static_cast<u8>(key & 127U), 0});
            if (key % 128 == 127) {
                RunPlain();
            }
        }
        for (const u32 id : knobs) {
            if (HoldsVoices(NameOf(id))) {
                played.Set(id, played.preset[id]);
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
            played.SetData(ProcessorHost::firstPath + sample, {});
        }
        played.SetTransport({});
        played.Initialize();
        played.LoadPreset();
        played.WaitForSamples();
        player.BeSilent();
        Loudest(0.5);
        return Loudest(0.5) < audible;
    }
    /// And heard with a voice and keys.
    bool Sound() {
        player.Speak(speech);
        played.Send({0x90, 45, 100});
        played.Send({0x90, 57, 100});
        const float peak = Loudest(0.5);
        return peak > 0.05F && peak < 8.0F;
    }
    float Loudest(double seconds) {
        float peak = 0.0F;
        for (double time = 0.0; time < seconds; time += BlockSeconds()) {
            peak = std::max(peak, RunPlain());
        }
        return peak;
    }

    /// From preset to preset, each for two blocks and a note: what a preset leaves behind adds up.
    void Browse() {
        std::vector<float> sound[2];
        for (int i = 0; i < 60; ++i) {
            instrument.SetSampleRate(player.OneIn(20) ? 96000 : 44100);
            instrument.LoadPreset(player.AnyOf(presets));
            try {
                instrument.LoadSample(player.Below(ProcessorHost::sampleCount), player.AnyOf(paths));
                ++loadedSamples;
            } catch (const host::FileError&) {
                ++refusedSamples;
            }
            sound[0].resize(instrument.FramesPerBlock());
            sound[1] = sound[0];
            float* output[2] = {sound[0].data(), sound[1].data()};
            Trapped([&] {
                player.SendMessages(instrument, 10);
                player.TurnKnobs(instrument, knobs, 20);
                instrument.Control(player.lastKnob, instrument.Value(player.lastKnob));
                player.MoveSong(instrument, false);
                player.OneIn(30) ? instrument.Panic() : instrument.AllNotesOff();
                for (int block = 0; block < 2; ++block) {
                    instrument.ProcessBlock(nullptr, 0, output);
                    for (const auto& side : sound) {
                        Require(std::isfinite(std::accumulate(side.begin(), side.end(), 0.0F)),
                                "a sample of the instrument is not finite");
                    }
                }
                instrument.TakeMeters();
            });
        }
        for (u32 sample = 0; sample < ProcessorHost::sampleCount; ++sample) {
            instrument.ClearSample(sample);
        }
        instrument.LoadPreset(host::DefaultPreset(instrument.Catalog()));
        instrument.TakeMessages();
        loadedPresets += 61;
    }

    void EndMinute(int minute) {
        heap[1] = LiveHeapBytes();
        resident[1] = static_cast<double>(Velmora::Platform::ResidentMemory());
        if (minute <= settledMinute) {
            heap[0] = heap[1];
            resident[0] = resident[1];
        }
        std::printf("minute %d: heap %.0f bytes, resident %.1f MB, %zu faults\n", minute, heap[1],
                    resident[1] * 1e-6, faults);
        std::fflush(stdout);
    }

    bool Report() {
        if (faults > 0) {
            std::printf("soak: the first fault: %s, in block %zu, at %g Hz and %g bpm, after %s\n",
                        firstFault.what, firstFault.block, static_cast<double>(firstFault.rate),
                        static_cast<double>(firstFault.tempo), NameOf(firstFault.knob).data());
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
                                                             {"faults", faults},
                                                             {"forbidden calls", trappedCalls},
                                                             {"blocks that enter the system", systemCalls}};
        for (const auto& [what, count] : lines) {
            std::printf("%12zu %s\n", count, what);
        }
        const bool holds = faults == 0 && heap[1] - heap[0] <= heapBound && heardBlocks > blocks / 8;
        // Traps that are blind would prove nothing: another rate allocates.
        Trapped([&] { instrument.SetSampleRate(48000); });
        std::printf("soak: %.1f minutes of sound, heap %+.0f kB, resident %+.1f MB since minute %d, loudest "
                    "%+.1f dBFS, %zu calls when the rate is set\n",
                    done, 1e-3 * (heap[1] - heap[0]), 1e-6 * (resident[1] - resident[0]), settledMinute,
                    20.0 * std::log10(static_cast<double>(loudest)), trappedCalls);
        return holds && (!hasTraps || trappedCalls > 0);
    }

    VoiceWatch watch;
    RandomPlayer player;
    ProcessorHost played;
    host::Instrument instrument;
    std::vector<host::Preset> presets;
    std::vector<u32> knobs;
    /// What stretches samples to the beat.
    std::vector<u32> stretches;
    std::vector<float> speech = ReadSound(examples / "voice.flac").samples;
    /// Files that can be played, and some that cannot.
    std::vector<std::string> paths = {examples / "voice.flac", examples / "chord.flac",
                                      examples.parent_path() / "presets/samples/beat.flac",
                                      examples / "missing.wav", examples / "song.mid"};
    double done = 0.0;
    std::size_t blocks = 0;
    std::size_t heardBlocks = 0;
    std::size_t loadedPresets = 0;
    std::size_t loadedSamples = 0;
    std::size_t refusedSamples = 0;
    std::size_t mostVoices = 0;
    std::size_t trappedCalls = 0;
    std::size_t systemCalls = 0;
    float loudest = 0.0F;
    std::size_t faults = 0;
    struct {
        const char* what;
        std::size_t block;
        float rate;
        float tempo;
        u32 knob;
    } firstFault{};
    /// When it had settled, and now.
    std::array<double, 2> heap{};
    std::array<double, 2> resident{};
};

} // namespace

int main(int count, char** arguments) {
    const double minutes = count > 1 ? std::strtod(arguments[1], nullptr) : 60.0;
    const unsigned long seed = count > 2 ? std::strtoul(arguments[2], nullptr, 10) : 1;
    if (!(minutes > 0.0) || count > 3) {
        std::fputs("usage: orphia_soak [MINUTES [SEED]]\n", stderr);
        return 2;
    }
    try {
        if (!SystemTrap::Prepare()) {
            std::puts("soak: this kernel does not tell who enters it");
        }
        return Soak(static_cast<u32>(seed)).Run(minutes) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "soak: %s\n", error.what());
        return 1;
    }
}
