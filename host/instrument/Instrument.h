// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/common/Public.h"
#include "host/engine/BlockEngine.h"
#include "host/engine/EngineLibrary.h"
#include "host/engine/MeterReading.h"
#include "host/instrument/MidiControls.h"
#include "host/parameters/ParameterCatalog.h"
#include "host/presets/Preset.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orphia::host {

/// Where a song is, for what follows its beat.
struct ORPHIA_PUBLIC Transport {
    /// In beats per minute.
    double tempo = 120.0;
    /// In quarter notes.
    double beat = 0.0;
    bool isPlaying = true;
};

/// One vocoder instrument: notes, samples and a voice in, stereo sound out. It is played through the engine's
/// library and nothing else.
///
/// A new instrument has the built-in preset, with which it sounds at once, and not the raw values of the
/// engine, with which it is silent. What is set before the first note or block is there at once; later the
/// engine moves to it in its own time.
///
/// "Shift" and "Width" arrive within a tenth of a second, which the engine alone does not see to. A hold
/// ("SampleHold") that is on from the start takes hold once the voice has sounded for a fifth of a second, as
/// before there is nothing worth holding.
///
/// For one thread at a time. Send, Set and Value by id, Control, the notes, AllNotesOff, Panic, SetTransport,
/// ProcessBlock and TakeMeters neither allocate nor wait nor throw and are for an audio thread; the rest is
/// not. A faulty number in a voice, or in a setting, comes to no harm.
class ORPHIA_PUBLIC Instrument final : public BlockEngine {
public:
    static constexpr std::uint32_t sampleCount = 12;
    static constexpr std::uint32_t minimumSampleRate = 8000;
    static constexpr std::uint32_t maximumSampleRate = 384000;
    /// What one block takes.
    static constexpr std::size_t maxEvents = 256;
    /// Each program has its own, as one name for all would keep the library in the process for ever.
    ORPHIA_PRIVATE static constexpr std::chrono::milliseconds loadLimit = std::chrono::minutes(5);

    /// Throws UsageError for a rate out of range, EngineError when the library's parameters are not those of
    /// the catalog. With a seed, noise and random modulation repeat exactly; otherwise they begin anywhere.
    explicit Instrument(std::shared_ptr<const EngineLibrary> library, std::uint32_t sampleRate,
                        std::optional<std::uint32_t> seed = std::nullopt);
    ~Instrument() override;

    const EngineLibrary& Library() const;
    /// The same for all instruments.
    const ParameterCatalog& Catalog() const;
    std::uint32_t SampleRate() const;
    /// Begins anew at another rate, with all settings and samples, and with blocks of another length, which
    /// adapters and players follow. Throws UsageError.
    void SetSampleRate(std::uint32_t sampleRate);

    /// About a millisecond at every rate: 44 at 44100 Hz.
    std::uint32_t FramesPerBlock() const override;
    /// Of the limiter, and of effects that say so.
    std::uint32_t LatencyFrames() const override;

    /// A safety limiter behind everything: no true peak above -1 dBFS, no bit changed below it, about 2 ms
    /// of latency. Off in a new instrument. Allocates, so not for an audio thread.
    void SetLimiter(bool isOn);
    /// Saw and triangle driven ("Osc1Shape", "Osc2Shape") without the aliases of the drive's folds, half a
    /// sample late. Off in a new instrument; stays through presets.
    void SetSmoothDrive(bool isOn);

    /// A number that is not finite, an output and an id beyond the last one are ignored; what is out of
    /// range is taken as its end.
    void Set(const ParameterSetting& setting) override;
    /// As a user writes them: a name or an unambiguous ending of one, and "-12 dB", "1/8", "on", "50 %".
    /// Throws UsageError.
    void Set(std::string_view name, std::string_view text);
    /// The real value within its range, for a wheel or pedal: it does not become part of a preset.
    void Control(std::uint32_t id, float value);

    /// What the engine has at present: the real value, in the parameter's unit, and the knob's position.
    float Value(std::uint32_t id) const;
    float Value(std::string_view name) const;
    float Position(std::uint32_t id) const;

    /// A message of a channel: notes and key pressure, and wheels, pedals and pressure as MidiControls tells;
    /// the messages that end all notes of a channel too. False when it has to wait for the next block, and
    /// all messages behind it too: a block takes maxEvents notes, and settings act in front of its notes, so
    /// a pedal must not overtake them.
    bool Send(const MidiMessage& message) override;
    /// Notes 0 to 127, velocity above 0 to 1. False when the block takes no more.
    bool NoteOn(unsigned note, float velocity = 0.8F, unsigned channel = 0);
    bool NoteOff(unsigned note, unsigned channel = 0);
    /// What wheels, pedals and pressure do, and the volume that they make.
    MidiControls& Controls();
    /// Releases every note that is down, and the pedal.
    void AllNotesOff();
    /// Silence at once: no voice, no tail.
    void Panic();
    /// As Panic, but gently: what is set stays where it is and need not be moved to again.
    void Reset();
    /// Noise and random modulation go on as in a new instrument with this seed. Allocates.
    void SeedNoise(std::uint32_t seed);

    /// Replaces a sample, from 0, by the one in a file, and waits until it is there. Throws FileError when
    /// the file gives none, which leaves the sample empty, or when it takes longer than `limit`.
    void LoadSample(std::uint32_t sample, const std::filesystem::path& path,
                    std::chrono::milliseconds limit = loadLimit);
    void ClearSample(std::uint32_t sample);
    bool HasSample(std::uint32_t sample) const;
    /// The absolute path of a sample's file; empty for none.
    const std::filesystem::path& SamplePath(std::uint32_t sample) const;
    bool IsLoading() const;
    /// The key that chooses a slot, from 0, when the keys choose.
    unsigned KeyOf(std::uint32_t slot) const;

    /// Sets single values of a preset, and leaves the rest and all samples.
    void Apply(const Preset& preset);
    /// The preset alone: what it does not name becomes as in a new instrument. Samples that it does not
    /// speak of stay. Notes end. Returns a line for each sample that could not be loaded.
    std::vector<std::string> LoadPreset(const Preset& preset, std::chrono::milliseconds limit = loadLimit);
    /// Everything that LoadPreset needs to bring this sound back exactly.
    Preset CapturePreset(std::string name = {}) const;

    /// All knobs at one moment. An audio thread can copy them into one that was made before, and another
    /// thread make the preset of it.
    struct Snapshot {
        std::vector<float> positions;
        std::vector<bool> touched;
    };
    Snapshot TakeSnapshot() const;
    /// For an audio thread; into one of TakeSnapshot.
    void TakeSnapshot(Snapshot& snapshot) const;
    Preset CapturePreset(const Snapshot& snapshot, std::string name = {}) const;

    /// For the next block; while it plays, the beat goes on from block to block by itself.
    void SetTransport(const Transport& transport);
    const Transport& CurrentTransport() const;
    /// Rendering need not be in time.
    void SetOffline(bool isOffline);

    void ProcessBlock(const float* const* voice, std::uint32_t voiceChannels, float* const* output) override;

    /// The largest readings since the last call.
    MeterReading TakeMeters();
    /// What the engine had to say since the last call.
    std::vector<std::string> TakeMessages();

private:
    struct Engine;

    void LoadSettings(const Preset& preset);

    std::unique_ptr<Engine> engine;
};

} // namespace orphia::host
