// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/ByteDice.h"
#include "fuzz/FuzzTargets.h"
#include "fuzz/Require.h"
#include "processor/RandomHost.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

extern "C" Velmora::Processor::IProcessorFactory* GetProcessorFactory();

namespace {

using orphia::fuzz::ByteDice;
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
    explicit Caller(ByteDice& bytes)
        : host([&bytes](u32 limit) { return bytes.Below(limit); }, MakeProcessor()), fresh(Values()) {}

    void Begin(float rate) {
        for (u32 sample = 0; sample < sampleCount; ++sample) {
            SetPath(sample, {});
        }
        host.tempo = 120.0F;
        host.songPosition = 0.0F;
        restarts = 0;
        Initialize(rate);
        // Backwards, since the mode of retuning sets an earlier one.
        for (u32 id = parameterCount; id-- > 0;) {
            host.processor->SetParameter(id, fresh[id]);
        }
        TakeChanges();
        Require(Values() == fresh, "what is set back differs from a new processor");
    }

    void Call() {
        switch (host.Below(24)) {
        case 0:
            return Ask();
        case 1:
            return SetData();
        case 2:
            return Restart();
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
            return OddBlock();
        case 8:
            return Renew();
        default:
            return Play();
        }
    }

    void RunBlocks(u32 count) {
        for (u32 block = 0; block < count; ++block) {
            const float odd = host.AnyNumber();
            host.Block(blockSize, host.Below(3), host.Below(4) == 0 ? &odd : nullptr);
            Require(std::isfinite(host.Peak()), "a sample is no finite number");
        }
    }

private:
    void Play() {
        switch (host.Below(4)) {
        case 0:
            return host.SetAnything();
        case 1:
            return host.PushAnything();
        case 2:
            return host.NoteOn(static_cast<u8>(host.Below(128)));
        default:
            return RunBlocks(1 + host.Below(4));
        }
    }

    void Initialize(float rate) {
        const Velmora::Processor::ProcessorSetup setUp{rate};
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
        const float rate = rates[host.Below(rates.size())];
        if (restarts++ % 4 == 0) {
            host.processor->Terminate();
        }
        Initialize(rate);
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
        float value = 0.0F;
        processor.GetParameter(id, &value);
        Require(std::isfinite(value), "a parameter's value is no finite number");
        std::array<u8, 300> data{};
        u32 size = host.Below(data.size());
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
        auto size = static_cast<u32>(path.size());
        host.processor->SetParameterData(host.Below(parameterCount + 4), path.data(), &size);
        WaitForFiles();
    }
    std::string Bytes() {
        std::string bytes(host.Below(16), ' ');
        std::generate(bytes.begin(), bytes.end(), [this] { return static_cast<char>(host.Below(256)); });
        return bytes;
    }
    void SetPath(u32 sample, const std::string& path) {
        static const u32 firstPath = FirstPath();
        auto size = static_cast<u32>(path.size());
        host.processor->SetParameterData(firstPath + sample, path.data(), &size);
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
        constexpr float untouched = 77.0F;
        const u32 frames = host.Below(RandomHost::room);
        const u32 shift = host.Below(4);
        std::array<std::vector<float>, 6> sound;
        std::array<float*, 6> channels{};
        for (u32 i = 0; i < sound.size(); ++i) {
            sound[i].assign(frames + shift + 1, i < 3 ? untouched : host.AnyNumber());
            channels[i] = sound[i].data() + shift;
        }
        Velmora::Processor::HostProcessData data{};
        data.numOutputs = host.Below(4);
        data.outputs = data.numOutputs > 0 ? channels.data() : nullptr;
        data.numAuxInputs = host.Below(4);
        data.auxInputs = data.numAuxInputs > 0 ? channels.data() + 3 : nullptr;
        data.numFrames = frames;
        data.tempo = host.tempo;
        data.songPosition = host.songPosition;
        data.isPlaying = static_cast<u8>(host.Below(2));
        data.processMode = static_cast<Velmora::i32>(host.Below(2));
        host.processor->Process(&data);
        for (u32 i = 0; i < 3; ++i) {
            Require(sound[i].back() == untouched, "a sample behind the block");
            Require(i >= data.numOutputs || std::all_of(channels[i], channels[i] + frames,
                                                        [](float x) { return std::isfinite(x); }),
                    "a sample is no finite number");
        }
        if (host.Below(2) == 0) {
            host.processor->ClearEvents();
        }
    }

    std::vector<float> Values() const {
        std::vector<float> values(parameterCount);
        for (u32 id = 0; id < parameterCount; ++id) {
            host.processor->GetParameter(id, &values[id]);
        }
        return values;
    }

    RandomHost host;
    std::vector<float> fresh;
    u32 blockSize = RandomHost::blockSize;
    u32 restarts = 0;
};

} // namespace

void orphia::fuzz::Boundary(const std::uint8_t* data, std::size_t size) {
    static ByteDice dice;
    static std::array<Caller, 2> callers = {Caller(dice), Caller(dice)};
    dice = ByteDice(data, size);
    // Most inputs at a low rate, with which everything takes a fraction of the time.
    const float rate = dice.Below(8) == 7 ? 44100.0F : 8000.0F;
    std::array<bool, 2> hasBegun{};
    for (u32 call = 0; call < 200 && !dice.IsEmpty(); ++call) {
        const u32 second = dice.Below(8) == 7 ? 1 : 0;
        if (!hasBegun[second]) {
            callers[second].Begin(rate);
            hasBegun[second] = true;
        }
        callers[second].Call();
    }
    for (u32 i = 0; i < callers.size(); ++i) {
        callers[i].RunBlocks(hasBegun[i] ? 4 : 0);
    }
}
