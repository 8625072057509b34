// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/instrument/Instrument.h"
#include "host/player/BlockAdapter.h"
#include "python/native/RenderPass.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orphia::python {

/// What a Python instrument stands on: one that sounds as a stream, and from which whole renders begin, each
/// on a fresh instrument of its own, so that equal calls sound alike to the bit. For any number of threads;
/// calls wait for each other. Knows nothing of Python, and throws what the host throws.
class NativeInstrument {
public:
    struct Options {
        std::uint32_t sampleRate;
        std::uint32_t seed;
        bool hasLimiter;
    };

    explicit NativeInstrument(const Options& options);

    /// The text of a preset file. Returns what could not be taken.
    std::vector<std::string> LoadPreset(std::string_view text);
    std::string CapturePreset(const std::string& name);

    void Set(const host::ParameterSetting& setting);
    float Value(std::uint32_t id);

    void LoadSample(std::uint32_t sample, const std::string& path);
    void ClearSample(std::uint32_t sample);

    /// Acts with the next frame that is processed, as far as blocks allow.
    void Send(const host::MidiMessage& message);
    void AllNotesOff();
    /// As new: no note, no tail, no sound on its way.
    void Reset();
    /// Late by Latency().
    void Process(const Planes& voice, std::span<float> left, std::span<float> right);
    /// With the settings as they are, also before any block has shown them to the effects.
    std::uint32_t Latency();
    host::MeterReading TakeMeters();

    /// Warnings are what its preset asks for in vain.
    RenderedSound Render(RenderJob job, std::vector<std::string>& warnings);

private:
    std::unique_ptr<host::Instrument> Make(const host::Preset& preset,
                                           std::vector<std::string>& warnings) const;

    Options options;
    std::mutex mutex;
    std::unique_ptr<host::Instrument> instrument;
    std::optional<host::BlockAdapter> adapter;
    std::vector<host::TimedEvent> waiting;
    /// Settings that no block has seen yet.
    bool hasNews = true;
};

/// The engine that all share, loaded when it is first asked for.
std::shared_ptr<const host::EngineLibrary> SharedEngine();

} // namespace orphia::python
