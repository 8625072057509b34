// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/oscillators/NoiseGenerator.h"

#include "dsp/framework/RunChild.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <string>
#include <tuple>
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

TEST(NoiseGenerator, WhiteIsUniformAndUncorrelatedWhateverTheSeed) {
    std::vector<float> last;
    for (const u32 seed : {0U, 1U, 6U}) { // a seed of 0 must not stop the source
        const std::vector<float> white = Source(Type::White, 0.0F, 44100.0F, seed).Render(1024);
        EXPECT_NE(white, last) << "seed " << seed;
        last = white;
        const double count = static_cast<double>(white.size());
        EXPECT_NEAR(MeanSquare(white), 1.0 / 3.0, 4.0 * std::sqrt(4.0 / 45.0 / count)) << "seed " << seed;
        for (const std::size_t lag : {1U, 2U, 7U, 64U}) {
            double product = 0.0;
            for (std::size_t n = lag; n < white.size(); ++n) {
                product += static_cast<double>(white[n]) * static_cast<double>(white[n - lag]) / count;
            }
            EXPECT_NEAR(product, 0.0, 4.0 / 3.0 / std::sqrt(count)) << "lag " << lag << ", seed " << seed;
        }
    }
}

TEST(NoiseGenerator, EachKindHasItsSlopeAgainstTheWhiteItIsMadeOf) {
    struct Slope {
        Type type;
        double dbPerOctave, tolerance;
    };
    // Poles two octaves and 6 dB apart: a little steeper than 3 dB per octave, more so towards the last pole.
    const Slope slopes[] = {{Type::Pink, -3.18, 0.1},
                            {Type::Red, -6.0, 0.1},
                            {Type::DeepRed, -9.25, 0.25},
                            {Type::Blue, 6.0, 0.1}};
    constexpr u32 blocks = 1024;
    const std::vector<float> white = Rendered(Type::White, 0.0F, blocks);
    for (const Slope& slope : slopes) {
        const std::vector<float> noise = Rendered(slope.type, 0.0F, blocks);
        const auto gainDb = [&](double frequency) {
            return DensityDb(noise, frequency, 44100.0) - DensityDb(white, frequency, 44100.0);
        };
        EXPECT_NEAR((gainDb(3200.0) - gainDb(200.0)) / 4.0, slope.dbPerOctave, slope.tolerance)
            << "type " << slope.type;
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
    for (const auto& [color, a, b] :
         {std::tuple(0.125F, red, pink), {0.375F, pink, white}, {0.75F, white, blue}}) {
        const auto mixed = Rendered(Type::Morph, color);
        for (std::size_t n = 0; n < mixed.size(); ++n) {
            if (std::abs(a[n]) < 1.0F && std::abs(b[n]) < 1.0F) {
                ASSERT_NEAR(mixed[n], 0.5F * (a[n] + b[n]), 1e-6F) << "colour " << color << ", frame " << n;
            }
        }
    }
}

TEST(NoiseGenerator, OnlyTheMorphHearsItsInput) {
    const float offset[] = {0.0F, 0.0F, 0.0F, 0.0F, 0.75F};
    EXPECT_EQ(Source(Type::Morph, 0.25F).Render(8, offset + 4), Rendered(Type::Morph, 1.0F, 8));
    EXPECT_EQ(Source(Type::Morph, 0.75F).Render(8, offset + 4), Rendered(Type::Morph, 1.0F, 8)) << "bounded";
    EXPECT_EQ(Source(Type::Pink, 0.25F).Render(8, offset + 4), Rendered(Type::Pink, 0.0F, 8));
}

TEST(NoiseGenerator, StaysInRangeAndAsLoudAtEveryRate) {
    for (const Type type : allTypes) {
        const double reference = MeanSquare(Source(type, 0.2F, 44100.0F, 77).Render(2048));
        for (const float rate :
             {8000.0F, 22050.0F, 40000.0F, 44099.0F, 48000.0F, 88200.0F, 192000.0F, 384000.0F}) {
            const std::vector<float> noise = Source(type, 0.2F, rate, 77).Render(2048);
            const std::string what =
                "type " + std::to_string(static_cast<int>(type)) + " at " + std::to_string(rate) + " Hz";
            const auto [low, high] = std::minmax_element(noise.begin(), noise.end());
            ASSERT_TRUE(*low >= -1.0F && *high <= 1.0F) << what;
            const auto railed =
                std::count_if(noise.begin(), noise.end(), [](float x) { return std::abs(x) == 1.0F; });
            EXPECT_LT(railed, 0.01 * static_cast<double>(noise.size())) << what;
            const double rms = std::sqrt(MeanSquare(noise));
            EXPECT_TRUE(rms > 0.1 && rms < 0.6) << what << ": " << rms;
            if (rate > 44100.0F && rate < 200000.0F && type != Type::DeepRed) {
                EXPECT_NEAR(10.0 * std::log10(MeanSquare(noise) / reference), 0.0, 2.0) << what << ", in dB";
            }
        }
    }
}

TEST(NoiseGenerator, ResetAndAChangeOfKindClearTheFiltersButNotTheSequence) {
    for (const Type type : {Type::Blue, Type::Pink, Type::Red, Type::DeepRed}) {
        Source changed(Type::White);
        changed.Render(20);
        changed.Set(type);
        const std::vector<float> expected = changed.Render(4);
        Source detour(type);
        detour.Render(19);
        detour.Set(Type::White);
        detour.Render(1);
        detour.Set(type);
        EXPECT_EQ(detour.Render(4), expected) << "type " << type;
        Source reset(type);
        reset.Render(20);
        reset.generator.Reset(false);
        EXPECT_EQ(reset.Render(4), expected) << "type " << type;
    }
}

TEST(NoiseGenerator, AFilterOfABrokenRateIsSilentAndRecovers) {
    for (const Type type : allTypes) {
        Source source(type, 0.1F, std::nanf(""));
        EXPECT_EQ(MeanSquare(source.Render(4)) == 0.0, type != Type::White) << "type " << type;
        source.generator.Initialize(44100.0F, blockSize);
        source.generator.Seed(1);
        EXPECT_EQ(source.Render(4), Rendered(type, 0.1F, 4)) << "type " << type;
    }
}

} // namespace
} // namespace Velmora::dsp
