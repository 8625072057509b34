// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/pitch/PitchTracker.h"

#include "rigs/StageRig.h"

#include <tuple>

using namespace Velmora;
using namespace Velmora::Test;
using dsp::PitchTracker;

namespace {

constexpr double rate = 44100.0;
constexpr std::size_t window = 1024;

std::unique_ptr<PitchTracker> MakeTracker(float threshold, double sampleRate = rate) {
    auto tracker = MakeStage<PitchTracker>(sampleRate);
    tracker->SetParameterValue(PitchTracker::ConfidenceThreshold, threshold);
    return tracker;
}

/// Partials of a tone: the level of each is a power of its number, except that of `formant`, which is 1.
Signal Partials(std::size_t length, double hz, int count, double power = -1.0, int formant = 0,
                double phase = 0.0) {
    Signal signal(length, 0.0F);
    for (int k = 1; k <= count; ++k) {
        const double level = 0.3 * (k == formant ? 1.0 : std::pow(k, power));
        for (std::size_t n = 0; n < length; ++n) {
            const double turns = hz / rate * static_cast<double>(n);
            signal[n] += static_cast<float>(level * std::sin(k * (phase + 2.0 * pi * turns)));
        }
    }
    return signal;
}

/// Windows after the first in which a signal has a pitch.
std::size_t CountVoiced(float threshold, const Signal& signal) {
    const Signal pitch = Render(*MakeTracker(threshold), {signal}, 1)[0];
    std::size_t voiced = 0;
    for (std::size_t n = window; n < pitch.size(); n += window) {
        voiced += pitch[n] != 0.0F ? 1 : 0;
    }
    return voiced;
}

} // namespace

TEST(PitchTrackerTest, FindsTonesToTheCentAndNeverAnotherOctaveInTheMeanOfItsInputs) {
    auto tracker = MakeTracker(0.9F);
    const Signal silence(window + rigBlock, 0.0F);
    // A sine; a saw, whose sharp peak is no parabola, least of all where its step lies at the end of a
    // window; and tones with one strong partial above a weak fundamental.
    for (const auto& [partials, power, formant, worstCents] :
         {std::tuple(1, 0.0, 0, 0.05), {40, -1.0, 0, 7.0}, {6, -1.5, 2, 12.0}, {6, -1.5, 3, 12.0}}) {
        double phase = 0.0;
        for (double hz = 90.0; hz <= 550.0; hz *= 1.03, phase += 0.7) {
            const Signal signal = Partials(window + rigBlock, hz, partials, power, formant, phase);
            const Signal opposite = Partials(window + rigBlock, -hz, partials, power, formant, -phase);
            for (const auto& [first, second, sounds] : {std::tuple(&signal, &silence, true),
                                                        {nullptr, &signal, true},
                                                        {&signal, nullptr, true},
                                                        {&signal, &opposite, false}}) {
                tracker->Reset(false);
                const float found =
                    orphia::test::Render(*tracker, {first, second}, 1, {{rigBlock}})[0].back();
                EXPECT_LT(sounds ? std::abs(1200.0 * std::log2(found / hz)) : found, worstCents) << hz;
                EXPECT_EQ(tracker->FindParameter(PitchTracker::DetectedPitch)->GetValue(), found);
            }
        }
    }
}

TEST(PitchTrackerTest, ConfidenceIsThePartOfTheToneInTheSoundMeasuredBetweenTheSamples) {
    constexpr std::size_t windows = 300;
    const Signal noise = Noise(windows * window, 0.5F, 1);
    EXPECT_EQ(CountVoiced(0.75F, Signal(3000, 0.0F)), 0U);
    EXPECT_EQ(CountVoiced(0.75F, noise), 0U);
    EXPECT_GT(CountVoiced(0.0F, noise), windows * 9 / 10);
    // Both of the lags next to the peak fall 0.003 short.
    const Signal sine = Partials(windows * window, rate / 40.5, 1);
    EXPECT_EQ(CountVoiced(0.9985F, sine), windows - 1);
    Signal mixed = sine; // with a tenth of the power in noise
    for (std::size_t n = 0; n < mixed.size(); ++n) {
        mixed[n] += noise[n] * static_cast<float>(0.3 / 0.5 * std::sqrt(1.5 / 9.0));
    }
    EXPECT_EQ(CountVoiced(0.86F, mixed), windows - 1);
    EXPECT_EQ(CountVoiced(0.94F, mixed), 0U);
}

TEST(PitchTrackerTest, TheWindowIsTheNearestPowerOfTwoAndThePitchConstantOverIt) {
    for (const auto& [windowSize, sampleRate, length] : {std::tuple(2048.0F, 192000.0, 8192U),
                                                         {1024.0F, 66150.0, 1024U},
                                                         {1540.0F, 44100.0, 2048U},
                                                         {6.0F, 44100.0, 4U},
                                                         {1e9F, 44100.0, 2048U},
                                                         {2.0F, 44100.0, 0U},
                                                         {std::nanf(""), 44100.0, 0U},
                                                         {2.0F, 8000.0, 0U}}) {
        auto tracker = MakeTracker(0.95F, sampleRate);
        tracker->SetParameterValue(PitchTracker::AnalysisWindowSize, windowSize);
        dsp::ProcessContext context;
        tracker->UpdateParameters(context);
        Signal alternating(4 * length + 400, 0.0F);
        for (std::size_t n = 0; n < 2 * length + (length == 0 ? 400 : 0); ++n) {
            alternating[n] = 0.5F - static_cast<float>(n % 2);
        }
        const Signal pitch = Render(*tracker, {alternating}, 1)[0];
        for (std::size_t n = 0; n < pitch.size(); ++n) {
            ASSERT_NEAR(pitch[n], n >= length && n < 3 * length ? sampleRate / 2.0 : 0.0, 0.1)
                << windowSize << " at " << sampleRate << ", frame " << n;
        }
    }
}
