// SPDX-License-Identifier: GPL-3.0-or-later
// The shapes, each against its plain waveform; phases and waveforms against the model: VoiceModelTest.
#include "dsp/oscillators/PolyBlepPhaseGen.h"
#include "dsp/oscillators/PolyBlepShape.h"
#include "rigs/OscillatorRig.h"

namespace {

using namespace orphia::test;
using Velmora::dsp::PolyBlepSaw;
using Velmora::dsp::PolyBlepSquare;
using Velmora::dsp::PolyBlepTriangle;
using Generator = Velmora::dsp::PolyBlepPhaseGen;

constexpr float rate = 44100.0F;

/// The five outputs of a phase generator. masters is what a master generator gave.
std::vector<Signal> Phases(const Settings& settings, float sampleRate, std::size_t frames,
                           const std::vector<Signal>* master = nullptr) {
    Generator generator;
    Prepare(generator, sampleRate, settings);
    const Signal silence(frames, 0.0F);
    std::vector<const Signal*> inputs(4, &silence);
    for (std::size_t c = 0; c < 3; ++c) {
        inputs[c] = master != nullptr ? &(*master)[c + 2] : nullptr;
    }
    return Render(generator, inputs, 5, BlockSplit::Of(44));
}

std::vector<Signal> SyncedPhases(float masterHertz, float slaveHertz, float start, std::size_t frames) {
    const auto master =
        Phases({{Generator::Frequency, masterHertz}, {Generator::HSMaster, 1.0F}}, rate, frames);
    return Phases(
        {{Generator::Frequency, slaveHertz}, {Generator::HSSlave, 1.0F}, {Generator::HSPhase0, start}}, rate,
        frames, &master);
}

/// Calls check.operator()<Shape>(label, settings).
template <class Check>
void ForEachShape(Check check) {
    check.template operator()<PolyBlepSaw>("saw", Settings{});
    for (const float width : {0.5F, 0.3F}) {
        check.template operator()<PolyBlepSquare>("square", Settings{{PolyBlepSquare::PulseWidth, width}});
        check.template operator()<PolyBlepTriangle>("triangle",
                                                    Settings{{PolyBlepTriangle::PulseWidth, width}});
    }
}

Signal RunShape(auto& shape, const std::vector<Signal>& phases) {
    std::vector<const Signal*> inputs;
    for (const Signal& channel : phases) {
        inputs.push_back(&channel);
    }
    return Render(shape, inputs, 1, BlockSplit::Of(44))[0];
}

TEST(PolyBlepShape, AliasesLieFarBelowThoseOfThePlainWaveform) {
    struct Case {
        float rate;
        float hz;
        float slave = 0.0F;
        float start = 0.0F;
    };
    // Also with resets that fall on a wrap, on an edge, or just beside, and with a phase that runs down.
    for (const Case& c :
         {Case{44100.0F, 1003.7F}, Case{96000.0F, -2503.1F}, Case{44100.0F, 5003.9F},
          Case{rate, 503.7F, 1153.5F}, Case{rate, 503.7F, 1017.5F}, Case{rate, 503.7F, 1007.4F},
          Case{rate, 503.7F, 330.0F}, Case{rate, 2003.7F, -4511.0F}, Case{rate, 2003.7F, -4511.0F, 0.3F},
          Case{rate, 2003.7F, 4409.0F, 0.9F}}) {
        const std::size_t frames = spectrumSize + 4000;
        const auto phases = c.slave != 0.0F ? SyncedPhases(c.hz, c.slave, c.start, frames)
                                            : Phases({{Generator::Frequency, c.hz}}, c.rate, frames);
        ForEachShape([&]<class M>(const std::string& label, const Settings& settings) {
            M plain, smooth;
            Prepare(plain, c.rate, settings);
            Prepare(smooth, c.rate, settings);
            plain.SetParameterValue(M::AAOn, 0.0F);
            smooth.SetParameterValue(M::AAOn, 1.0F);
            smooth.SetParameterValue(M::HSSlave, c.slave != 0.0F ? 1.0F : 0.0F);
            smooth.SetParameterValue(M::HSPhase0, c.start);
            const auto before = Spectrum(RunShape(plain, phases));
            const auto after = Spectrum(RunShape(smooth, phases));
            const double f = std::abs(static_cast<double>(c.hz / c.rate));
            const double audible = 15000.0 / static_cast<double>(c.rate);
            // Next to half the rate an image is hardly weaker than what it mirrors.
            EXPECT_LT(StrongestAlias(after, f), StrongestAlias(before, f) - 17.0) << label << c.hz << c.slave;
            EXPECT_LT(StrongestAlias(after, f, audible), StrongestAlias(before, f, audible) - 35.0)
                << label << " at " << c.hz << " Hz, " << c.slave << " from " << c.start;
        });
    }
}

} // namespace
