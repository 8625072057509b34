// SPDX-License-Identifier: GPL-3.0-or-later
#include "python/native/Arrays.h"
#include "python/native/Bindings.h"
#include "python/native/NativeInstrument.h"

#include <pybind11/stl.h>

#include <string>
#include <utility>
#include <vector>

namespace orphia::python {

namespace py = pybind11;

namespace {

using Levels = py::array_t<float, py::array::c_style>;

py::dict DictOf(const host::MeterReading& reading) {
    py::dict meters;
    meters["bands"] = Levels(static_cast<py::ssize_t>(reading.bands.size()), reading.bands.data());
    meters["hiss"] = reading.hiss;
    meters["buzz"] = reading.buzz;
    meters["program_overload"] = reading.programOverload;
    meters["carrier_overload"] = reading.carrierOverload;
    meters["limiter_reduction"] = reading.limiterReduction;
    return meters;
}

/// (bands, readings).
Levels BandsOf(const std::vector<host::MeterReading>& readings) {
    constexpr std::size_t bandCount = host::MeterReading::bandCount;
    Levels bands(std::vector<py::ssize_t>{bandCount, static_cast<py::ssize_t>(readings.size())});
    float* level = bands.mutable_data();
    for (std::size_t band = 0; band < bandCount; ++band) {
        for (const host::MeterReading& reading : readings) {
            *level++ = reading.bands[band];
        }
    }
    return bands;
}

host::MeterReading Largest(const std::vector<host::MeterReading>& readings) {
    host::MeterReading largest;
    const auto raise = [](float& level, float other) { level = std::max(level, other); };
    for (const host::MeterReading& reading : readings) {
        for (std::size_t band = 0; band < reading.bands.size(); ++band) {
            raise(largest.bands[band], reading.bands[band]);
        }
        raise(largest.hiss, reading.hiss);
        raise(largest.buzz, reading.buzz);
        raise(largest.programOverload, reading.programOverload);
        raise(largest.carrierOverload, reading.carrierOverload);
        raise(largest.limiterReduction, reading.limiterReduction);
    }
    return largest;
}

/// An id and its points: seconds, position of the knob, whether in a line.
using Lane = std::pair<std::uint32_t, std::vector<std::tuple<double, float, bool>>>;

Moves MovesOf(const std::vector<Lane>& lanes) {
    Moves moves;
    for (const auto& [id, rows] : lanes) {
        std::vector<Moves::Point> points;
        for (const auto& [seconds, position, isLinear] : rows) {
            points.push_back({seconds, position, isLinear});
        }
        moves.Add(id, std::move(points));
    }
    return moves;
}

py::dict Render(NativeInstrument& instrument, const std::optional<SoundArray>& voice,
                const host::MidiFile& song, const std::vector<Lane>& lanes, std::optional<double> tail) {
    Interruption interruption;
    RenderJob job{&song, PlanesOf(voice), MovesOf(lanes), tail, [&] { return interruption.HasCome(); }};
    std::vector<std::string> warnings;
    const RenderedSound sound = WithoutLock([&] { return instrument.Render(std::move(job), warnings); });
    interruption.RaiseIfCome();
    py::dict result;
    result["sound"] = ArrayOf(sound.left, sound.right);
    result["meters"] = DictOf(Largest(sound.meters));
    result["bands"] = BandsOf(sound.meters);
    result["meter_frames"] = sound.meterFrames;
    result["is_cut"] = sound.isCut;
    result["warnings"] = warnings;
    return result;
}

SoundArray Process(NativeInstrument& instrument, const std::optional<SoundArray>& voice, std::size_t frames) {
    const Planes heard = PlanesOf(voice);
    SoundArray output(std::vector<py::ssize_t>{2, static_cast<py::ssize_t>(frames)});
    const std::span<float> samples(output.mutable_data(), 2 * frames);
    WithoutLock([&] { instrument.Process(heard, samples.first(frames), samples.subspan(frames)); });
    return output;
}

/// A method that touches no Python, without the interpreter's lock: another thread may hold the instrument.
template <class Result, class... Arguments>
auto Unlocked(Result (NativeInstrument::*method)(Arguments...)) {
    return [method](NativeInstrument& instrument, Arguments... arguments) {
        return WithoutLock([&] { return (instrument.*method)(arguments...); });
    };
}

std::unique_ptr<NativeInstrument> Make(std::uint32_t rate, std::uint32_t seed, bool hasLimiter) {
    return WithoutLock([&] {
        return std::make_unique<NativeInstrument>(NativeInstrument::Options{rate, seed, hasLimiter});
    });
}

} // namespace

void BindInstrument(py::module_& module) {
    using Self = NativeInstrument;
    py::class_<Self>(module, "NativeInstrument")
        .def(py::init(&Make), py::arg("rate"), py::arg("seed"), py::arg("limiter"))
        .def("load_preset", Unlocked(&Self::LoadPreset), py::arg("text"))
        .def("capture_preset", Unlocked(&Self::CapturePreset), py::arg("name"))
        .def("set", Unlocked(&Self::Set), py::arg("setting"))
        .def("value", Unlocked(&Self::Value), py::arg("id"))
        .def("load_sample", Unlocked(&Self::LoadSample), py::arg("sample"), py::arg("path"))
        .def("clear_sample", Unlocked(&Self::ClearSample), py::arg("sample"))
        .def(
            "send",
            [](Self& self, std::uint8_t status, std::uint8_t data1, std::uint8_t data2) {
                WithoutLock([&] { self.Send({status, data1, data2}); });
            },
            py::arg("status"), py::arg("data1"), py::arg("data2"))
        .def("all_notes_off", Unlocked(&Self::AllNotesOff))
        .def("reset", Unlocked(&Self::Reset))
        .def("process", &Process, py::arg("voice").noconvert(), py::arg("frames"))
        .def("latency", Unlocked(&Self::Latency))
        .def("take_meters", [](Self& self) { return DictOf(WithoutLock([&] { return self.TakeMeters(); })); })
        .def("render", &Render, py::arg("voice").noconvert(), py::arg("song"), py::arg("lanes"),
             py::arg("tail"));
    module.def("engine_info", [] {
        const auto engine = SharedEngine();
        return py::make_tuple(std::string(engine->Version()), engine->Path().string());
    });
    module.attr("minimum_rate") = host::Instrument::minimumSampleRate;
    module.attr("maximum_rate") = host::Instrument::maximumSampleRate;
    module.attr("sample_count") = host::Instrument::sampleCount;
    module.attr("longest_fade") = longestFade;
}

} // namespace orphia::python
