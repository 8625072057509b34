// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/oscillators/PolyBlepPhaseGen.h"
#include "rigs/ModuleRig.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <utility>
#include <vector>

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

/// Where the buffers lie.
inline std::vector<float*> Pointers(std::vector<Signal>& channels) {
    std::vector<float*> pointers(channels.size());
    std::transform(channels.begin(), channels.end(), pointers.begin(), [](Signal& s) { return s.data(); });
    return pointers;
}

/// The five outputs of a phase generator. masters is what a master generator gave; fm is in Hz.
inline std::vector<Signal> Phases(const Settings& settings, float rate, std::size_t frames,
                                  const std::vector<Signal>* master = nullptr, const Signal* fm = nullptr,
                                  const BlockSplit& split = BlockSplit::Of(44)) {
    Velmora::dsp::PolyBlepPhaseGen generator;
    Prepare(generator, rate, settings);
    const Signal silence(frames, 0.0F);
    std::vector<const Signal*> inputs(4, nullptr);
    for (std::size_t c = 0; master != nullptr && c < 3; ++c) {
        inputs[c] = &(*master)[c + 2];
    }
    inputs[3] = fm != nullptr ? fm : &silence;
    return Render(generator, inputs, 5, split);
}

/// A shape over the outputs of a phase generator.
template <class M>
Signal Shape(const Settings& settings, float rate, const std::vector<Signal>& phases,
             const Signal* width = nullptr, const BlockSplit& split = BlockSplit::Of(44)) {
    M shape;
    Prepare(shape, rate, settings);
    std::vector<const Signal*> inputs;
    for (const Signal& channel : phases) {
        inputs.push_back(&channel);
    }
    if (width != nullptr) {
        inputs.push_back(width);
    }
    return Render(shape, inputs, 1, split)[0];
}

/// In place; the length is a power of 2.
inline void Transform(std::vector<std::complex<double>>& x) {
    const std::size_t size = x.size();
    for (std::size_t i = 1, j = 0; i < size; ++i) {
        std::size_t bit = size >> 1;
        for (; (j & bit) != 0; bit >>= 1) {
            j ^= bit;
        }
        j ^= bit;
        if (i < j) {
            std::swap(x[i], x[j]);
        }
    }
    for (std::size_t half = 1; half < size; half *= 2) {
        for (std::size_t k = 0; k < half; ++k) {
            const auto turn =
                std::polar(1.0, -std::numbers::pi * static_cast<double>(k) / static_cast<double>(half));
            for (std::size_t at = k; at < size; at += 2 * half) {
                const std::complex<double> odd = x[at + half] * turn;
                x[at + half] = x[at] - odd;
                x[at] += odd;
            }
        }
    }
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
    std::vector<std::complex<double>> x(spectrumSize);
    const Signal tail(signal.end() - spectrumSize, signal.end());
    std::transform(tail.begin(), tail.end(), Window().begin(), x.begin(),
                   [](float sample, double weight) { return static_cast<double>(sample) * weight; });
    Transform(x);
    std::vector<double> magnitudes(spectrumSize / 2);
    std::transform(x.begin(), x.begin() + spectrumSize / 2, magnitudes.begin(),
                   [](std::complex<double> c) { return std::abs(c); });
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
