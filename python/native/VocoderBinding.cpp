// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/parts/VocoderSession.h"
#include "python/native/Arrays.h"
#include "python/native/Bindings.h"

#include <pybind11/stl.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

namespace orphia::python {

namespace py = pybind11;

namespace {

using host::ParameterSetting;
using host::VocoderSession;

constexpr double chunkSeconds = 0.1;

/// The core's settings over its built-in preset.
struct VocodeJob {
    Planes voice;
    Planes carrier;
    std::uint32_t rate;
    std::uint32_t seed;
    bool hasLimiter;
    /// In frames.
    std::size_t length;
    std::vector<ParameterSetting> settings;
};

/// Without settings.
const host::Preset& StartPreset() {
    static const host::Preset preset = host::DefaultPreset(host::ParameterCatalog::OfVocoder());
    return preset;
}

/// What `vocode` begins with.
const VocoderSession& StartSession() {
    static const std::unique_ptr<const VocoderSession> session = [] {
        constexpr std::uint32_t anyRate = 44100;
        auto made = std::make_unique<VocoderSession>(anyRate);
        made->Apply(StartPreset());
        return made;
    }();
    return *session;
}

/// Its latency does not show. `output` holds both sides, one behind the other.
void Vocode(const VocodeJob& job, float* output, Interruption& interruption) {
    VocoderSession session(job.rate, job.seed);
    session.SetLimiter(job.hasLimiter);
    session.Apply(StartPreset());
    for (const ParameterSetting& setting : job.settings) {
        session.Set(setting);
    }
    const std::size_t block = VocoderSession::BlockSize(static_cast<float>(job.rate));
    const std::size_t latency = session.LatencyFrames();
    const std::size_t chunk =
        block * std::max<std::size_t>(
                    static_cast<std::size_t>(chunkSeconds * job.rate / static_cast<double>(block)), 1);
    std::vector<float> voice(chunk * 2);
    std::vector<float> carrier(chunk * 2);
    std::vector<float> sound(chunk * 2);
    for (std::size_t start = 0; start < job.length + latency && !interruption.HasCome(); start += chunk) {
        Interleave(job.voice, start, voice);
        Interleave(job.carrier, start, carrier);
        session.Process(voice, carrier, sound);
        for (std::size_t n = start < latency ? latency - start : 0; n < chunk; ++n) {
            const std::size_t frame = start + n - latency;
            if (frame < job.length) {
                output[frame] = sound[2 * n];
                output[job.length + frame] = sound[2 * n + 1];
            }
        }
    }
}

SoundArray VocodeArrays(const SoundArray& voice, const SoundArray& carrier, std::uint32_t rate,
                        std::uint32_t seed, bool hasLimiter, double tail,
                        const std::vector<ParameterSetting>& settings) {
    VocodeJob job{PlanesOf(voice), PlanesOf(carrier), rate, seed, hasLimiter, 0, settings};
    job.length = job.voice.frames + static_cast<std::size_t>(std::llround(tail * rate));
    SoundArray output(std::vector<py::ssize_t>{2, static_cast<py::ssize_t>(job.length)});
    float* const samples = output.mutable_data();
    Interruption interruption;
    WithoutLock([&] { Vocode(job, samples, interruption); });
    interruption.RaiseIfCome();
    return output;
}

} // namespace

void BindVocoder(py::module_& module) {
    module.def(
        "vocoder_start", [](std::uint32_t id) { return StartSession().Value(id); }, py::arg("id"));
    module.def("vocode", &VocodeArrays, py::arg("voice").noconvert(), py::arg("carrier").noconvert(),
               py::arg("rate"), py::arg("seed"), py::arg("limiter"), py::arg("tail"), py::arg("settings"));
}

} // namespace orphia::python
