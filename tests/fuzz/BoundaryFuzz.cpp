// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/FuzzTargets.h"
#include "rigs/ProcessorHost.h"

#include <optional>

namespace {

using orphia::fuzz::ByteDice;
using orphia::fuzz::Require;
using namespace orphia::test;

/// One host and its processor. A processor takes longer to make than to play an input, so it is kept, and
/// Begin brings it back to where a new one is.
class Caller {
public:
    Caller(ByteDice& bytes, float beginRate)
        : player([&bytes](u32 limit) { return bytes.Below(limit); }), host(MakeProcessor(), beginRate),
          usualRate(beginRate) {}

    /// Of all this, only what the last input has changed.
    void Begin(bool withSound) {
        for (u32 sample = 0; sample < ProcessorHost::sampleCount && hasData; ++sample) {
            SetData(ProcessorHost::firstPath + sample, {});
        }
        hasData = false;
        restarts = 0;
        host.SetTransport({});
        player.Speak();
        if (host.rate != usualRate) {
            Initialize(usualRate);
        }
        host.processor->ClearEvents();
        host.Set(ProcessorHost::panic, 1.0F);
        // Backwards, since some set earlier ones.
        for (u32 id = ProcessorHost::parameterCount; id-- > 0;) {
            if (host.Value(id) != host.fresh[id]) {
                host.Set(id, host.fresh[id]);
            }
        }
        TakeChanges();
        Require(host.Values() == host.fresh, "what is set back differs from a new processor");
        if (withSound) {
            host.LoadPreset();
        }
    }

    /// What takes long comes seldom.
    void Call() {
        const u32 call = player.Below(256);
        switch (call < 32 ? call % 16 : 15) {
        case 0:
        case 1:
            return Ask();
        case 2:
            return call < 16 ? Restart() : SetAnyData();
        case 3:
            return TakeChanges();
        case 4:
            return host.LoadPreset();
        case 5:
            host.SetTransport({player.AnyNumber() * 240.0, player.AnyNumber() * 100.0});
            return player.ChangeVoice();
        case 12:
            return PushMany();
        case 13:
            return Renew();
        case 14:
        case 15:
            switch (player.Below(4)) {
            case 0:
                return Set();
            case 1:
                return host.Send(player.AnyBytes());
            case 2:
                return host.NoteOn(player.Byte(128));
            default:
                return RunBlocks(1U << player.Below(6));
            }
        default:
            return OddBlock();
        }
    }

    /// More than a block takes.
    void PushMany() {
        const u8 status = player.Byte();
        const u32 first = player.Below(256);
        for (u32 event = 0; event < 300; ++event) {
            host.Send({status, static_cast<u8>(first + 5 * event), 64});
        }
    }

    void RunBlocks(u32 count) {
        const ProcessorHost::Shape shape{host.blockSize, player.Below(3)};
        for (u32 i = 0; i < count; ++i) {
            Run(shape);
            host.processor->ClearEvents();
        }
    }

private:
    void Set() {
        const auto [id, position] = host.AnySetting(player);
        host.Set(id, position);
        Require(id >= ProcessorHost::parameterCount || IsKept(id, position),
                "a parameter is not what was set");
    }
    bool IsKept(u32 id, float position) const {
        using Matrix = Velmora::Processor::ModulationMatrix;
        constexpr u32 firstRoute = ProcessorHost::Engine::FirstParameter<1>();
        const float value = host.Value(id);
        if (id < firstRoute || id - firstRoute >= Matrix::parameterCount) {
            return value == position || (std::isnan(value) && std::isnan(position));
        }
        // Routes have amounts in their own unit and within it, and switches.
        const bool isAmount = id - firstRoute < Matrix::cellCount;
        return isAmount ? !(position >= 0.0F && position <= 1.0F) || std::abs(value - position) < 1e-5F
                        : value == (position > 0.5F ? 1.0F : 0.0F);
    }

    void Initialize(float newRate) {
        Require(host.Initialize(newRate), "Initialize is refused");
        Require(host.blockSize <= 400 && host.blockSize % 4 == 0, "a block size that there is not");
        host.processor->ClearEvents();
    }
    void Restart() {
        constexpr float infinity = std::numeric_limits<float>::infinity();
        constexpr std::array<float, 16> rates = {
            44100.0F, 48000.0F,  8000.0F,   22050.0F,
            96000.0F, 192000.0F, 384000.0F, 1e9F,
            0.0F,     -1.0F,     1.0F,      11025.5F,
            1e-40F,   infinity,  -infinity, std::numeric_limits<float>::quiet_NaN()};
        const float newRate = player.AnyOf(rates);
        if (restarts++ % 4 == 0) {
            host.processor->Terminate();
        }
        Initialize(newRate);
    }
    /// A processor in place of the former one; played before it is told a rate.
    void Renew() {
        if (player.Below(256) == 255) {
            host.processor = MakeProcessor();
            host.processor->Connect(nullptr);
            OddBlock();
            Initialize(44100.0F);
        }
    }

    void Ask() {
        auto& processor = *host.processor;
        const u32 id = player.OneIn(4) ? ~player.Below(256) : player.Below(ProcessorHost::parameterCount + 4);
        Velmora::Processor::ParameterInfoRecord record{};
        u32 sameId = id;
        if (processor.GetParameterInfoByIndex(id, &sameId, &record)) {
            Require(sameId == id && id < processor.GetParameterCount(), "a parameter that there is not");
            Require(record.name[0] != '\0', "a parameter without a name");
        }
        Require(id < ProcessorHost::parameterCount || host.Value(id) == ProcessorHost::untouched,
                "a value of no parameter");
        u32 size = player.Below(300);
        std::vector<u8> data(size);
        processor.GetParameterData(id, data.data(), &size);
        processor.GetBlockSize(player.AnyNumber());
        processor.GetLatency();
        processor.Idle();
    }

    void SetAnyData() {
        const std::string corpus = ORPHIA_FUZZ_CORPUS "/sample_reader/";
        std::string bytes(player.Below(16), ' ');
        for (char& byte : bytes) {
            byte = static_cast<char>(player.Byte());
        }
        const std::array<std::string, 6> paths = {corpus + "mono_8.wav",  corpus + "stereo.flac", {},
                                                  corpus + "missing.wav", corpus + "cut.flac",    bytes};
        const u32 sample = player.Below(ProcessorHost::sampleCount + 4);
        SetData(sample < ProcessorHost::sampleCount ? ProcessorHost::firstPath + sample
                                                    : player.Below(ProcessorHost::parameterCount + 4),
                player.AnyOf(paths));
    }
    /// With a wait, so that an input does the same each time.
    void SetData(u32 id, const std::string& data) {
        host.SetData(id, data);
        hasData = true;
        host.WaitForSamples();
    }

    void TakeChanges() {
        const Velmora::Processor::ParameterValueRecord* values = nullptr;
        const Velmora::Processor::ParameterDataRecord* data = nullptr;
        u32 count = 0;
        host.processor->GetParameterValueChanges(&values, &count);
        Require(count == 0, "a change of a value that nobody reports");
        host.processor->GetParameterDataChanges(&data, &count);
        for (u32 i = 0; i < count; ++i) {
            const std::string_view bytes(static_cast<const char*>(data[i].data), data[i].size);
            Require(std::count(bytes.begin(), bytes.end(), '\0') <= 256, "more data than there may be");
        }
    }

    /// Any length, any number of channels, buffers at any place.
    void OddBlock() {
        Run({.frames = player.OneIn(4) ? player.Below(400) : 4 * player.Below(host.blockSize / 4 + 2),
             .inputs = player.Below(4),
             .outputs = player.Below(4),
             .shift = player.OneIn(4) ? player.Below(4) : 0,
             .isPlaying = player.OneIn(2),
             .isOffline = player.OneIn(2)});
        if (player.OneIn(2)) {
            host.processor->ClearEvents();
        }
    }
    void Run(const ProcessorHost::Shape& shape) {
        host.Block(player, shape);
        Require(std::isfinite(host.Peak()), "a sample is no finite number, or not written, or should not be");
    }

    RandomPlayer player;
    ProcessorHost host;
    /// That at which it begins.
    float usualRate;
    u32 restarts = 0;
    /// Whether some sample may have been given.
    bool hasData = false;
};

} // namespace

void orphia::fuzz::Boundary(Input input) {
    static ByteDice dice;
    static std::array<std::optional<Caller>, 4> callers;
    dice = ByteDice(input);
    // Most inputs at a low rate, with which everything takes a fraction of the time, and with a sound.
    const u32 start = dice.Below(16);
    const u32 rate = start % 8 == 7 ? 1 : 0;
    std::array<Caller*, 2> playing{};
    for (u32 call = 0; call < 64 && !dice.IsEmpty(); ++call) {
        const u32 second = dice.Below(8) == 7 ? 1 : 0;
        if (playing[second] == nullptr) {
            auto& caller = callers[rate + 2 * second];
            if (!caller) {
                caller.emplace(dice, rate == 1 ? 44100.0F : 8000.0F);
            }
            playing[second] = &*caller;
            caller->Begin(start < 12);
        }
        playing[second]->Call();
    }
    for (Caller* caller : playing) {
        if (caller != nullptr) {
            caller->RunBlocks(4);
        }
    }
}
