// SPDX-License-Identifier: GPL-3.0-or-later
// The three readers of files.
#include "dsp/sampler/files/SampleReader.h"
#include "fuzz/FuzzTargets.h"
#include "host/common/Errors.h"
#include "host/player/MidiPlayer.h"
#include "host/presets/Preset.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace orphia::host;
using orphia::fuzz::Require;

void CheckPreset(std::string_view text, const ParameterCatalog& catalog) {
    std::vector<std::string> warnings;
    Preset preset;
    try {
        preset = ParsePreset(text, catalog, warnings);
    } catch (const FileError& refusal) {
        return Require(std::string_view(refusal.what()).starts_with("line "), "a refusal without its line");
    }
    for (const ParameterSetting& setting : preset.settings) {
        Require(setting.id < catalog.Parameters().size(), "a parameter that there is not");
        Require(catalog.Parameters()[setting.id].IsSettable(), "a parameter that cannot be set");
        Require(std::isfinite(setting.number), "a value is no finite number");
    }
    warnings.clear();
    const Preset copy = ParsePreset(FormatPreset(preset, catalog), catalog, warnings);
    Require(warnings.empty(), "what was written is read with warnings");
    Require(copy.name == preset.name && copy.description == preset.description && copy.tags == preset.tags,
            "other texts are read back");
    Require(copy.settings == preset.settings, "other settings are read back");
    Require(copy.samples == preset.samples, "other samples are read back");
    Require(orphia::host::SummaryOf(text).name == preset.name, "the list has another name");
}

void CheckEvents(const MidiFile& song) {
    Require(song.Seconds() >= 0.0 && song.Seconds() <= MidiFile::maxSeconds, "a song of no length");
    Require(song.Events().size() <= MidiFile::maxEvents, "more events than there may be");
    double last = 0.0;
    for (const MidiEvent& event : song.Events()) {
        Require(event.seconds >= last && event.seconds <= song.Seconds(), "an event out of order");
        Require(event.message.Kind() >= 0x80 && event.message.Kind() <= 0xE0, "no message of a channel");
        Require((event.message.data1 | event.message.data2) < 0x80, "a data byte above 127");
        last = event.seconds;
    }
}

void CheckTempo(const MidiFile& song) {
    double lastBeat = 0.0;
    for (int step = 0; step <= 16; ++step) {
        const double seconds = song.Seconds() * step / 16;
        const double beat = song.Tempo().BeatAt(seconds);
        const double tempo = song.Tempo().TempoAt(seconds);
        Require(std::isfinite(tempo) && tempo > 0.0, "no tempo");
        Require(std::isfinite(beat) && beat >= lastBeat, "the beat goes back");
        Require(std::abs(song.Tempo().SecondsAt(beat) - seconds) <= 1e-6 * (1.0 + seconds),
                "beats and seconds are apart");
        lastBeat = beat;
    }
}

/// Its first blocks, on an instrument that takes all and computes no sound.
void Play(const MidiFile& song) {
    static Instrument instrument(EngineLibrary::Load(ORPHIA_SILENT_ENGINE), 44100);
    instrument.Reset();
    MidiPlayer player(song, instrument);
    std::array<float, 4096> output{};
    for (int i = 0; i < 400 && !player.IsDone(); ++i) {
        player.Process(std::span(output).first(std::size_t{instrument.FramesPerBlock()} * 2));
    }
    const float gain = instrument.Controls().Gain();
    Require(gain >= 0.0F && gain <= 1.0F, "a gain that no volume has");
}

} // namespace

void orphia::fuzz::PresetReader(Input input) {
    static const ParameterCatalog vocoder(EngineTree::Vocoder);
    const std::string_view text(reinterpret_cast<const char*>(input.data()), input.size());
    CheckPreset(text, ParameterCatalog::OfInstrument());
    CheckPreset(text, vocoder);
}

void orphia::fuzz::MidiReader(Input input) {
    try {
        const MidiFile song = MidiFile::Parse(input);
        CheckEvents(song);
        CheckTempo(song);
        Play(song);
    } catch (const FileError& refusal) {
        Require(!std::string_view(refusal.what()).empty(), "a refusal without a reason");
    }
}

void orphia::fuzz::SampleReader(Input input) {
    static const Velmora::dsp::SampleReader reader;
    using Velmora::dsp::SampleData;
    // A file without a place on the disk.
    const int file = memfd_create("fuzz", MFD_CLOEXEC);
    Require(write(file, input.data(), input.size()) == static_cast<ssize_t>(input.size()), "no file");
    const auto result = reader.Read("/proc/self/fd/" + std::to_string(file));
    close(file);
    Require((result.data != nullptr) == (result.refusal == Velmora::dsp::SampleRefusal::None),
            "neither a sample nor a refusal");
    if (result.data == nullptr) {
        return;
    }
    const SampleData& data = *result.data;
    const auto channels = static_cast<std::uint32_t>(data.ChannelCount());
    Require(channels == 1 || channels == 2, "neither mono nor stereo");
    Require(data.ChannelCount() == result.channelCount, "not the channels of the header");
    Require(data.SampleRate() > 0.0F && data.SampleRate() == static_cast<float>(result.sampleRate),
            "not the rate of the header");
    Require(data.Frames() > 0 && data.Frames() <= result.frames, "more frames than the header has, or none");
    Require((data.Channel(1) != nullptr) == (channels == 2), "the wrong channel");
    for (std::uint32_t channel = 0; channel < channels; ++channel) {
        const float* const samples = data.Channel(channel);
        Require(std::all_of(samples, samples + data.Frames() + SampleData::guardFrames,
                            [](float x) { return std::isfinite(x); }),
                "a sample is no finite number");
    }
}
