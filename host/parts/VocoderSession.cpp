// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/parts/VocoderSession.h"

#include "dsp/framework/RunChild.h"
#include "dsp/math/DenormalGuard.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "host/audio/SafetyLimiter.h"
#include "host/common/Errors.h"
#include "host/engine/LateControls.h"
#include "host/parameters/ParameterCatalog.h"
#include "processor/adapter/BlockSize.h"
#include "vocoder/core/BodeVocoder.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <utility>

namespace orphia::host {

using Velmora::Processor::BodeVocoder;

/// The core with the buffers of one block.
struct ORPHIA_PRIVATE VocoderSession::Engine {
    static constexpr std::uint32_t carrierCount = 2;
    static constexpr std::uint32_t inputCount = 11;
    static constexpr std::uint32_t outputCount = 6;

    BodeVocoder core;
    std::uint32_t blockSize;
    Velmora::dsp::BlockPool buffers;
    std::array<const float*, inputCount> inputs{};
    std::array<const float*, 2> modulators{};
    std::array<float*, outputCount> outputs{};
    std::optional<SafetyLimiter> limiter;
    LateControls late{LateControls::Ids(ParameterCatalog::OfVocoder())};

    explicit Engine(std::uint32_t size) : blockSize(size) {
        buffers.Allocate(carrierCount + 2 + outputCount, blockSize);
        std::uint32_t next = 0;
        // The other inputs are modulations and stay null.
        inputs[0] = buffers[next++];
        inputs[1] = buffers[next++];
        modulators = {buffers[next], buffers[next + 1]};
        next += 2;
        for (float*& output : outputs) {
            output = buffers[next++];
        }
    }

    float Position(std::uint32_t id) { return core.GetParameterNormalized(id); }
    void WriteNow(std::uint32_t id, float position) { core.SetParameterNormalized(id, position); }

    static std::uint32_t IdOf(std::uint32_t index) {
        return BodeVocoder::ParameterId(static_cast<BodeVocoder::Parameter>(index));
    }

    /// Both sides of an interleaved block of at most blockSize frames, filled up with silence.
    void Load(std::span<const float> samples, std::uint32_t firstBuffer) {
        for (std::uint32_t side = 0; side < 2; ++side) {
            float* const buffer = buffers[firstBuffer + side];
            const std::size_t frames = samples.size() / 2;
            for (std::size_t n = 0; n < frames; ++n) {
                buffer[n] = samples[2 * n + side];
            }
            std::fill(buffer + frames, buffer + blockSize, 0.0F);
        }
    }

    void Fetch(std::span<float> samples) const {
        const float* const left = outputs[0];
        const float* const right = outputs[1];
        for (std::size_t n = 0; n < samples.size() / 2; ++n) {
            samples[2 * n] = left[n];
            samples[2 * n + 1] = right[n];
        }
    }

    void Run() {
        Velmora::dsp::ProcessContext context;
        context.inputs = inputs.data();
        context.numInputs = inputCount;
        context.auxInputs = modulators.data();
        context.numAuxInputs = 2;
        context.outputs = outputs.data();
        context.numOutputs = outputCount;
        context.numFrames = blockSize;
        context.isOffline = 1;
        Velmora::dsp::RunChild(core, context);
    }
};

std::uint32_t VocoderSession::BlockSize(float rate) { return Velmora::Processor::BlockSizeAt(rate); }

VocoderSession::VocoderSession(std::uint32_t rate, std::uint32_t noiseSeed) : sampleRate(rate) {
    if (rate < minimumSampleRate || rate > maximumSampleRate) {
        throw UsageError(fmt::format("sample rate {} Hz is outside {} Hz .. {} Hz", rate, minimumSampleRate,
                                     maximumSampleRate));
    }
    const auto hertz = static_cast<float>(rate);
    engine = std::make_unique<Engine>(BlockSize(hertz));
    engine->core.SeedNoise(noiseSeed);
    engine->core.Initialize(hertz, engine->blockSize);
}

VocoderSession::~VocoderSession() = default;

void VocoderSession::SetLimiter(bool isOn) {
    engine->limiter.reset();
    if (isOn) {
        engine->limiter.emplace(sampleRate);
    }
}

std::uint32_t VocoderSession::LatencyFrames() const {
    return engine->limiter ? engine->limiter->LatencyFrames() : 0;
}

void VocoderSession::Set(const ParameterSetting& setting) {
    if (setting.id >= BodeVocoder::parameterCount || !std::isfinite(setting.number)) {
        return;
    }
    ParameterSetting& kept = settings[setting.id] = setting;
    if (setting.scale == ParameterSetting::Scale::Position) {
        kept.number = std::clamp(setting.number, 0.0F, 1.0F);
        engine->core.SetParameterNormalized(setting.id, kept.number);
    } else {
        engine->core.SetParameterValue(setting.id, setting.number);
    }
    engine->late.Note(setting.id);
}

void VocoderSession::Apply(const Preset& preset) {
    for (const ParameterSetting& setting : preset.settings) {
        Set(setting);
    }
}

std::vector<ParameterSetting> VocoderSession::Settings() const {
    std::vector<ParameterSetting> list;
    for (const auto& [id, setting] : settings) {
        list.push_back(setting);
    }
    return list;
}

float VocoderSession::Value(std::uint32_t id) const {
    if (engine->late.IsWaitingHold(id)) {
        return 1.0F;
    }
    const Velmora::dsp::ModuleParam* record = engine->core.FindParameter(id);
    return record != nullptr ? record->PeekValue() : 0.0F;
}

void VocoderSession::Process(std::span<const float> modulator, std::span<const float> carrier,
                             std::span<float> output) {
    const Velmora::dsp::DenormalGuard guard;
    if (!started) {
        Start();
    }
    const std::size_t block = std::size_t{engine->blockSize} * 2;
    for (std::size_t start = 0; start < output.size(); start += block) {
        const std::size_t count = std::min(block, output.size() - start);
        engine->Load(carrier.subspan(start, count), 0);
        engine->Load(modulator.subspan(start, count), Engine::carrierCount);
        engine->late.LetShiftArrive(*engine);
        engine->Run();
        if (engine->limiter) {
            engine->limiter->Process(engine->outputs.data(), engine->blockSize);
        }
        engine->Fetch(output.subspan(start, count));
        if (isMetered) {
            CollectMeters();
        }
        engine->late.HoldOnceItSounds(*engine);
    }
}

/// Smoothers take what is set now.
void VocoderSession::Start() {
    engine->late.DelayHold(*engine, sampleRate, engine->blockSize);
    engine->core.Reset(true);
    engine->late.Arrive();
    started = true;
}

void VocoderSession::CollectMeters() {
    const auto collect = [this](float& largest, std::uint32_t index) {
        largest = std::max(largest, engine->core.GetParameterNormalized(Engine::IdOf(index)));
    };
    collect(meters.hiss, BodeVocoder::HissLED);
    collect(meters.buzz, BodeVocoder::BuzzLED);
    collect(meters.programOverload, BodeVocoder::PreampOverloadLED);
    collect(meters.carrierOverload, BodeVocoder::CarrierPreampOverloadLED);
    for (std::uint32_t band = 0; band < MeterReading::bandCount; ++band) {
        collect(meters.bands[band], BodeVocoder::CVFB1 + band);
    }
}

MeterReading VocoderSession::TakeMeters() {
    MeterReading reading = std::exchange(meters, {});
    reading.limiterReduction = engine->limiter ? engine->limiter->TakeReduction() : 0.0F;
    return reading;
}

} // namespace orphia::host
