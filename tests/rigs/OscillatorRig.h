// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "rigs/ModuleRig.h"

#include <utility>

namespace orphia::test {

/// Parameter values by id, in the parameter's own unit.
using Settings = std::vector<std::pair<u32, float>>;

template <class M>
void Prepare(M& module, float rate, const Settings& settings) {
    module.Initialize(rate, 256);
    module.SetParameterValue(M::On, 1.0F);
    for (const auto& [id, value] : settings) {
        module.SetParameterValue(id, value);
    }
}

/// One block over given buffers, which may be shared.
template <class M>
void RunInPlace(M& module, const std::vector<const float*>& inputs, const std::vector<float*>& outputs,
                std::size_t frames) {
    Velmora::dsp::ProcessContext context;
    context.inputs = inputs.data();
    context.numInputs = static_cast<u32>(inputs.size());
    context.outputs = outputs.data();
    context.numOutputs = static_cast<u32>(outputs.size());
    context.numFrames = static_cast<u32>(frames);
    Velmora::dsp::RunChild(module, context);
}

/// By halves: the even ones, and the odd ones turned. The length is a power of 2.
inline std::vector<std::complex<double>> Transform(const std::vector<std::complex<double>>& x) {
    const std::size_t half = x.size() / 2;
    if (half == 0) {
        return x;
    }
    std::vector<std::complex<double>> parts[2];
    for (std::size_t n = 0; n < x.size(); ++n) {
        parts[n % 2].push_back(x[n]);
    }
    const auto even = Transform(parts[0]);
    const auto odd = Transform(parts[1]);
    std::vector<std::complex<double>> out(x.size());
    const auto step = std::polar(1.0, -std::numbers::pi / static_cast<double>(half));
    std::complex<double> turn = 1.0;
    for (std::size_t k = 0; k < half; ++k, turn *= step) {
        out[k] = even[k] + turn * odd[k];
        out[k + half] = even[k] - turn * odd[k];
    }
    return out;
}

inline constexpr std::size_t spectrumSize = 1U << 16U;

/// A Kaiser window with side lobes below -140 dB; its main lobe is less than 14 bins wide.
inline const std::vector<double>& Window() {
    static const std::vector<double> window = [] {
        std::vector<double> w(spectrumSize);
        for (std::size_t n = 0; n < spectrumSize; ++n) {
            const double t = (2.0 * static_cast<double>(n) + 1.0) / static_cast<double>(spectrumSize) - 1.0;
            w[n] = std::cyl_bessel_i(0.0, 20.0 * std::sqrt(1.0 - t * t));
        }
        return w;
    }();
    return window;
}

/// Magnitudes of the last frames under the window.
inline std::vector<double> Spectrum(const Signal& signal) {
    std::vector<std::complex<double>> x;
    for (std::size_t n = 0; n < spectrumSize; ++n) {
        x.emplace_back(static_cast<double>(signal[signal.size() - spectrumSize + n]) * Window()[n]);
    }
    std::vector<double> magnitudes;
    for (const std::complex<double> bin : Transform(x)) {
        magnitudes.push_back(std::abs(bin));
    }
    magnitudes.resize(spectrumSize / 2);
    return magnitudes;
}

/// The strongest component between the harmonics of a tone and below a limit, in dB relative to the strongest
/// harmonic. Frequencies are in cycles per sample.
inline double StrongestAlias(const std::vector<double>& magnitudes, double frequency, double limit = 0.5) {
    const auto bins = static_cast<double>(2 * magnitudes.size());
    // Half the width of the window's main lobe, and some.
    constexpr double lobe = 9.0;
    double harmonic = 0.0;
    double alias = 1e-30;
    for (std::size_t bin = 0; bin < magnitudes.size(); ++bin) {
        const double order = std::round(static_cast<double>(bin) / bins / frequency);
        const bool isHarmonic = std::abs(static_cast<double>(bin) - order * frequency * bins) < lobe;
        if (isHarmonic && order > 0.0) {
            harmonic = std::max(harmonic, magnitudes[bin]);
        } else if (!isHarmonic && static_cast<double>(bin) < limit * bins) {
            alias = std::max(alias, magnitudes[bin]);
        }
    }
    return 20.0 * std::log10(alias / harmonic);
}

} // namespace orphia::test
