// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/NoiseGenerator.h"

#include "dsp/RunChild.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <vector>

namespace Velmora::dsp {
namespace {

constexpr u32 blockSize = 64;
using Type = NoiseGenerator::Type;
constexpr Type allTypes[] = {Type::Blue, Type::White, Type::Pink, Type::Red, Type::DeepRed, Type::Morph};

/// A seeded generator and what it has rendered.
struct Source {
    explicit Source(Type type, float color = 0.0F, float rate = 44100.0F, u32 seed = 1) {
        generator.Initialize(rate, blockSize);
        generator.Seed(seed);
        Set(type, color);
    }
    void Set(Type type, float color = 0.0F) {
        generator.SetParameterValue(0, static_cast<float>(type));
        generator.SetParameterNormalized(1, color);
    }
    std::vector<float> Render(u32 blocks, const float* input = nullptr) {
        std::vector<float> signal(blocks * blockSize);
        for (u32 block = 0; block < blocks; ++block) {
            float* out = signal.data() + block * blockSize;
            ProcessContext context;
            context.numFrames = blockSize;
            context.inputs = &input;
            context.numInputs = 1;
            context.outputs = &out;
            context.numOutputs = 1;
            EXPECT_TRUE(RunChild(generator, context));
        }
        return signal;
    }
    NoiseGenerator generator;
};

std::vector<float> Rendered(Type type, float color, u32 blocks = 64) {
    return Source(type, color).Render(blocks);
}

double MeanSquare(const std::vector<float>& signal) {
    double sum = 0.0;
    for (const float x : signal) {
        sum += static_cast<double>(x) * static_cast<double>(x);
    }
    return sum / static_cast<double>(signal.size());
}

/// Power density around a frequency in dB: windowed Fourier sums over segments and neighbouring bins.
double DensityDb(const std::vector<float>& signal, double frequency, double rate) {
    constexpr std::size_t length = 4096;
    double sum = 0.0;
    for (int neighbour = -3; neighbour <= 3; ++neighbour) {
        const double omega =
            2.0 * std::numbers::pi * (frequency / rate + neighbour / static_cast<double>(length));
        for (std::size_t start = 0; start + length <= signal.size(); start += length) {
            std::complex<double> bin = 0.0;
            std::complex<double> turn = 1.0;
            const std::complex<double> step = std::polar(1.0, -omega);
            for (std::size_t n = 0; n < length; ++n) {
                const double phase = 2.0 * std::numbers::pi * static_cast<double>(n) / length;
                bin += turn * (0.5 - 0.5 * std::cos(phase)) * static_cast<double>(signal[start + n]);
                turn *= step;
            }
            sum += std::norm(bin);
        }
    }
    return 10.0 * std::log10(sum);
}

TEST(NoiseGenerator, WhiteIsTheXorshiftSequenceScaledToUnity) {
    // The words that follow 1 in the sequence with the shifts 13, 17, 5.
    constexpr double words[] = {270369.0, 67634689.0, 2647435461.0, 307599695.0, 2398689233.0, 745495504.0};
    const std::vector<float> white = Rendered(Type::White, 0.0F, 1);
    for (std::size_t n = 0; n < std::size(words); ++n) {
        EXPECT_NEAR(static_cast<double>(white[n]), words[n] / 2147483648.0 - 1.0, 1.3e-7) << n;
    }
}

TEST(NoiseGenerator, WhiteIsUniformAndUncorrelated) {
    const std::vector<float> white = Rendered(Type::White, 0.0F, 1024);
    const double count = static_cast<double>(white.size());
    double mean = 0.0;
    for (const float x : white) {
        mean += static_cast<double>(x) / count;
    }
    EXPECT_NEAR(mean, 0.0, 4.0 * std::sqrt(1.0 / 3.0 / count));
    EXPECT_NEAR(MeanSquare(white), 1.0 / 3.0, 4.0 * std::sqrt(4.0 / 45.0 / count));
    for (const std::size_t lag : {1U, 2U, 7U, 64U}) {
        double product = 0.0;
        for (std::size_t n = lag; n < white.size(); ++n) {
            product += static_cast<double>(white[n]) * static_cast<double>(white[n - lag]) / count;
        }
        EXPECT_NEAR(product, 0.0, 4.0 / 3.0 / std::sqrt(count)) << "lag " << lag;
    }
}

TEST(NoiseGenerator, EachKindHasItsSlopeAgainstTheWhiteItIsMadeOf) {
    struct Slope {
        Type type;
        double low, high, dbPerOctave, tolerance;
    };
    // Poles two octaves and 6 dB apart: a little steeper than 3 dB per octave, more so towards the last pole.
    const Slope slopes[] = {{Type::Pink, 100.0, 6400.0, -3.18, 0.1},
                            {Type::Red, 200.0, 6400.0, -6.0, 0.1},
                            {Type::DeepRed, 200.0, 3200.0, -9.25, 0.25},
                            {Type::Blue, 200.0, 6400.0, 6.0, 0.1}};
    constexpr u32 blocks = 1024;
    const std::vector<float> white = Rendered(Type::White, 0.0F, blocks);
    for (const Slope& slope : slopes) {
        const std::vector<float> noise = Rendered(slope.type, 0.0F, blocks);
        const auto gainDb = [&](double frequency) {
            return DensityDb(noise, frequency, 44100.0) - DensityDb(white, frequency, 44100.0);
        };
        const double octaves = std::log2(slope.high / slope.low);
        const double found = (gainDb(slope.high) - gainDb(slope.low)) / octaves;
        EXPECT_NEAR(found, slope.dbPerOctave, slope.tolerance) << "type " << slope.type;
    }
}

TEST(NoiseGenerator, TheMorphPassesThroughThePureKindsAndBetweenThem) {
    const auto white = Rendered(Type::White, 0.0F);
    const auto pink = Rendered(Type::Pink, 0.0F);
    const auto red = Rendered(Type::Red, 0.0F);
    const auto blue = Rendered(Type::Blue, 0.0F);
    EXPECT_EQ(Rendered(Type::Morph, 0.0F), red);
    EXPECT_EQ(Rendered(Type::Morph, 0.25F), pink);
    EXPECT_EQ(Rendered(Type::Morph, 0.5F), white);
    EXPECT_EQ(Rendered(Type::Morph, 1.0F), blue);
    const auto expectHalfWay = [](float color, const std::vector<float>& a, const std::vector<float>& b) {
        const auto mixed = Rendered(Type::Morph, color);
        for (std::size_t n = 0; n < mixed.size(); ++n) {
            if (std::abs(a[n]) < 1.0F && std::abs(b[n]) < 1.0F) {
                ASSERT_NEAR(mixed[n], 0.5F * (a[n] + b[n]), 1e-6F) << "colour " << color << ", frame " << n;
            }
        }
    };
    expectHalfWay(0.125F, red, pink);
    expectHalfWay(0.375F, pink, white);
    expectHalfWay(0.75F, white, blue);
}

TEST(NoiseGenerator, OnlyTheMorphHearsItsInput) {
    const float offset[] = {0.0F, 0.0F, 0.0F, 0.0F, 0.75F};
    EXPECT_EQ(Source(Type::Morph, 0.25F).Render(8, offset + 4), Rendered(Type::Morph, 1.0F, 8));
    EXPECT_EQ(Source(Type::Morph, 0.75F).Render(8, offset + 4), Rendered(Type::Morph, 1.0F, 8)) << "bounded";
    EXPECT_EQ(Source(Type::Pink, 0.25F).Render(8, offset + 4), Rendered(Type::Pink, 0.0F, 8));
    const float broken = std::numeric_limits<float>::quiet_NaN();
    for (const float x : Source(Type::Morph, 0.25F).Render(8, &broken)) {
        ASSERT_LE(std::abs(x), 1.0F);
    }
}

TEST(NoiseGenerator, StaysInRangeAndSoundsAtEveryRate) {
    for (const float rate : {8000.0F, 11025.0F, 22050.0F, 32000.0F, 40000.0F, 44099.0F, 44100.0F, 46000.0F,
                             48000.0F, 88200.0F, 96000.0F, 192000.0F, 384000.0F}) {
        for (const Type type : allTypes) {
            for (const float color : {0.0F, 0.2F, 0.4F, 0.9F}) {
                const std::vector<float> noise = Source(type, color, rate, 77).Render(256);
                const auto [low, high] = std::minmax_element(noise.begin(), noise.end());
                ASSERT_TRUE(*low >= -1.0F && *high <= 1.0F) << "type " << type << " at " << rate << " Hz";
                const auto railed =
                    std::count_if(noise.begin(), noise.end(), [](float x) { return std::abs(x) == 1.0F; });
                EXPECT_LT(railed, 0.01 * static_cast<double>(noise.size()))
                    << "type " << type << " at " << rate << " Hz";
                const double rms = std::sqrt(MeanSquare(noise));
                EXPECT_TRUE(rms > 0.1 && rms < 0.6) << "type " << type << " at " << rate << " Hz: " << rms;
                if (type != Type::Morph) {
                    break;
                }
            }
        }
    }
}

TEST(NoiseGenerator, KindsKeepTheirLoudnessFrom44To192Kilohertz) {
    for (const Type type : {Type::Blue, Type::Pink, Type::Red}) {
        const double reference = MeanSquare(Source(type, 0.0F, 44100.0F).Render(4096));
        for (const float rate : {48000.0F, 96000.0F, 192000.0F}) {
            const double level =
                10.0 * std::log10(MeanSquare(Source(type, 0.0F, rate).Render(4096)) / reference);
            EXPECT_NEAR(level, 0.0, 2.0) << "type " << type << " at " << rate << " Hz, in dB";
        }
    }
}

TEST(NoiseGenerator, ResetAndAChangeOfKindClearTheFiltersButNotTheSequence) {
    for (const Type type : {Type::Blue, Type::Pink, Type::Red, Type::DeepRed}) {
        Source changed(Type::White);
        changed.Render(20);
        changed.Set(type);
        const std::vector<float> expected = changed.Render(4);
        for (const bool hard : {false, true}) {
            Source reset(type);
            reset.Render(20);
            reset.generator.Reset(hard);
            EXPECT_EQ(reset.Render(4), expected) << "type " << type;
        }
        Source detour(type);
        detour.Render(19);
        detour.Set(Type::White);
        detour.Render(1);
        detour.Set(type);
        EXPECT_EQ(detour.Render(4), expected) << "type " << type;
    }
}

TEST(NoiseGenerator, TheSeedDecidesTheSequence) {
    EXPECT_EQ(Source(Type::Pink, 0.0F, 44100.0F, 5).Render(8),
              Source(Type::Pink, 0.0F, 44100.0F, 5).Render(8));
    EXPECT_NE(Source(Type::Pink, 0.0F, 44100.0F, 5).Render(8),
              Source(Type::Pink, 0.0F, 44100.0F, 6).Render(8));
    const std::vector<float> zeroSeed = Source(Type::White, 0.0F, 44100.0F, 0).Render(8);
    EXPECT_NEAR(MeanSquare(zeroSeed), 1.0 / 3.0, 0.05) << "a seed of 0 must not stop the source";
}

TEST(NoiseGenerator, StartsWhiteAndThenFollowsItsParameter) {
    NoiseGenerator generator;
    EXPECT_EQ(generator.GetParameterNormalized(0), 0.0F);
    Source fresh(Type::Blue);
    Source kept(Type::Blue);
    EXPECT_EQ(fresh.Render(2), Rendered(Type::Blue, 0.0F, 2)) << "the parameter starts at its minimum";
    fresh.generator.SetParameterNormalized(0, 0.1F);
    kept.Render(2);
    EXPECT_EQ(fresh.Render(2), kept.Render(2)) << "a move within one step disturbs nothing";
}

TEST(NoiseGenerator, BadValuesAreBounded) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    Source source(Type::Pink);
    for (const float value : {nan, -1e30F, 1e30F, std::numeric_limits<float>::infinity(), -0.5F, 6.0F}) {
        source.generator.SetParameterValue(0, value);
        source.generator.SetParameterNormalized(1, value);
        for (const float x : source.Render(4)) {
            ASSERT_LE(std::abs(x), 1.0F) << value;
        }
    }
}

TEST(NoiseGenerator, ABrokenRateLeavesNothingBehind) {
    for (const Type type : allTypes) {
        Source source(type, 0.1F, std::numeric_limits<float>::quiet_NaN());
        EXPECT_EQ(MeanSquare(source.Render(4)) == 0.0, type != Type::White)
            << "type " << type << ": a broken filter is silent";
        source.generator.Initialize(44100.0F, blockSize);
        source.generator.Seed(1);
        EXPECT_EQ(source.Render(4), Rendered(type, 0.1F, 4)) << "type " << type;
    }
}

} // namespace
} // namespace Velmora::dsp
