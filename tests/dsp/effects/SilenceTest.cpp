// SPDX-License-Identifier: GPL-3.0-or-later
// An effect at rest is not run while it hears silence. A zero with a sign is no silence, so that an effect
// which hears that runs on.
#include "dsp/effects/chorus/Chorus.h"
#include "dsp/effects/delay/Delay.h"
#include "dsp/effects/distortion/TubeScreamer808.h"
#include "dsp/effects/equaliser/ParamEq.h"
#include "dsp/effects/filter/MultiModeFilterPresetChromataFX.h"
#include "dsp/effects/flanger/Flanger.h"
#include "dsp/effects/phaser/Phaser.h"
#include "dsp/effects/reverb/Reverb.h"
#include "rigs/EffectRig.h"
#include "support/platform/FloatMode.h"

#include <array>
#include <random>
#include <type_traits>
#include <vector>

namespace orphia::test {
namespace {

template <class Effect>
class Silence : public testing::Test {};

using Filter = Velmora::dsp::MultiModeFilterPresetChromataFX;
using Velmora::dsp::Phaser;
using Velmora::dsp::Reverb;
using Effects = testing::Types<Velmora::dsp::Chorus, Velmora::dsp::Delay, Velmora::dsp::Flanger, Reverb,
                               Phaser, Filter, Velmora::dsp::TubeScreamer808, Velmora::dsp::ParamEq<5>>;
TYPED_TEST_SUITE(Silence, Effects);

/// An effect that is played in blocks, with silence of its kind.
template <class Effect>
class Played {
public:
    Played() { effect.Initialize(8000.0F, most); }

    Effect effect;

    /// What would let a sound last for longer than a scene.
    void EndTail() {
        if constexpr (std::is_same_v<Effect, Reverb>) {
            effect.SetParameterNormalized(Reverb::Freeze, 0.0F);
            effect.SetParameterNormalized(Reverb::Decay, 0.0F);
        } else if constexpr (std::is_same_v<Effect, Phaser>) {
            effect.SetParameterNormalized(Phaser::LowCut, 1.0F);
        } else if constexpr (std::is_same_v<Effect, Filter>) {
            effect.SetParameterNormalized(Filter::Resonance, 0.2F);
        }
    }

    /// Zeros of the output lose their sign.
    const std::array<Signal, 2>& Run(const Signal& sound, float silence, float modulation, u32 frames) {
        Signal input = sound;
        std::replace(input.begin(), input.end(), 0.0F, silence);
        const std::array<float, 2> marked{modulation != 0.0F ? 1.0F : 0.0F, modulation};
        std::vector<const float*> inputs(effect.numInputs, &marked[1]);
        inputs[0] = inputs[1] = input.data();
        float* outputs[] = {output[0].data(), output[1].data()};
        Velmora::dsp::ProcessContext context;
        context.inputs = inputs.data();
        context.numInputs = effect.numInputs;
        context.outputs = outputs;
        context.numOutputs = 2;
        context.numFrames = frames;
        const Velmora::u64 mode = Velmora::Platform::FloatMode();
        Velmora::Platform::SetFloatMode(Velmora::Platform::WithDenormalsFlushed(mode));
        Velmora::dsp::RunChild(effect, context);
        Velmora::Platform::SetFloatMode(mode);
        for (Signal& side : output) {
            std::transform(side.begin(), side.end(), side.begin(), [](float x) { return x + 0.0F; });
        }
        return output;
    }

private:
    static constexpr u32 most = 64;
    std::array<Signal, 2> output{Signal(most), Signal(most)};
};

TYPED_TEST(Silence, AnEffectThatRestsGoesOnAsOneThatRuns) {
    std::mt19937 random{11};
    const auto below = [&random](u32 limit) { return static_cast<u32>(random() % limit); };
    auto resting = std::make_unique<Played<TypeParam>>();
    auto running = std::make_unique<Played<TypeParam>>();
    float modulation = 0.0F;
    u32 silentBlocks = 0;
    for (u32 scene = 0; scene < 40 && !testing::Test::HasFailure(); ++scene) {
        const u32 id = below(TypeParam::parameterCount);
        const float position = static_cast<float>(below(65)) / 64.0F;
        modulation = below(2) == 0 ? 0.0F : position - 0.5F;
        const bool isSwitchedIn = below(4) == 0;
        for (auto* played : {resting.get(), running.get()}) {
            if (isSwitchedIn) {
                played->effect.Reset(false);
                if constexpr (requires { played->effect.FadeIn(); }) {
                    played->effect.FadeIn();
                }
            }
            played->EndTail();
            played->effect.SetParameterNormalized(id, position);
        }
        // Often while something still glides.
        const u32 firstSounding = below(40);
        const u32 soundingBlocks = below(20);
        for (u32 block = 0; block < 1500; ++block) {
            const u32 frames = 4 * (1 + below(16));
            Signal sound(64, 0.0F);
            if (block >= firstSounding && block < firstSounding + soundingBlocks) {
                std::generate(sound.begin(), sound.end(),
                              [&] { return std::uniform_real_distribution<float>(-1.0F, 1.0F)(random); });
                // The first may begin in the middle.
                std::fill_n(sound.begin(), block == firstSounding ? 4 * below(16) : 0, 0.0F);
            }
            const auto& expected = running->Run(sound, -0.0F, modulation, frames);
            ASSERT_EQ(resting->Run(sound, 0.0F, modulation, frames), expected) << scene << ", " << block;
            silentBlocks += Peak(expected[0]) == 0.0F ? 1 : 0;
        }
    }
    EXPECT_GT(silentBlocks, 5000U);
}

} // namespace
} // namespace orphia::test
