// SPDX-License-Identifier: GPL-3.0-or-later
// Prints what the oscillators' drive folds back: the strongest line below 15 kHz that is no harmonic, in dB
// relative to the strongest harmonic, as the table of docs/measurements.md.
#include "dsp/framework/RunChild.h"
#include "dsp/pitch/RealFft.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "vocoder/carrier/Oscillators.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace {

using Velmora::u32;
using Velmora::Processor::Oscillators;
using Velmora::Processor::VoiceOscillator;

constexpr u32 points = 1U << 16U;

/// A held note of one oscillator, behind its attack.
std::vector<float> Play(Velmora::i32 waveform, float shape, double hz, double rate, bool isSmooth) {
    constexpr u32 blockSize = 64;
    const auto voice = std::make_unique<Oscillators>();
    voice->Initialize(static_cast<float>(rate), blockSize);
    const auto set = [&voice](Oscillators::Additional index, double value) {
        voice->SetParameterValue(Oscillators::ParameterId(index), static_cast<float>(value));
    };
    set(Oscillators::Frequency, hz);
    set(Oscillators::Osc1Waveform, waveform);
    set(Oscillators::Osc1Coarse, 0.0);
    set(Oscillators::Osc1Volume, 0.0);
    set(Oscillators::Osc1Shape, static_cast<double>(shape));
    voice->SetSmoothDrive(isSmooth);
    voice->SetParameterValue(Velmora::dsp::ADSR::Attack, 0.0F);
    voice->Reset(true);
    voice->Envelope().SetGate(true);
    alignas(16) float sound[2][blockSize];
    float* out[] = {sound[0], sound[1]};
    const std::array<const float*, Oscillators::InputCount> none{};
    std::vector<float> played;
    while (played.size() < points + 8192) {
        Velmora::dsp::ProcessContext context;
        context.inputs = none.data();
        context.numInputs = Oscillators::InputCount;
        context.outputs = out;
        context.numOutputs = 2;
        context.numFrames = blockSize;
        Velmora::dsp::RunChild(*voice, context);
        played.insert(played.end(), sound[0], sound[0] + blockSize);
    }
    return {played.end() - points, played.end()};
}

/// Under a Kaiser window with side lobes below -140 dB.
double StrongestStray(const std::vector<float>& sound, double hz, double rate) {
    Velmora::dsp::AlignedBuffer bins(Velmora::dsp::RealFft::BufferSize(points));
    for (u32 n = 0; n < points; ++n) {
        const double t = (2.0 * n + 1.0) / points - 1.0;
        const double window = std::cyl_bessel_i(0.0, 20.0 * std::sqrt(1.0 - t * t));
        bins.data()[n] = static_cast<float>(static_cast<double>(sound[n]) * window);
    }
    Velmora::dsp::RealFft(points).Forward(bins.data());
    constexpr double lobe = 9.0;
    const double spacing = hz / rate * points;
    double harmonic = 0.0;
    double stray = 0.0;
    for (u32 bin = 10; bin < 15000.0 / rate * points; ++bin) {
        const bool isHarmonic = std::abs(bin - std::round(bin / spacing) * spacing) < lobe;
        const double level = std::hypot(bins.data()[2 * bin], bins.data()[2 * bin + 1]);
        double& strongest = isHarmonic ? harmonic : stray;
        strongest = std::max(strongest, level);
    }
    return 20.0 * std::log10(stray / harmonic);
}

/// Below the side lobes of the window nothing can be told.
std::string LevelText(double level) { return level < -140.0 ? "< -140" : fmt::format("{:.0f}", level); }

} // namespace

int main() {
    constexpr std::array shapes = {0.0F, 0.06F, 0.1F, 0.2F, 0.3F, 0.5F, 0.6F};
    constexpr std::array names = {"triangle", "saw", "square"};
    fmt::print("| Waveform | Hz | Rate | 0 | 0.06 | 0.1 | 0.2 | 0.3 | 0.5 | 0.6 |\n"
               "|---|---|---|---|---|---|---|---|---|---|\n");
    for (const Velmora::i32 waveform :
         {VoiceOscillator::Saw, VoiceOscillator::Triangle, VoiceOscillator::Square}) {
        for (const double rate : {44100.0, 96000.0}) {
            for (const int note : {45, 57, 69, 84, 96}) {
                const double hz = 440.0 * std::exp2((note - 69) / 12.0);
                fmt::print("| {} | {:.0f} | {} |", names[static_cast<u32>(waveform)], hz, rate);
                for (const float shape : shapes) {
                    const auto measure = [&](bool isSmooth) {
                        const std::vector<float> sound = Play(waveform, shape, hz, rate, isSmooth);
                        return LevelText(StrongestStray(sound, hz, rate));
                    };
                    if (waveform == VoiceOscillator::Square) {
                        fmt::print(" {} |", measure(false));
                    } else {
                        fmt::print(" {} ({}) |", measure(false), measure(true));
                    }
                }
                fmt::print("\n");
            }
        }
    }
    return 0;
}
