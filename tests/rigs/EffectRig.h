// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "rigs/OscillatorRig.h"
#include "rigs/StageRig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <random>
#include <set>
#include <string>
#include <vector>

/// What holds for every stereo effect with smooth controls, whatever it does to the sound.
namespace orphia::test {

using Velmora::Test::Tone;

inline constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
inline constexpr float infinity = std::numeric_limits<float>::infinity();

/// One constant value at a modulation input, and the host's clock at the start.
struct Playing {
    u32 input = 0;
    float value = 0.0F;
    float tempo = 120.0F;
    bool runs = false;
    float beat = 0.0F;
};

template <class M>
void Set(M& effect, const Settings& settings) {
    for (const auto& [id, value] : settings) {
        effect.SetParameterValue(id, value);
    }
}

template <class M>
std::unique_ptr<M> Make(const Settings& first, const Settings& then = {}, float rate = 44100.0F) {
    auto effect = std::make_unique<M>();
    effect->Initialize(rate, 64);
    Set(*effect, first);
    Set(*effect, then);
    return effect;
}

/// In blocks of 44 frames, a multiple of 4 in all, with the clock of a rate of 44100 Hz.
template <class M>
std::vector<Signal> Play(M& effect, const Signal& left, const Signal& right, const Playing& how = {}) {
    std::vector<float> modulation(45, how.value);
    modulation[0] = 1.0F;
    std::vector<Signal> outputs(2, Signal(left.size()));
    std::vector<const float*> inputs(effect.numInputs, nullptr);
    for (std::size_t n = 0; n < left.size(); n += 44) {
        inputs[0] = left.data() + n;
        inputs[1] = right.data() + n;
        inputs[how.input] = how.input > 1 ? modulation.data() + 1 : inputs[how.input];
        float* out[2] = {outputs[0].data() + n, outputs[1].data() + n};
        Velmora::dsp::ProcessContext context;
        context.inputs = inputs.data();
        context.numInputs = effect.numInputs;
        context.outputs = out;
        context.numOutputs = 2;
        context.numFrames = static_cast<u32>(std::min<std::size_t>(44, left.size() - n));
        context.tempo = how.tempo;
        context.isPlaying = how.runs ? 1 : 0;
        context.songPosition = how.beat + static_cast<float>(n) / 44100.0F * how.tempo / 60.0F;
        Velmora::dsp::RunChild(effect, context);
    }
    return outputs;
}

/// The second pass runs while everything glides.
template <class M>
void ExpectBlocksOfAnySizeToGiveTheSameBits(const Settings& busy, const Settings& other) {
    const Signal left = Noise(8000, 0.5F, 4);
    const Signal right = Noise(8000, 0.5F, 5);
    const auto whole = Make<M>({});
    const auto cut = Make<M>({});
    const auto inPlace = Make<M>({});
    for (const Settings& settings : {busy, other}) {
        for (M* effect : {whole.get(), cut.get(), inPlace.get()}) {
            Set(*effect, settings);
        }
        const auto expected = Play(*whole, left, right);
        EXPECT_EQ(Render(*cut, {&left, &right}, 2, BlockSplit::Random(64, 300, 6)), expected);
        std::vector<Signal> io = {left, right};
        for (std::size_t n = 0; n < left.size(); n += 40) {
            const std::vector<float*> channels = {io[0].data() + n, io[1].data() + n};
            RunInPlace(*inPlace, {channels[0], channels[1]}, channels, 40);
        }
        EXPECT_EQ(io, expected);
    }
}

template <class M>
void ExpectResetToLeaveNothing(const Settings& settings) {
    const Signal noise = Noise(8800, 0.5F, 7);
    const auto expected = Play(*Make<M>(settings), noise, noise);
    for (const bool hard : {false, true}) {
        const auto used = Make<M>({});
        for (u32 id = 0; id < M::parameterCount; ++id) {
            used->SetParameterNormalized(id, 0.8F);
        }
        Play(*used, noise, noise, {0, 0.0F, 90.0F, true, 7.0F});
        const auto fresh = Make<M>({});
        for (u32 id = 0; id < M::parameterCount; ++id) {
            used->SetParameterValue(id, fresh->FindParameter(id)->GetValue());
        }
        Set(*used, settings);
        used->Reset(hard);
        EXPECT_EQ(Play(*used, noise, noise), expected) << "hard: " << hard;
    }
}

template <class M>
void ExpectFaultsNotToStick(const Settings& settings) {
    Signal clean = Noise(8800, 0.5F, 9);
    Signal faulty = clean;
    for (std::size_t n = 5; n < clean.size(); n += 97) {
        const float faults[] = {notANumber, infinity, -infinity, 3e38F};
        faulty[n] = faults[n % 4];
        clean[n] = 0.0F;
    }
    const auto effect = Make<M>(settings);
    const auto expected = Play(*Make<M>(settings), clean, clean);
    EXPECT_EQ(Play(*effect, faulty, faulty), expected);
    const auto absent = Render(*Make<M>({}), {nullptr, &clean}, 2, BlockSplit::Of(44));
    EXPECT_EQ(absent, Play(*Make<M>({}), Signal(8800, 0.0F), clean));
    for (const float bad : {notANumber, infinity, -infinity, 1e30F}) {
        for (u32 id = 0; id < M::parameterCount; ++id) {
            const auto broken = Make<M>(settings);
            const float good = broken->FindParameter(id)->GetValue();
            broken->SetParameterValue(id, bad);
            EXPECT_TRUE(AllFinite(Play(*broken, clean, clean)[0])) << NameOf(*broken, id) << " = " << bad;
            broken->SetParameterValue(id, good);
            broken->Reset(true);
            EXPECT_EQ(Play(*broken, clean, clean), expected) << NameOf(*broken, id) << " = " << bad;
        }
        for (u32 input = 2; input < effect->numInputs; ++input) {
            EXPECT_TRUE(AllFinite(Play(*effect, clean, clean, {input, bad})[1])) << input << " = " << bad;
        }
        EXPECT_TRUE(AllFinite(Play(*effect, clean, clean, {0, 0.0F, bad, true, bad})[0])) << bad;
    }
}

/// ids: the parameter that each modulation input moves, from input 2 on.
template <class M>
void ExpectModulationToMove(const std::vector<u32>& ids, const Settings& settings) {
    const Signal noise = Noise(17600, 0.5F, 8);
    for (u32 i = 0; i < ids.size(); ++i) {
        const auto set = Make<M>(settings);
        const auto modulated = Make<M>(settings);
        set->SetParameterNormalized(ids[i], 0.75F);
        modulated->SetParameterNormalized(ids[i], 0.25F);
        const auto expected = Play(*set, noise, noise);
        EXPECT_EQ(Play(*modulated, noise, noise, {2 + i, 0.5F}), expected) << "input " << 2 + i;
        // Its end is the end of the modulation.
        EXPECT_NE(Play(*modulated, noise, noise), Play(*set, noise, noise)) << "input " << 2 + i;
    }
}

/// Every parameter sounds otherwise at its lower end than near the upper one, which a phase has in common.
template <class M>
void ExpectEveryParameterToAct(const std::vector<Settings>& where) {
    const Signal left = Noise(26400, 0.5F, 10);
    const Signal right = Noise(26400, 0.5F, 11);
    for (u32 id = 0; id < M::parameterCount; ++id) {
        std::vector<Signal> ends[2];
        for (const u32 end : {0U, 1U}) {
            const auto effect = Make<M>(where[id]);
            effect->SetParameterNormalized(id, 0.9F * static_cast<float>(end));
            ends[end] = Play(*effect, left, right);
        }
        double difference = 0.0;
        for (const std::size_t side : {0U, 1U}) {
            for (std::size_t n = 0; n < left.size(); ++n) {
                difference += std::pow(static_cast<double>(ends[0][side][n] - ends[1][side][n]), 2.0);
            }
        }
        EXPECT_GT(std::sqrt(difference / static_cast<double>(left.size())), 0.02) << NameOf(*Make<M>({}), id);
    }
}

/// Largest second difference between two frames.
inline float Roughness(const Signal& signal, std::size_t from, std::size_t to) {
    float most = 0.0F;
    for (std::size_t n = from + 2; n < to; ++n) {
        most = std::max(most, std::abs(signal[n] - 2.0F * signal[n - 1] + signal[n - 2]));
    }
    return most;
}

/// By how much the jump of a parameter is rougher than a low sine a while before and after it, against the
/// peak. `stepped` parameters are steps by themselves.
template <class M>
void ExpectNoSteps(const Settings& settings, float limit, const std::set<u32>& stepped = {}) {
    const Signal sine = Tone(26400, 220.5, 44100.0, 0.4);
    for (u32 at = 0; at < 2 * M::parameterCount; ++at) {
        const u32 id = at / 2;
        const auto from = static_cast<float>(at % 2);
        if (stepped.count(id) == 0) {
            const auto effect = Make<M>(settings);
            effect->SetParameterNormalized(id, from);
            Signal heard = Play(*effect, sine, sine)[0];
            effect->SetParameterNormalized(id, 1.0F - from);
            const Signal after = Play(*effect, sine, sine)[0];
            heard.insert(heard.end(), after.begin(), after.end());
            const float own = std::max(Roughness(heard, 13200, 26400), Roughness(heard, 39600, 52800));
            EXPECT_LT((Roughness(heard, 26300, 39600) - own) / Peak(heard), limit)
                << NameOf(*effect, id) << " from " << from << ", own " << own;
        }
    }
}

/// Random settings within and beyond the ranges, moved while the effect runs.
template <class M>
void ExpectRandomSettingsToStayBelow(float limit) {
    for (const float rate : {8000.0F, 44100.0F, 384000.0F}) {
        std::mt19937 random(5);
        std::uniform_real_distribution<float> position(-0.2F, 1.2F);
        const Signal noise = Noise(8800, 1.0F, 5);
        const auto effect = Make<M>({}, {}, rate);
        for (u32 round = 0; round < 30; ++round) {
            for (u32 id = 0; id < M::parameterCount; ++id) {
                if (random() % 2 == 0) {
                    effect->SetParameterNormalized(id, position(random));
                }
            }
            // Any of its modulation inputs, or none.
            const u32 chosen = 1U + static_cast<u32>(random() % (effect->numInputs - 1U));
            const u32 input = chosen > 1 ? chosen : 0;
            for (const Signal& out : Play(*effect, noise, noise, {input, position(random)})) {
                EXPECT_TRUE(AllFinite(out)) << "round " << round << " at " << rate;
                EXPECT_LT(Peak(out), limit) << "round " << round << " at " << rate;
            }
        }
    }
}

/// Sets `busy`, then `other` while it runs.
template <class M>
void ExpectNoTraceOfBlocksResetsAndFaults(const Settings& busy, const Settings& other, float loudest) {
    ExpectBlocksOfAnySizeToGiveTheSameBits<M>(busy, other);
    ExpectResetToLeaveNothing<M>(busy);
    ExpectFaultsNotToStick<M>(busy);
    ExpectRandomSettingsToStayBelow<M>(loudest);
}

/// Rises so slowly that an effect of delay alone shows the delay of each frame.
inline Signal SlowRamp(std::size_t frames) {
    Signal ramp(frames);
    for (std::size_t n = 0; n < frames; ++n) {
        ramp[n] = static_cast<float>(n) * 1e-5F;
    }
    return ramp;
}

/// The delays in ms at a rate of 44100 Hz; first is the frame of the ramp that heard starts with.
inline Signal DelaysOf(const Signal& heard, std::size_t first) {
    Signal delays(heard.size());
    for (std::size_t n = 0; n < heard.size(); ++n) {
        delays[n] = (static_cast<float>(first + n) - heard[n] * 1e5F) / 44.1F;
    }
    return delays;
}

} // namespace orphia::test
