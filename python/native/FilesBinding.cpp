// SPDX-License-Identifier: GPL-3.0-or-later
// Presets, songs and sound files.
#include "host/audio/AudioFileSource.h"
#include "host/audio/AudioFileWriter.h"
#include "host/audio/LoudnessMeter.h"
#include "host/audio/ResampledSource.h"
#include "host/common/Errors.h"
#include "host/midi/MidiFile.h"
#include "host/presets/PresetLibrary.h"
#include "python/native/Arrays.h"
#include "python/native/Bindings.h"

#include <fmt/format.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace orphia::python {

namespace py = pybind11;

namespace {

using host::MidiEvent;
using host::MidiFile;
using host::PresetLibrary;

constexpr std::size_t chunkFrames = 16384;

/// Name, description and, for one of the user's own, path.
std::vector<std::tuple<std::string, std::string, std::string, std::string>> ListPresets() {
    std::vector<std::tuple<std::string, std::string, std::string, std::string>> list;
    const PresetLibrary library;
    for (const PresetLibrary::Entry& entry : library.Entries()) {
        list.emplace_back(entry.id, entry.name, entry.description, entry.path.string());
    }
    return list;
}

/// The text of a preset with whole paths, and warnings.
std::pair<std::string, std::vector<std::string>> OpenPreset(const std::string& pathOrName) {
    const auto& catalog = host::ParameterCatalog::OfInstrument();
    std::vector<std::string> warnings;
    const host::Preset preset = PresetLibrary().Open(pathOrName, catalog, warnings);
    return {host::FormatPreset(preset, catalog), std::move(warnings)};
}

MidiFile ParseSong(const py::bytes& bytes) {
    const std::string_view text = bytes;
    return MidiFile::Parse({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

using Messages = py::array_t<std::uint8_t, py::array::c_style | py::array::forcecast>;
using Times = py::array_t<double, py::array::c_style | py::array::forcecast>;

/// Of (count,) seconds and (count, 3) bytes.
MidiFile MakeSong(const Times& seconds, const Messages& messages, double length, double tempo) {
    if (messages.ndim() != 2 || messages.shape(1) != 3 || seconds.ndim() != 1 ||
        seconds.shape(0) != messages.shape(0)) {
        throw host::UsageError("events must be (count,) seconds and (count, 3) bytes");
    }
    std::vector<MidiEvent> events;
    for (py::ssize_t n = 0; n < seconds.shape(0); ++n) {
        events.push_back({seconds.at(n), {messages.at(n, 0), messages.at(n, 1), messages.at(n, 2)}});
    }
    host::TempoMap map;
    map.ChangeAtBeat(0.0, tempo);
    return MidiFile::FromEvents(std::move(events), std::move(map), length);
}

/// Both at once, in the first one's tempo.
MidiFile Together(const MidiFile& song, const MidiFile& other) {
    std::vector<MidiEvent> events = song.Events();
    events.insert(events.end(), other.Events().begin(), other.Events().end());
    return MidiFile::FromEvents(std::move(events), song.Tempo(), std::max(song.Seconds(), other.Seconds()));
}

/// Cut to a length, or repeated up to it; what is down at the end of a pass is released.
MidiFile Fitted(const MidiFile& song, double length) {
    constexpr std::uint8_t allNotesOff = 123;
    constexpr double shortest = 0.1; // of what is repeated
    std::vector<MidiEvent> events;
    for (double start = 0.0; start < length && events.size() < MidiFile::maxEvents;
         start += std::max(song.Seconds(), shortest)) {
        for (std::uint8_t channel = 0; start > 0.0 && channel < 16; ++channel) {
            events.push_back({start, {static_cast<std::uint8_t>(0xB0U | channel), allNotesOff, 0}});
        }
        for (const MidiEvent& event : song.Events()) {
            if (start + event.seconds < length) {
                events.push_back({start + event.seconds, event.message});
            }
        }
    }
    return MidiFile::FromEvents(std::move(events), song.Tempo(), length);
}

std::size_t NoteCount(const MidiFile& song) {
    return static_cast<std::size_t>(
        std::count_if(song.Events().begin(), song.Events().end(), [](const MidiEvent& event) {
            return event.message.Kind() == 0x90 && event.message.data2 > 0;
        }));
}

struct Sound {
    std::vector<float> left;
    std::vector<float> right;
    std::uint32_t sampleRate = 0;
};

Sound ReadAll(const std::string& path, std::uint32_t rate) {
    std::unique_ptr<host::AudioSource> source = std::make_unique<host::AudioFileSource>(path);
    const std::uint32_t wanted =
        rate != 0 ? rate : std::clamp(source->SampleRate(), 8000U, host::Instrument::maximumSampleRate);
    source = host::AtRate(std::move(source), wanted);
    Sound sound{{}, {}, wanted};
    std::vector<float> chunk(chunkFrames * 2);
    for (std::size_t frames = chunkFrames; frames == chunkFrames;) {
        frames = source->Read(chunk);
        for (std::size_t n = 0; n < frames; ++n) {
            sound.left.push_back(chunk[2 * n]);
            sound.right.push_back(chunk[2 * n + 1]);
        }
    }
    return sound;
}

py::tuple ReadAudio(const std::string& path, std::uint32_t rate) {
    const Sound sound = WithoutLock([&] { return ReadAll(path, rate); });
    return py::make_tuple(ArrayOf(sound.left, sound.right), sound.sampleRate);
}

std::uint32_t AudioRate(const std::string& path) { return host::AudioFileSource(path).SampleRate(); }

std::optional<host::SampleFormat> FormatOf(const std::string& bits) {
    if (bits.empty()) {
        return std::nullopt;
    }
    if (bits == "16") {
        return host::SampleFormat::Int16;
    }
    if (bits == "24") {
        return host::SampleFormat::Int24;
    }
    if (bits == "float") {
        return host::SampleFormat::Float32;
    }
    throw host::UsageError(fmt::format("bits '{}' is neither 16, 24 nor float", host::Excerpt(bits)));
}

/// Calls `use` with interleaved pieces of it.
template <class Use>
void InPieces(const Planes& sound, Use&& use) {
    std::vector<float> chunk(chunkFrames * 2);
    for (std::size_t start = 0; start < sound.frames; start += chunkFrames) {
        const std::size_t frames = std::min(chunkFrames, sound.frames - start);
        for (std::size_t n = 0; n < frames; ++n) {
            chunk[2 * n] = sound.left[start + n];
            chunk[2 * n + 1] = sound.right[start + n];
        }
        use(std::span<const float>(chunk).first(frames * 2));
    }
}

/// The samples that were cut off at full scale.
std::uint64_t WriteAudio(const std::string& path, const SoundArray& array, std::uint32_t rate,
                         const std::string& bits) {
    const Planes sound = PlanesOf(array);
    return WithoutLock([&] {
        host::AudioFileWriter writer(path, rate, FormatOf(bits));
        InPieces(sound, [&writer](std::span<const float> piece) { writer.Write(piece); });
        writer.Finish();
        return writer.ClippedSamples();
    });
}

/// LUFS, if any, and the true peak.
std::pair<std::optional<double>, double> Loudness(const SoundArray& array, std::uint32_t rate) {
    const Planes sound = PlanesOf(array);
    return WithoutLock([&] {
        host::LoudnessMeter meter(rate);
        InPieces(sound, [&meter](std::span<const float> piece) { meter.Add(piece); });
        return std::pair(meter.IntegratedLoudness(), meter.TruePeak());
    });
}

} // namespace

void BindFiles(py::module_& module) {
    module.def("list_presets", &ListPresets);
    module.def("open_preset", &OpenPreset, py::arg("path_or_name"));

    py::class_<MidiFile>(module, "Song")
        .def_static(
            "read", [](const std::string& path) { return MidiFile::Read(path); }, py::arg("path"))
        .def_static("parse", &ParseSong, py::arg("data"))
        .def_static("make", &MakeSong, py::arg("seconds"), py::arg("messages"), py::arg("length"),
                    py::arg("tempo"))
        .def("together", &Together, py::arg("other"))
        .def("fitted", &Fitted, py::arg("seconds"))
        .def_property_readonly("seconds", &MidiFile::Seconds)
        .def_property_readonly("note_count", &NoteCount);

    module.def("read_audio", &ReadAudio, py::arg("path"), py::arg("rate"));
    module.def("audio_rate", &AudioRate, py::arg("path"));
    module.def("write_audio", &WriteAudio, py::arg("path"), py::arg("sound").noconvert(), py::arg("rate"),
               py::arg("bits"));
    module.def("loudness", &Loudness, py::arg("sound").noconvert(), py::arg("rate"));
}

} // namespace orphia::python
