// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/ModulatorSession.h"

#include "dsp/AlignedBuffer.h"
#include "dsp/DenormalGuard.h"
#include "dsp/RunChild.h"
#include "host/Errors.h"
#include "vocoder/VocoderModulator.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string>
#include <thread>

namespace orphia::host {

using Velmora::Processor::VocoderModulator;

static_assert(ModulatorSession::sampleCount == VocoderModulator::sampleCount);

namespace {

constexpr std::uint32_t keyCount = 128;
constexpr std::uint32_t keysPerOctave = 12;

} // namespace

/// The modulator with the buffers of one block and the keys that are down.
struct ModulatorSession::Engine {
    // First of all, so that it outlives the module that reads it.
    std::array<Velmora::u8, keyCount> presses{};
    VocoderModulator core;
    std::uint32_t blockSize;
    Velmora::dsp::BlockPool buffers;

    explicit Engine(std::uint32_t size) : blockSize(size) {
        buffers.Allocate(VocoderModulator::outputCount, blockSize);
        core.SetHeldNotes(presses);
    }

    /// None at all: settings and samples that have come take effect.
    void Run(std::uint32_t frames) {
        const Velmora::dsp::DenormalGuard guard;
        const std::array<float*, VocoderModulator::outputCount> outputs{buffers[0], buffers[1], buffers[2]};
        Velmora::dsp::ProcessContext context;
        context.outputs = outputs.data();
        context.numOutputs = outputs.size();
        context.numFrames = frames;
        context.isPlaying = 1;
        context.isOffline = 1;
        Velmora::dsp::RunChild(core, context);
    }

    /// False when the time is over.
    bool WaitForLoads(std::chrono::milliseconds limit) {
        const auto end = std::chrono::steady_clock::now() + limit;
        for (Run(0); core.IsLoading(); Run(0)) {
            if (std::chrono::steady_clock::now() >= end) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return true;
    }
};

ModulatorSession::ModulatorSession(std::uint32_t rate, std::uint32_t seed) : EngineSession(rate) {
    const auto hertz = static_cast<float>(rate);
    engine = std::make_unique<Engine>(BlockSize(hertz));
    engine->core.SeedRandom(seed);
    engine->core.Initialize(hertz, engine->blockSize);
}

ModulatorSession::~ModulatorSession() = default;

bool ModulatorSession::Write(const ParameterSetting& setting) {
    if (setting.id >= VocoderModulator::parameterCount) {
        return false;
    }
    WriteTo(engine->core, setting);
    return true;
}

float ModulatorSession::Value(std::uint32_t id) const {
    const Velmora::dsp::ModuleParam* record = engine->core.FindParameter(id);
    return record != nullptr ? record->PeekValue() : 0.0F;
}

std::uint32_t ModulatorSession::FramesPerBlock() const { return engine->blockSize; }

void ModulatorSession::LoadSample(std::uint32_t sample, const std::filesystem::path& path,
                                  std::chrono::milliseconds limit) {
    // The engine reads a file once: without the empty path the same file would not be read again, and an old
    // sample would stay when the new one fails.
    engine->core.SetPath(sample, "");
    engine->WaitForLoads(limit);
    if (path.empty() || !engine->core.SetPath(sample, path.string())) {
        throw FileError(
            fmt::format("{}: is no path of a sample; they have at most 256 bytes", path.string()));
    }
    if (!engine->WaitForLoads(limit)) {
        throw FileError(fmt::format("{}: takes too long to load", path.string()));
    }
    if (!HasSample(sample)) {
        throw FileError(fmt::format("{}: cannot be used as a sample", path.string()));
    }
}

bool ModulatorSession::HasSample(std::uint32_t sample) const { return engine->core.HasSample(sample); }

std::uint32_t ModulatorSession::KeyOf(std::uint32_t slot) const {
    const auto octave = Value(VocoderModulator::ParameterId(VocoderModulator::KeyboardSampleOctave));
    return static_cast<std::uint32_t>(octave) * keysPerOctave + slot;
}

/// Before the first block smoothers take what is set; then what is set counts for a note.
void ModulatorSession::Start() {
    if (!started) {
        engine->core.Reset(true);
        started = true;
    }
    engine->Run(0);
}

void ModulatorSession::NoteOn(std::uint32_t key) {
    if (key < keyCount) {
        Start();
        engine->presses[key] = 1;
        engine->core.NoteOn(key);
    }
}

void ModulatorSession::NoteOff(std::uint32_t key) {
    if (key < keyCount) {
        Start();
        engine->presses[key] = 0;
        engine->core.NoteOff(key);
    }
}

bool ModulatorSession::IsPlaying() const {
    return Value(VocoderModulator::ParameterId(VocoderModulator::IsPlayingSample)) > 0.5F;
}

void ModulatorSession::Process(std::span<float> output) {
    if (!started) {
        Start();
    }
    const std::size_t block = std::size_t{engine->blockSize} * 2;
    for (std::size_t start = 0; start < output.size(); start += block) {
        engine->Run(engine->blockSize);
        const std::size_t count = std::min(block, output.size() - start);
        for (std::size_t n = 0; n < count; ++n) {
            output[start + n] = engine->buffers[n % 2][n / 2];
        }
    }
}

} // namespace orphia::host
