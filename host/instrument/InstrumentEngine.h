// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/AlignedBuffer.h"
#include "host/audio/SafetyLimiter.h"
#include "host/engine/LateControls.h"
#include "host/instrument/Instrument.h"
#include "host/instrument/MidiControls.h"
#include "host/midi/HeldNotes.h"
#include "processor/boundary/IProcessor_V8.h"

#include <array>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace orphia::host {

/// Collects what an engine says, on whatever thread; what is too much is left out.
class EngineMessages final : public Velmora::Processor::ILogSink {
public:
    void Log(const char* text, Velmora::u32 /*level*/) override {
        const std::scoped_lock lock(mutex);
        if (text != nullptr && messages.size() < maxKept) {
            messages.emplace_back(text);
        }
    }

    std::vector<std::string> Take() {
        const std::scoped_lock lock(mutex);
        return std::exchange(messages, {});
    }

private:
    static constexpr std::size_t maxKept = 1000;

    std::mutex mutex;
    std::vector<std::string> messages;
};

/// What stands behind an Instrument; for its own sources only.
struct ORPHIA_PRIVATE Instrument::Engine {
    /// Parameters that the instrument itself reads and writes.
    struct Ids {
        explicit Ids(const ParameterCatalog& catalog);

        std::uint32_t panic, presetLoading, pedal, mpeEnabled, keyOctave, pressure, brightness;
        std::uint32_t firstPath, firstLoaded;
        LateControls::Ids late;
        std::uint32_t hiss, buzz, programOverload, carrierOverload;
    };

    Engine(std::shared_ptr<const EngineLibrary> engineLibrary, std::uint32_t rate,
           std::optional<std::uint32_t> seed);
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    void CheckNames();
    void Initialize(std::uint32_t rate);
    float Position(std::uint32_t id) const;
    void Write(std::uint32_t id, float position);
    /// As the engine does it, with nothing that follows.
    void WriteNow(std::uint32_t id, float position) { processor->SetParameter(id, position); }
    /// By id; nothing for what stays as it is.
    using Positions = std::vector<std::optional<float>>;
    void Write(const Positions& positions);
    /// Until Start.
    void BeginLoading();
    /// In front of the first note and block.
    void Start();
    void ForgetNotes();

    bool Push(const MidiMessage& message);
    bool ReleaseChannel(unsigned channel);
    void ReleaseWaiting();
    void LoadInput(const float* const* voice, std::uint32_t channels);
    void Run(std::uint32_t frames, std::uint32_t channels);
    void ApplyGain(float* const* output);
    void CollectMeters();

    void SendPath(std::uint32_t sample, const std::string& path);
    /// False when the time is over.
    bool WaitForLoads(std::chrono::milliseconds limit);
    bool HasSample(std::uint32_t sample) const { return Position(ids.firstLoaded + sample) > 0.5F; }

    // The library first, so that it goes last.
    std::shared_ptr<const EngineLibrary> library;
    const ParameterCatalog& catalog;
    Ids ids;
    EngineMessages messages;
    std::unique_ptr<EngineLibrary::Processor> processor;
    std::uint32_t sampleRate = 0;
    std::uint32_t blockFrames = 0;
    /// The voice, then the sound.
    Velmora::dsp::BlockPool buffers;
    bool hasStarted = false;
    bool isOffline = false;
    Transport transport;

    std::optional<MidiControls> controls;
    HeldNotes held;
    std::uint32_t eventsInBlock = 0;
    bool pedalMoved = false;
    /// Bit n: the notes of channel n still have to be released.
    std::uint32_t releasing = 0;
    float gain = 1.0F;
    std::optional<SafetyLimiter> limiter;
    LateControls late{ids.late};
    /// Constants that a user has set, which a preset has to know.
    std::vector<bool> isTouched;
    std::array<std::filesystem::path, sampleCount> paths;
    MeterReading meters;
};

} // namespace orphia::host
