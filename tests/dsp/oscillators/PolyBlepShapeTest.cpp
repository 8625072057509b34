// SPDX-License-Identifier: GPL-3.0-or-later
// All three shapes: what they share, and each against its plain waveform.
#include "dsp/oscillators/PolyBlepShape.h"

#include "rigs/OscillatorRig.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

using namespace orphia::test;
using Velmora::dsp::PolyBlepPhaseGen;
using Velmora::dsp::PolyBlepSaw;
using Velmora::dsp::PolyBlepSquare;
using Velmora::dsp::PolyBlepTriangle;

constexpr float rate = 44100.0F;
constexpr std::size_t tone = spectrumSize + 4000;

/// Calls check.operator()<Shape>(label, width), where shapes without a width get 0.5.
template <class Check>
void ForEachShape(Check check) {
    check.template operator()<PolyBlepSaw>("saw", 0.5F);
    check.template operator()<PolyBlepSquare>("square", 0.5F);
    check.template operator()<PolyBlepSquare>("pulse", 0.3F);
    check.template operator()<PolyBlepTriangle>("triangle", 0.5F);
    check.template operator()<PolyBlepTriangle>("skewed triangle", 0.2F);
}

struct Mode {
    bool antiAliased = true;
    bool sync = false;
    float resetPhase = 0.0F;
};

template <class M>
Settings Of(const Mode& mode, float width) {
    Settings settings{{M::AAOn, mode.antiAliased ? 1.0F : 0.0F},
                      {M::HSSlave, mode.sync ? 1.0F : 0.0F},
                      {M::HSPhase0, mode.resetPhase}};
    if constexpr (M::hasWidth) {
        settings.emplace_back(M::PulseWidth, width);
    }
    return settings;
}

std::vector<Signal> SyncedPhases(float masterHertz, float slaveHertz, float start, std::size_t frames,
                                 const Signal* fm = nullptr) {
    const auto master = Phases(
        {{PolyBlepPhaseGen::Frequency, masterHertz}, {PolyBlepPhaseGen::HSMaster, 1.0F}}, rate, frames);
    return Phases({{PolyBlepPhaseGen::Frequency, slaveHertz},
                   {PolyBlepPhaseGen::HSSlave, 1.0F},
                   {PolyBlepPhaseGen::HSPhase0, start},
                   {PolyBlepPhaseGen::FMOn, fm != nullptr ? 1.0F : 0.0F}},
                  rate, frames, &master, fm);
}

void ExpectFewerAliases(const Signal& plain, const Signal& smooth, double hertz, double sampleRate,
                        const std::string& what) {
    const auto before = Spectrum(plain);
    const auto after = Spectrum(smooth);
    const double f = hertz / sampleRate;
    const double audible = 15000.0 / sampleRate;
    // Next to half the rate an image is hardly weaker than what it mirrors.
    EXPECT_LT(StrongestAlias(after, f), StrongestAlias(before, f) - 17.0) << what;
    EXPECT_LT(StrongestAlias(after, f, audible), StrongestAlias(before, f, audible) - 35.0) << what;
}

TEST(PolyBlepShape, AliasesLieFarBelowThoseOfThePlainWaveform) {
    for (const float sampleRate : {44100.0F, 96000.0F}) {
        for (const float hertz : {100.7F, 1003.7F, -2503.1F, 5003.9F}) {
            const auto phases = Phases({{PolyBlepPhaseGen::Frequency, hertz}}, sampleRate, tone);
            ForEachShape([&]<class M>(const std::string& label, float width) {
                ExpectFewerAliases(Shape<M>(Of<M>({.antiAliased = false}, width), sampleRate, phases),
                                   Shape<M>(Of<M>({}, width), sampleRate, phases), std::abs(hertz),
                                   sampleRate, label + " at " + std::to_string(hertz) + " Hz");
            });
        }
    }
}

TEST(PolyBlepShape, AliasesOfSyncedTonesLieAsFarBelow) {
    struct Case {
        float master;
        float slave;
        float start;
    };
    // Also with resets that fall on a wrap, on an edge, or just beside, and with a phase that runs down.
    for (const Case& c :
         {Case{503.7F, 1153.5F, 0.0F}, Case{503.7F, 750.0F, 0.0F}, Case{503.7F, 1017.5F, 0.0F},
          Case{503.7F, 1007.4F, 0.0F}, Case{503.7F, 755.55F, 0.0F}, Case{503.7F, 330.0F, 0.0F},
          Case{2003.7F, -4511.0F, 0.0F}, Case{2003.7F, -4511.0F, 0.3F}, Case{2003.7F, 4409.0F, 0.9F}}) {
        const auto phases = SyncedPhases(c.master, c.slave, c.start, tone);
        ForEachShape([&]<class M>(const std::string& label, float width) {
            ExpectFewerAliases(
                Shape<M>(Of<M>({.antiAliased = false}, width), rate, phases),
                Shape<M>(Of<M>({.sync = true, .resetPhase = c.start}, width), rate, phases), c.master, rate,
                label + " at " + std::to_string(c.slave) + " Hz from " + std::to_string(c.start));
        });
    }
}

TEST(PolyBlepShape, NothingOfAnEarlierOrBrokenBlockStays) {
    const auto phases = SyncedPhases(700.0F, 1900.0F, 0.2F, 880);
    const Signal broken(44, std::numeric_limits<float>::quiet_NaN());
    ForEachShape([&]<class M>(const std::string& label, float width) {
        const Settings settings = Of<M>({.sync = true, .resetPhase = 0.2F}, width);
        const Signal expected = Shape<M>(settings, rate, phases);
        M shape;
        Prepare(shape, rate, settings);
        const auto run = [&](const std::vector<Signal>& channels) {
            return Render(shape, {&channels[0], &channels[1], &channels[2], &channels[3], &channels[4]}, 1,
                          BlockSplit::Of(44))[0];
        };
        run(phases);
        shape.Reset(false);
        EXPECT_EQ(run(phases), expected) << label << " after a reset";
        run({broken, broken, broken, broken, broken});
        const Signal healed = run(phases);
        // Two periods of the master later.
        EXPECT_TRUE(std::equal(healed.begin() + 128, healed.end(), expected.begin() + 128)) << label;
        shape.SetParameterValue(M::HSSlave, 0.0F);
        run(phases);
        shape.SetParameterValue(M::HSSlave, 1.0F);
        EXPECT_EQ(run(phases), expected) << label << " after sync was off";
    });
}

} // namespace
