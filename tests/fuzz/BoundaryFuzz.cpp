// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/ByteDice.h"
#include "fuzz/FuzzTargets.h"
#include "fuzz/HostBlock.h"
#include "fuzz/Require.h"
#include "rigs/RandomHost.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

extern "C" Velmora::Processor::IProcessorFactory* GetProcessorFactory();

namespace {

using orphia::fuzz::ByteDice;
using orphia::fuzz::HostBlock;
using orphia::fuzz::Require;
using orphia::test::RandomHost;
using Velmora::u32;
using Velmora::u8;

constexpr u32 sampleCount = 12;
constexpr u32 parameterCount = Velmora::Processor::VocoderProcessor::parameterCount;
constexpr float infinity = std::numeric_limits<float>::infinity();

std::unique_ptr<RandomHost::Processor> MakeProcessor() {
    const std::unique_ptr<Velmora::Processor::IProcessorFactory> factory(GetProcessorFactory());
    return std::unique_ptr<RandomHost::Processor>(
        static_cast<RandomHost::Processor*>(factory->CreateProcessor()));
}

u32 FirstPath() {
    Velmora::Processor::VocoderProcessor described;
    return orphia::test::FindByEnding(described, "Modulator_Sample1_Path");
}

/// One host and its processor. A processor takes longer to make than to play an input, so it is kept, and
/// Begin brings it back to where a new one is.
class Caller {
public:
    Caller(ByteDice& bytes, float beginRate)
        : host([&bytes](u32 limit) { return bytes.Below(limit); }, MakeProcessor()), usualRate(beginRate),
          fresh(Values()) {}

    /// Of all this, only what the last input has changed.
    void Begin(bool withSound) {
        for (u32 sample = 0; sample < sampleCount && hasData; ++sample) {
            SetPath(sample, {});
        }
        hasData = false;
        host.tempo = 120.0F;
        host.songPosition = 0.0F;
        restarts = 0;
        time = 0;
        if (rate != usualRate) {
            Initialize(usualRate);
        }
        host.processor->ClearEvents();
        host.processor->SetParameter(panic, 1.0F);
        // Backwards, since some set earlier ones.
        for (u32 id = parameterCount; id-- > 0;) {
            if (Value(id) != fresh[id]) {
                host.processor->SetParameter(id, fresh[id]);
            }
        }
        TakeChanges();
        Require(Values() == fresh, "what is set back differs from a new processor");
        if (withSound) {
            host.LoadPreset();
        }
    }

    /// What takes long comes seldom.
    void Call() {
        const u32 call = host.Below(256);
        switch (call < 32 ? call % 16 : 15) {
        case 0:
        case 1:
            return Ask();
        case 2:
            return call < 16 ? Restart() : SetData();
        case 3:
            return TakeChanges();
        case 4:
            return host.LoadPreset();
        case 5:
            host.tempo = host.AnyNumber() * 240.0F;
            host.songPosition = host.AnyNumber() * 100.0F;
            return;
        case 6:
        case 7:
        case 8:
        case 9:
        case 10:
        case 11:
            return OddBlock();
        case 12:
            return PushMany();
        case 13:
            return Renew();
        default:
            return Play();
        }
    }

    void RunBlocks(u32 count) {
        if (host.Below(8) != 0) { // most blocks are to be rendered
            host.processor->SetParameter(panic, 0.0F);
        }
        const Block block{blockSize, 0, 2, host.Below(3), AnyInput()};
        for (u32 i = 0; i < count; ++i) {
            Run(block);
            host.processor->ClearEvents();
        }
    }

private:
    struct Input {
        bool isVoice;
        /// Else all samples.
        float sample;
        bool isPlaying;
        bool isOffline;
    };
    struct Block {
        u32 frames;
        u32 shift;
        u32 outputs;
        u32 inputs;
        Input input;
    };

    Input AnyInput() {
        const u32 kind = host.Below(16);
        const bool isVoice = kind >= 4;
        return {isVoice, isVoice ? 0.0F : host.AnyNumber(), (kind & 1U) != 0, (kind & 2U) != 0};
    }

    void Play() {
        switch (host.Below(4)) {
        case 0:
            return Set();
        case 1:
            return host.PushAnything();
        case 2:
            return host.NoteOn(static_cast<u8>(host.Below(128)));
        default:
            return RunBlocks(1U << host.Below(6));
        }
    }

    void Set() {
        const auto [id, position] = host.AnySetting();
        host.processor->SetParameter(id, position);
        Require(id >= parameterCount || IsKept(id, position), "a parameter is not what was set");
    }
    bool IsKept(u32 id, float position) const {
        using Matrix = Velmora::Processor::ModulationMatrix;
        constexpr u32 firstRoute = Velmora::Processor::VocoderProcessor::FirstParameter<1>();
        const float value = Value(id);
        if (id < firstRoute || id - firstRoute >= Matrix::parameterCount) {
            return value == position || (std::isnan(value) && std::isnan(position));
        }
        // Routes have amounts in their own unit and within it, and switches.
        const bool isAmount = id - firstRoute < Matrix::cellCount;
        return isAmount ? !(position >= 0.0F && position <= 1.0F) || std::abs(value - position) < 1e-5F
                        : value == (position > 0.5F ? 1.0F : 0.0F);
    }

    /// More than a block takes.
    void PushMany() {
        const u32 status = host.Below(256);
        const u32 first = host.Below(256);
        for (u32 event = 0; event < 300; ++event) {
            const u8 midi[3] = {static_cast<u8>(status), static_cast<u8>(first + 5 * event), 64};
            host.processor->PushEvent(midi);
        }
    }

    void Initialize(float newRate) {
        const Velmora::Processor::ProcessorSetup setUp{newRate};
        rate = newRate;
        blockSize = host.processor->GetBlockSize(rate);
        Require(blockSize <= RandomHost::room && blockSize % 4 == 0, "a block size that there is not");
        Require(host.processor->Initialize(&setUp), "Initialize is refused");
        host.processor->ClearEvents();
    }

    void Restart() {
        constexpr std::array<float, 16> rates = {
            44100.0F, 48000.0F,  8000.0F,   22050.0F,
            96000.0F, 192000.0F, 384000.0F, 1e9F,
            0.0F,     -1.0F,     1.0F,      11025.5F,
            1e-40F,   infinity,  -infinity, std::numeric_limits<float>::quiet_NaN()};
        const float newRate = rates[host.Below(rates.size())];
        if (restarts++ % 4 == 0) {
            host.processor->Terminate();
        }
        Initialize(newRate);
    }

    /// A processor in place of the former one; played before it is told a rate.
    void Renew() {
        if (host.Below(256) == 255) {
            host.processor = MakeProcessor();
            host.processor->Connect(nullptr);
            OddBlock();
            Initialize(44100.0F);
        }
    }

    void Ask() {
        auto& processor = *host.processor;
        const u32 id = host.Below(4) == 0 ? ~host.Below(256) : host.Below(parameterCount + 4);
        Velmora::Processor::ParameterInfoRecord record{};
        u32 sameId = id;
        if (processor.GetParameterInfoByIndex(id, &sameId, &record)) {
            Require(sameId == id && id < processor.GetParameterCount(), "a parameter that there is not");
            Require(record.name[0] != '\0', "a parameter without a name");
        }
        Require(id < parameterCount || Value(id) == HostBlock::untouched, "a value of no parameter");
        u32 size = host.Below(300);
        std::vector<u8> data(size);
        processor.GetParameterData(id, data.data(), &size);
        processor.GetBlockSize(host.AnyNumber());
        processor.GetLatency();
        processor.Idle();
    }

    void SetData() {
        const std::string corpus = ORPHIA_FUZZ_CORPUS "/sample_reader/";
        const std::array<std::string, 6> paths = {corpus + "mono_8.wav",  corpus + "stereo.flac", {},
                                                  corpus + "missing.wav", corpus + "cut.flac",    Bytes()};
        const u32 sample = host.Below(sampleCount + 4);
        const std::string& path = paths[host.Below(paths.size())];
        if (sample < sampleCount) {
            return SetPath(sample, path);
        }
        SendData(host.Below(parameterCount + 4), path);
    }
    std::string Bytes() {
        std::string bytes(host.Below(16), ' ');
        std::generate(bytes.begin(), bytes.end(), [this] { return static_cast<char>(host.Below(256)); });
        return bytes;
    }
    void SetPath(u32 sample, const std::string& path) {
        static const u32 firstPath = FirstPath();
        SendData(firstPath + sample, path);
    }
    void SendData(u32 id, const std::string& data) {
        auto size = static_cast<u32>(data.size());
        host.processor->SetParameterData(id, data.data(), &size);
        hasData = true;
        WaitForFiles();
    }
    /// So that an input does the same each time.
    void WaitForFiles() {
        for (host.processor->Idle(); host.processor->IsLoading(); host.processor->Idle()) {
            std::this_thread::yield();
        }
    }

    void TakeChanges() {
        const Velmora::Processor::ParameterValueRecord* values = nullptr;
        const Velmora::Processor::ParameterDataRecord* data = nullptr;
        u32 valueCount = 0;
        u32 dataCount = 0;
        host.processor->GetParameterValueChanges(&values, &valueCount);
        host.processor->GetParameterDataChanges(&data, &dataCount);
        for (u32 i = 0; i < valueCount; ++i) {
            Require(values[i].id < host.processor->GetParameterCount(), "a change of nothing");
        }
        for (u32 i = 0; i < dataCount; ++i) {
            const std::vector<u8> copy(static_cast<const u8*>(data[i].data),
                                       static_cast<const u8*>(data[i].data) + data[i].size);
            Require(copy.size() == data[i].size, "no data");
        }
    }

    /// Any length, any number of channels, buffers at any place.
    void OddBlock() {
        const u32 frames =
            host.Below(4) == 0 ? host.Below(RandomHost::room) : 4 * host.Below(blockSize / 4 + 2);
        const u32 shift = host.Below(4) == 0 ? host.Below(4) : 0;
        Run({frames, shift, host.Below(4), host.Below(4), AnyInput()});
        if (host.Below(2) == 0) {
            host.processor->ClearEvents();
        }
    }

    void Run(const Block& shape) {
        HostBlock block(shape.frames, shape.shift, shape.input.sample);
        if (shape.input.isVoice) {
            block.Sing(time);
            time += shape.frames;
        }
        Velmora::Processor::HostProcessData data{};
        data.tempo = host.tempo;
        data.songPosition = host.songPosition;
        data.isPlaying = shape.input.isPlaying ? 1 : 0;
        data.processMode = shape.input.isOffline ? data.offlineMode : 0;
        block.Render(*host.processor, data, shape.outputs, shape.inputs);
    }

    /// HostBlock::untouched when it has no such value.
    float Value(u32 id) const {
        float value = HostBlock::untouched;
        host.processor->GetParameter(id, &value);
        return value;
    }
    std::vector<float> Values() const {
        std::vector<float> values(parameterCount);
        for (u32 id = 0; id < parameterCount; ++id) {
            values[id] = Value(id);
        }
        return values;
    }

    static constexpr u32 panic = Velmora::Processor::VocoderProcessor::ReservedId(Velmora::Processor::Panic);

    RandomHost host;
    /// That at which it begins, and that at which it is.
    float usualRate;
    float rate = 0.0F;
    std::vector<float> fresh;
    u32 blockSize = RandomHost::blockSize;
    u32 restarts = 0;
    /// Samples of the voice so far.
    u32 time = 0;
    /// Whether some sample may have been given.
    bool hasData = false;
};

} // namespace

void orphia::fuzz::Boundary(const std::uint8_t* data, std::size_t size) {
    constexpr u32 rateCount = 2;
    static ByteDice dice;
    static std::array<std::optional<Caller>, 2 * rateCount> callers;
    dice = ByteDice(data, size);
    // Most inputs at a low rate, with which everything takes a fraction of the time, and with a sound.
    const u32 start = dice.Below(16);
    const u32 rate = start % 8 == 7 ? 1 : 0;
    std::array<Caller*, 2> playing{};
    for (u32 call = 0; call < 64 && !dice.IsEmpty(); ++call) {
        const u32 second = dice.Below(8) == 7 ? 1 : 0;
        if (playing[second] == nullptr) {
            auto& caller = callers[rate + rateCount * second];
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
