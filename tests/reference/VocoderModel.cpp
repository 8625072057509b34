// SPDX-License-Identifier: GPL-3.0-or-later
#include "reference/VocoderModel.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orphia_reference {

namespace {

constexpr double dryGain = 0.057048;
constexpr double wetGain = 0.35714;
constexpr double outputGain = 0.3162;
constexpr double meterScale = 753.57947;
constexpr double hissScale = 1561.6704;
constexpr double crossfadeTime = 0.002;

Signal Slice(const Signal& signal, std::size_t start, std::size_t count) {
    const auto first = signal.begin() + static_cast<std::ptrdiff_t>(start);
    return {first, first + static_cast<std::ptrdiff_t>(count)};
}

void Append(Signal& signal, const Signal& block) { signal.insert(signal.end(), block.begin(), block.end()); }

} // namespace

StereoVocoderModel::StereoVocoderModel(const ModelSetup& setup, const VocoderParameters& initial,
                                       std::uint32_t seedLeft, std::uint32_t seedRight)
    : parameters(initial), channels{VocoderChannelModel(setup, initial, seedLeft),
                                    VocoderChannelModel(setup, initial, seedRight)},
      blockSize(setup.maxBlockSize) {
    dry.Prepare(crossfadeTime, setup.sampleRate);
    wet.Prepare(crossfadeTime, setup.sampleRate);
}

StereoSignal StereoVocoderModel::Process(const StereoSignal& carrier, const StereoSignal& modulator) {
    const double angle = parameters.wet * std::numbers::pi / 2.0;
    if (first) {
        dry.Set(std::cos(angle));
        wet.Set(std::sin(angle));
        first = false;
    }
    dry.SetTarget(std::cos(angle));
    wet.SetTarget(std::sin(angle));
    channels[0].Process(parameters, carrier.left, modulator.left);
    channels[1].Process(parameters, carrier.right, modulator.right);

    const auto& [left, right] = channels;
    StereoSignal out{left.output, right.output};
    for (std::size_t n = 0; n < out.left.size(); ++n) {
        const double d = dry.Next() * dryGain;
        const double w = wet.Next() * wetGain;
        out.left[n] = (left.programPreamp[n] * d + left.output[n] * w) * outputGain;
        out.right[n] = (right.programPreamp[n] * d + right.output[n] * w) * outputGain;
    }
    UpdateLights();
    return out;
}

StereoSignal StereoVocoderModel::Render(const StereoSignal& carrier, const StereoSignal& modulator) {
    StereoSignal out;
    for (std::size_t start = 0; start < carrier.left.size(); start += blockSize) {
        const std::size_t count = std::min(blockSize, carrier.left.size() - start);
        const StereoSignal block =
            Process({Slice(carrier.left, start, count), Slice(carrier.right, start, count)},
                    {Slice(modulator.left, start, count), Slice(modulator.right, start, count)});
        Append(out.left, block.left);
        Append(out.right, block.right);
    }
    return out;
}

void StereoVocoderModel::UpdateLights() {
    const auto& [left, right] = channels;
    lights.carrierOverload = 0.5 * (left.carrierPreamp.overload.value + right.carrierPreamp.overload.value);
    lights.programOverload = 0.5 * (left.preamp.overload.value + right.preamp.overload.value);
    for (std::size_t band = 0; band < bandCount; ++band) {
        lights.bandMeters[band] =
            std::clamp((left.bandMeters[band] + right.bandMeters[band]) * meterScale, 0.0, 1.0);
    }
    lights.hiss = std::clamp((left.noiseGateLevel + right.noiseGateLevel) * hissScale, 0.0, 1.0);
    lights.buzz = std::clamp(0.5 * (left.voiced.level + right.voiced.level), 0.0, 1.0);
}

} // namespace orphia_reference
