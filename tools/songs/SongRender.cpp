// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/songs/SongRender.h"

#include "host/audio/AudioFileSource.h"
#include "host/common/Errors.h"
#include "host/common/Paths.h"
#include "host/instrument/Instrument.h"
#include "host/parts/SampleReport.h"
#include "tools/run/InputSound.h"
#include "tools/run/Performance.h"
#include "tools/run/RenderOutput.h"
#include "tools/run/RunDisplay.h"
#include "tools/songs/Automation.h"
#include "tools/songs/SongPerformance.h"
#include "tools/terminal/Terminal.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <memory>

namespace orphia::tools {

namespace {

using host::Instrument;

/// Without a voice, and the least with one, so that the treble path has its place.
constexpr std::uint32_t usualRate = 44100;

enum Output : unsigned { CarrierMonitor, ModulatorMonitor };

unsigned OutputOf(const Instrument& instrument) {
    return static_cast<unsigned>(instrument.Value("OutputSelection"));
}

std::uint32_t ChooseRate(const InstrumentOptions& options, const InputSound* voice) {
    if (options.SampleRate() != 0) {
        return options.SampleRate();
    }
    return voice != nullptr ? std::clamp(voice->FileRate(), usualRate, Instrument::maximumSampleRate)
                            : usualRate;
}

void LoadSlots(Instrument& instrument, const std::vector<std::filesystem::path>& paths) {
    for (std::uint32_t slot = 0; slot < paths.size(); ++slot) {
        if (paths[slot].empty()) {
            continue;
        }
        try {
            instrument.LoadSample(slot, paths[slot]);
            const host::AudioFileSource odd(paths[slot]); // a rate that no sound has is refused
        } catch (const host::FileError&) {
            const host::SampleReport report = host::InspectSample(paths[slot]);
            if (report.isAccepted) {
                throw;
            }
            throw host::FileError(fmt::format("{}: {}", host::TextOf(paths[slot]), report.reason));
        }
    }
}

/// Without anything to listen to, the vocoder is silent.
void CheckHearsSomething(const Instrument& instrument, bool hasVoice) {
    const bool listensToVoice = instrument.Value("Modulator_ExternalInput") > 0.5F;
    bool hears = listensToVoice && hasVoice;
    for (std::uint32_t sample = 0; sample < Instrument::sampleCount; ++sample) {
        hears = hears || (!listensToVoice && instrument.HasSample(sample));
    }
    if (!hears && OutputOf(instrument) != CarrierMonitor) {
        throw host::UsageError(listensToVoice
                                   ? "the preset listens to a voice: give --voice, or --slots; or "
                                     "--monitor carrier, which needs none"
                                   : "the preset plays samples, and there are none: give --slots or --voice");
    }
}

void WarnWithoutNotes(const SongJob& job, const Instrument& instrument, std::size_t noteCount) {
    if (!job.song.empty()) {
        if (noteCount == 0) {
            Warn(fmt::format("{} holds no notes", host::TextOf(job.song)));
        }
    } else if (OutputOf(instrument) != ModulatorMonitor && instrument.Value("Carrier_PitchTrack") < 0.5F) {
        Warn("without --midi no note is played; Carrier_PitchTrack=on lets the voice play");
    }
}

} // namespace

std::vector<std::filesystem::path> SongJob::Inputs() const {
    std::vector<std::filesystem::path> inputs = slots;
    inputs.insert(inputs.end(), {song, voice, automation});
    inputs.erase(std::remove(inputs.begin(), inputs.end(), std::filesystem::path()), inputs.end());
    return inputs;
}

void RenderSong(const SongJob& job, const InstrumentOptions& options) {
    using Playback = host::AudioFileSource::Playback;
    const host::MidiFile song = job.song.empty() ? host::MidiFile() : host::MidiFile::Read(job.song);
    std::optional<Automation> moves;
    if (!job.automation.empty()) {
        moves = Automation::Read(job.automation, options.Catalog(), song.Tempo());
    }
    std::unique_ptr<InputSound> voice;
    if (!job.voice.empty()) {
        voice = std::make_unique<InputSound>(job.voice, job.loopsVoice ? Playback::Loop : Playback::Once);
    }
    const std::uint32_t rate = ChooseRate(options, voice.get());
    if (voice != nullptr) {
        voice->ConvertTo(rate);
    }

    const std::unique_ptr<Instrument> instrument = options.MakeInstrument(rate, job.wishes);
    LoadSlots(*instrument, job.slots);
    CheckHearsSomething(*instrument, voice != nullptr);
    const std::unique_ptr<host::PendingFile> presetFile = options.BeginPresetOf(*instrument);
    SongPerformance performance(song, *instrument, voice.get(), moves ? &*moves : nullptr);
    WarnWithoutNotes(job, *instrument, performance.NoteCount());
    RenderOutput output(
        options.Output(), rate, instrument->FramesPerBlock(), [&] { return instrument->LatencyFrames(); },
        options.Format());
    RunDisplay display(job.showsMeters);
    RenderWhole(performance, output, job.tail, display);
    output.Finish();
    if (presetFile) {
        presetFile->Commit();
    }
    if (voice != nullptr) {
        voice->WarnOfReplaced();
    }
    output.PrintSummary();
}

} // namespace orphia::tools
