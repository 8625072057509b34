// SPDX-License-Identifier: GPL-3.0-or-later
#include "CoreRig.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using namespace orphia::test;

constexpr std::size_t frames = 22000;

StereoPair Both(const Signal& signal) { return {signal, signal}; }

/// The loudest sample of the mix once the core has had a second of normal sound.
float PeakAfterRecovery(CoreRig& rig) {
    const auto length = static_cast<std::size_t>(rig.rate) / 4 * 4;
    const auto outputs = rig.Run(ChordPair(length, rig.rate), SpeechPair(length, rig.rate));
    EXPECT_TRUE(AllFinite(outputs[0]) && AllFinite(outputs[1]));
    return Peak(outputs[0], length / 2);
}

TEST(BodeVocoderBadInput, SoundComesBackAfterAnyInput) {
    CoreRig reference;
    const float healthy = PeakAfterRecovery(reference);
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    Signal square(frames);
    Signal holes = SpeechLike(frames, 44100.0F, 3);
    for (std::size_t n = 0; n < frames; ++n) {
        square[n] = n / 50 % 2 == 0 ? 1.0F : -1.0F;
        if (n % 97 == 0) {
            holes[n] = n % 2 == 0 ? nan : infinity;
        }
    }
    const std::pair<const char*, Signal> inputs[] = {
        {"silence", Signal(frames, 0.0F)},        {"full-scale square", square},
        {"direct current", Signal(frames, 1.0F)}, {"denormals", Signal(frames, 1e-41F)},
        {"not a number", Signal(frames, nan)},    {"infinity", Signal(frames, -infinity)},
        {"enormous", Signal(frames, 3e38F)},      {"speech with holes", holes}};
    for (const auto& [name, signal] : inputs) {
        CoreRig rig;
        for (const auto& [carrier, modulator] :
             {std::pair{Both(signal), SpeechPair(frames, 44100.0F)},
              std::pair{ChordPair(frames, 44100.0F), Both(signal)}, std::pair{Both(signal), Both(signal)}}) {
            const auto outputs = rig.Run(carrier, modulator);
            EXPECT_TRUE(AllFinite(outputs[0]) && AllFinite(outputs[1])) << name;
            EXPECT_NEAR(PeakAfterRecovery(rig), healthy, 0.2F * healthy) << name;
        }
        const StereoPair chord = ChordPair(frames, 44100.0F);
        const StereoPair speech = SpeechPair(frames, 44100.0F);
        CoreRig oneSided;
        CoreRig unharmed;
        EXPECT_EQ(oneSided.Run({signal, chord.right}, {signal, speech.right})[1],
                  unharmed.Run(chord, speech)[1])
            << name << " on the left must not reach the right";
    }
}

TEST(BodeVocoderBadInput, EmptyBlocksAndMissingInputsAreHarmless) {
    CoreRig rig;
    Velmora::dsp::ProcessContext context;
    std::vector<Signal> buffers(6, Signal(44, 7.0F));
    float* outputs[6];
    for (std::size_t i = 0; i < 6; ++i) {
        outputs[i] = buffers[i].data();
    }
    context.outputs = outputs;
    context.numOutputs = 6;
    EXPECT_TRUE(Velmora::dsp::RunChild(*rig.core, context)) << "no frames";
    EXPECT_EQ(buffers[0], Signal(44, 7.0F));
    context.numFrames = 44;
    EXPECT_TRUE(Velmora::dsp::RunChild(*rig.core, context)) << "no inputs at all";
    EXPECT_TRUE(AllFinite(buffers[0]));
    EXPECT_LT(Peak(buffers[0]), 1e-3F);
}

/// Sets each parameter in turn to each of the positions, and back.
void VisitEveryParameter(CoreRig& rig, std::initializer_list<float> positions) {
    const StereoPair carrier = ChordPair(rig.maxBlock * 6, rig.rate);
    const StereoPair modulator = SpeechPair(rig.maxBlock * 6, rig.rate);
    for (u32 id = 0; id < BodeVocoder::parameterCount; ++id) {
        const float before = rig.core->GetParameterNormalized(id);
        for (const float position : positions) {
            rig.core->SetParameterNormalized(id, position);
            const auto outputs = rig.Run(carrier, modulator);
            ASSERT_TRUE(AllFinite(outputs[0]) && AllFinite(outputs[1]))
                << NameOf(*rig.core, id) << " at " << position << ", rate " << rig.rate;
        }
        rig.core->SetParameterNormalized(id, before);
    }
}

TEST(BodeVocoderBadInput, EveryParameterAtBothEndsAtEveryRateLeavesTheCoreAlive) {
    for (const float rate : {8000.0F, 22050.0F, 44100.0F, 384000.0F}) {
        CoreRig rig(rate, std::max(4U, static_cast<u32>(rate * 0.0002494331F + 0.5F) * 4U));
        const float healthy = PeakAfterRecovery(rig);
        EXPECT_GT(healthy, 1e-3F) << "rate " << rate;
        VisitEveryParameter(rig, {0.0F, 1.0F});
        EXPECT_NEAR(PeakAfterRecovery(rig), healthy, 0.2F * healthy) << "rate " << rate;
    }
}

TEST(BodeVocoderBadInput, ParametersThatAreNotNumbersDoNoLastingHarm) {
    CoreRig rig;
    const float healthy = PeakAfterRecovery(rig);
    VisitEveryParameter(rig, {std::numeric_limits<float>::quiet_NaN(), 1e30F, -1e30F});
    // The bank's shift has nowhere to come back from by itself: it moves on changes alone.
    rig.core->Reset(true);
    EXPECT_NEAR(PeakAfterRecovery(rig), healthy, 0.2F * healthy);
}

} // namespace
