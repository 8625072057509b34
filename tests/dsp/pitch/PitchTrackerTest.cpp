// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/pitch/PitchTracker.h"

#include "rigs/StageRig.h"
#include "support/CException.h"

#include <limits>

using namespace Velmora;
using namespace Velmora::Test;
using dsp::PitchTracker;

namespace {

constexpr double rate = 44100.0;
constexpr std::size_t windowLength = 1024;
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

std::unique_ptr<PitchTracker> MakeTracker(float threshold = 0.95F, double sampleRate = rate) {
    auto tracker = MakeStage<PitchTracker>(sampleRate);
    tracker->SetParameterValue(PitchTracker::ConfidenceThreshold, threshold);
    return tracker;
}

/// Partials of a tone: the level of each is a power of its number, except that of `formant`, which is 1.
Signal Partials(std::size_t length, double hz, int count, double power = -1.0, int formant = 0,
                double sampleRate = rate, double phase = 0.0) {
    Signal signal(length);
    for (std::size_t n = 0; n < length; ++n) {
        const Complex turn = std::polar(1.0, phase + 2.0 * pi * hz * static_cast<double>(n) / sampleRate);
        Complex partial = 1.0;
        for (int k = 1; k <= count; ++k) {
            partial *= turn;
            signal[n] += static_cast<float>(0.3 * partial.imag() * (k == formant ? 1.0 : std::pow(k, power)));
        }
    }
    return signal;
}

double Cents(double hz, double expectedHz) { return std::abs(1200.0 * std::log2(hz / expectedHz)); }

/// Windows after the first in which a signal has a pitch.
std::size_t CountVoiced(PitchTracker& tracker, const Signal& signal) {
    const Signal pitch = Render(tracker, {signal}, 1)[0];
    std::size_t voiced = 0;
    for (std::size_t n = windowLength; n < pitch.size(); n += windowLength) {
        voiced += pitch[n] != 0.0F ? 1 : 0;
    }
    return voiced;
}

} // namespace

TEST(PitchTrackerTest, FindsTonesToTheCentAndNeverAnotherOctave) {
    for (const double sampleRate : {44100.0, 48000.0, 96000.0}) {
        const std::size_t window = sampleRate < 90000.0 ? 1024 : 2048;
        auto tracker = MakeTracker(0.9F, sampleRate);
        struct Tone {
            int partials;
            double power;
            int formant;
            double usualCents, worstCents;
        };
        // A sine; a saw, whose sharp peak is no parabola, least of all where its step lies at the end of a
        // window; and tones with one strong partial above a weak fundamental.
        for (const Tone& tone : {Tone{1, 0.0, 0, 0.05, 0.05},
                                 {40, -1.0, 0, 2.0, 7.0},
                                 {6, -1.5, 2, 3.0, 12.0},
                                 {6, -1.5, 3, 3.0, 12.0}}) {
            std::vector<double> errors;
            double phase = 0.0;
            for (double hz = 90.0; hz <= 550.0; hz *= 1.03, phase += 0.7) {
                tracker->Reset(false);
                const Signal signal = Partials(window + rigBlock, hz, tone.partials, tone.power, tone.formant,
                                               sampleRate, phase);
                errors.push_back(Cents(Render(*tracker, {signal}, 1)[0][window], hz));
            }
            std::sort(errors.begin(), errors.end());
            EXPECT_LT(errors[errors.size() * 9 / 10], tone.usualCents) << sampleRate << ' ' << tone.formant;
            EXPECT_LT(errors.back(), tone.worstCents) << sampleRate << ' ' << tone.formant;
        }
    }
}

TEST(PitchTrackerTest, ConfidenceIsThePartOfTheToneInTheSoundMeasuredBetweenTheSamples) {
    constexpr std::size_t windows = 300;
    const Signal noise = Noise(windows * windowLength, 0.5F, 1);
    for (const float threshold : {0.75F, 0.95F}) {
        EXPECT_EQ(CountVoiced(*MakeTracker(threshold), Signal(3000, 0.0F)), 0U);
        EXPECT_EQ(CountVoiced(*MakeTracker(threshold), noise), 0U) << threshold;
    }
    for (const float threshold : {0.0F, -1.0F, notANumber}) {
        EXPECT_GT(CountVoiced(*MakeTracker(threshold), noise), windows * 9 / 10);
    }
    // Both of the lags next to the peak fall 0.003 short.
    const Signal sine = Partials(windows * windowLength, rate / 40.5, 1);
    EXPECT_EQ(CountVoiced(*MakeTracker(0.9985F), sine), windows - 1);
    // With a tenth of the power in noise.
    Signal mixed = sine;
    for (std::size_t n = 0; n < mixed.size(); ++n) {
        mixed[n] += noise[n] * static_cast<float>(0.3 / 0.5 * std::sqrt(1.5 / 9.0));
    }
    EXPECT_EQ(CountVoiced(*MakeTracker(0.86F), mixed), windows - 1);
    EXPECT_EQ(CountVoiced(*MakeTracker(0.94F), mixed), 0U);
    Signal endsOnly(2 * windowLength, 0.0F);
    endsOnly[0] = endsOnly[windowLength - 1] = 1.0F;
    EXPECT_EQ(CountVoiced(*MakeTracker(0.0F), endsOnly), 0U) << "a peak without a right side";
}

TEST(PitchTrackerTest, TheWindowIsTheNearestPowerOfTwoAndThePitchConstantOverIt) {
    struct Case {
        float windowSize;
        double sampleRate;
        std::size_t window;
    };
    for (const Case& c : {Case{2048.0F, 192000.0, 8192},
                          {1024.0F, 66150.0, 1024},
                          {1540.0F, 44100.0, 2048},
                          {6.0F, 44100.0, 4},
                          {1e9F, 44100.0, 2048},
                          {2.0F, 44100.0, 0},
                          {notANumber, 44100.0, 0},
                          {2.0F, 8000.0, 0}}) {
        auto tracker = MakeTracker(0.95F, c.sampleRate);
        tracker->SetParameterValue(PitchTracker::AnalysisWindowSize, c.windowSize);
        dsp::ProcessContext context;
        tracker->UpdateParameters(context);
        Signal alternating(4 * c.window + 400, 0.0F);
        for (std::size_t n = 0; n < (c.window != 0 ? 2 * c.window : 400); ++n) {
            alternating[n] = 0.5F - static_cast<float>(n % 2);
        }
        const Signal pitch = Render(*tracker, {alternating}, 1)[0];
        for (std::size_t n = 0; n < pitch.size(); ++n) {
            const bool isVoiced = n >= c.window && n < 3 * c.window;
            ASSERT_NEAR(pitch[n], isVoiced ? c.sampleRate / 2.0 : 0.0, 0.1)
                << c.windowSize << " at " << c.sampleRate << ", frame " << n;
        }
    }
}

TEST(PitchTrackerTest, HearsTheMeanOfItsInputsAndReportsThePitch) {
    const Signal saw = Partials(4400, 120.0, 100);
    const Signal none(saw.size(), 0.0F);
    const Signal opposite = Partials(4400, -120.0, 100);
    auto tracker = MakeTracker();
    const auto track = [&tracker](const Signal* first, const Signal* second) {
        tracker->Reset(false);
        return orphia::test::Render(*tracker, {first, second}, 1, {{rigBlock}});
    };
    EXPECT_EQ(Rms(track(&saw, &opposite)[0]), 0.0);
    const Signals alone = track(&saw, nullptr);
    ExpectSame(track(&none, &saw), alone, "the second only");
    ExpectSame(track(nullptr, &saw), alone, "no first");
    EXPECT_LT(Cents(alone[0].back(), 120.0), 2.0);
    EXPECT_EQ(tracker->FindParameter(PitchTracker::DetectedPitch)->GetValue(), alone[0].back());
    tracker->Reset(false);
    EXPECT_EQ(tracker->FindParameter(PitchTracker::DetectedPitch)->GetValue(), 0.0F);
    EXPECT_THROW(dsp::RealFft{0}, CException);
}
