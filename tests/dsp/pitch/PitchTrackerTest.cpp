// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/pitch/PitchTracker.h"

#include "dsp/pitch/PeakSearch.h"
#include "dsp/pitch/RealFft.h"
#include "rigs/StageRig.h"
#include "rigs/TestFiles.h"
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
    tracker->SetParameterValue(PitchTracker::confidenceThreshold, threshold);
    return tracker;
}

/// The sum of the first partials of a saw; one makes a sine.
Signal Saw(std::size_t length, double hz, int partials, double sampleRate = rate, double phase = 0.0) {
    Signal signal(length);
    for (std::size_t n = 0; n < length; ++n) {
        const Complex turn = std::polar(1.0, phase + 2.0 * pi * hz * static_cast<double>(n) / sampleRate);
        Complex partial = 1.0;
        for (int k = 1; k <= partials; ++k) {
            partial *= turn;
            signal[n] += static_cast<float>(0.3 * partial.imag() / k);
        }
    }
    return signal;
}

double Cents(double hz, double expectedHz) { return std::abs(1200.0 * std::log2(hz / expectedHz)); }

std::size_t CountVoiced(const Signal& pitch) {
    std::size_t voiced = 0;
    for (std::size_t n = windowLength; n < pitch.size(); n += windowLength) {
        voiced += pitch[n] != 0.0F ? 1 : 0;
    }
    return voiced;
}

struct Estimate {
    double hz = 0.0;
    double confidence = 0.0;
};

/// Another estimator: in the time domain and in double precision, it takes the first hill that is nearly the
/// highest and searches for its top between the samples by band-limited interpolation.
Estimate Reference(const float* window) {
    constexpr std::ptrdiff_t longestLag = 882;
    constexpr int reach = 32;
    std::vector<double> correlation(windowLength);
    std::vector<double> energy(windowLength);
    std::vector<double> likeness(windowLength);
    for (std::size_t lag = 0; lag < windowLength; ++lag) {
        for (std::size_t n = lag; n < windowLength; ++n) {
            const auto a = static_cast<double>(window[n]);
            const auto b = static_cast<double>(window[n - lag]);
            correlation[lag] += a * b;
            energy[lag] += (a * a + b * b) / 2.0;
        }
        likeness[lag] = correlation[lag] / std::max(energy[lag], 1e-20);
    }
    const auto isNotPositive = [](double x) { return x <= 0.0; };
    const auto end = likeness.begin() + longestLag;
    const auto begin = std::find_if(likeness.begin(), end, isNotPositive);
    const double nearlyHighest = 0.9 * *std::max_element(begin, end);
    const auto hill = std::find_if(begin, end, [&](double x) { return x > 0.0 && x >= nearlyHighest; });
    const auto peak = std::max_element(hill, std::find_if(hill, end, isNotPositive));
    if (begin == end || hill == end) {
        return {};
    }
    const int top = static_cast<int>(peak - likeness.begin());
    Estimate best;
    for (double lag = top - 1; lag < top + 1; lag += 1.0 / 128.0) {
        const int whole = static_cast<int>(lag);
        const auto index = static_cast<std::size_t>(whole);
        double sum = 0.0;
        for (int at = whole - reach + 1; at <= std::min(whole + reach, 1023); ++at) {
            const double x = pi * (lag - at);
            const double sinc = std::abs(x) < 1e-9 ? 1.0 : std::sin(x) / x;
            sum += correlation[static_cast<std::size_t>(std::abs(at))] * sinc * std::cos(x / reach / 2);
        }
        const double confidence = sum / std::lerp(energy[index], energy[index + 1], lag - whole);
        best = confidence > best.confidence ? Estimate{rate / lag, confidence} : best;
    }
    return best;
}

} // namespace

TEST(PitchTrackerTest, FindsSinesAndBandLimitedSaws) {
    for (const double sampleRate : {44100.0, 48000.0, 96000.0}) {
        const std::size_t window = sampleRate < 90000.0 ? 1024 : 2048;
        auto tracker = MakeTracker(0.95F, sampleRate);
        for (const bool isSaw : {false, true}) {
            std::vector<double> errors;
            double phase = 0.0;
            for (double hz = 70.0; hz <= 1000.0; hz *= 1.021, phase += 0.7) {
                const int partials = isSaw ? static_cast<int>(0.499 * sampleRate / hz) : 1;
                tracker->Reset(false);
                const Signal pitch =
                    Render(*tracker, {Saw(window + rigBlock, hz, partials, sampleRate, phase)}, 1)[0];
                errors.push_back(Cents(pitch[window], hz));
            }
            std::sort(errors.begin(), errors.end());
            // The sharp peak of a saw is no parabola, least of all where the saw's step lies at the end of a
            // window that holds few periods.
            EXPECT_LT(errors[errors.size() * 98 / 100], isSaw ? 2.0 : 0.05) << sampleRate << ' ' << isSaw;
            EXPECT_LT(errors.back(), isSaw ? 7.0 : 0.05) << sampleRate << ' ' << isSaw;
        }
    }
}

TEST(PitchTrackerTest, AgreesWithAnotherEstimatorOnAVoice) {
    const Signal voice = orphia::test::ReadSound(ORPHIA_EXAMPLES "/voice.flac").samples;
    std::vector<Estimate> estimates;
    for (std::size_t n = 0; n + windowLength <= voice.size(); n += windowLength) {
        estimates.push_back(Reference(&voice[n]));
    }
    for (const float threshold : {0.75F, 0.95F}) {
        const Signal pitch = Render(*MakeTracker(threshold), {voice}, 1)[0];
        int expectedVoiced = 0;
        int bothVoiced = 0;
        int close = 0;
        for (std::size_t n = windowLength; n < pitch.size(); n += windowLength) {
            const Estimate& expected = estimates[n / windowLength - 1];
            const bool isExpected = expected.confidence >= static_cast<double>(threshold);
            expectedVoiced += isExpected ? 1 : 0;
            bothVoiced += pitch[n] > 0.0F && isExpected ? 1 : 0;
            close += pitch[n] > 0.0F && isExpected && Cents(pitch[n], expected.hz) < 2.0 ? 1 : 0;
        }
        EXPECT_GE(bothVoiced, 50);
        EXPECT_GE(close, bothVoiced * 0.95) << "of " << bothVoiced << " voiced windows";
        EXPECT_GE(bothVoiced, static_cast<double>(CountVoiced(pitch)) * 0.95) << "voiced without reason";
        // In some windows of a low voice the taper lets a formant win.
        EXPECT_GE(bothVoiced, expectedVoiced * 0.75) << "of " << expectedVoiced;
    }
}

TEST(PitchTrackerTest, LeavesSilenceAndNoiseUnvoiced) {
    constexpr std::size_t windows = 300;
    const Signal noise = Noise(windows * windowLength, 0.5F, 1);
    for (const float threshold : {0.75F, 0.95F, notANumber}) {
        auto tracker = MakeTracker(threshold);
        EXPECT_EQ(CountVoiced(Render(*tracker, {Signal(3000, 0.0F)}, 1)[0]), 0U);
        EXPECT_EQ(CountVoiced(Render(*tracker, {noise}, 1)[0]), 0U) << threshold;
    }
    EXPECT_GT(CountVoiced(Render(*MakeTracker(0.0F), {noise}, 1)[0]), windows * 9 / 10);
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
        tracker->SetParameterValue(PitchTracker::analysisWindowSize, c.windowSize);
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
    const Signal saw = Saw(4400, 120.0, 100);
    const Signal none(saw.size(), 0.0F);
    Signal opposite = saw;
    std::transform(saw.begin(), saw.end(), opposite.begin(), [](float x) { return -x; });
    auto tracker = MakeTracker();
    const auto track = [&tracker](const Signal* first, const Signal* second) {
        tracker->Reset(false);
        return orphia::test::Render(*tracker, {first, second}, 1, {{rigBlock}});
    };
    EXPECT_EQ(CountVoiced(track(&saw, &opposite)[0]), 0U);
    const Signals alone = track(&saw, nullptr);
    ExpectSame(track(&none, &saw), alone, "the second only");
    ExpectSame(track(nullptr, &saw), alone, "no first");
    EXPECT_LT(Cents(alone[0].back(), 120.0), 2.0);
    EXPECT_EQ(tracker->FindParameter(PitchTracker::detectedPitch)->GetValue(), alone[0].back());
    tracker->Reset(false);
    EXPECT_EQ(tracker->FindParameter(PitchTracker::detectedPitch)->GetValue(), 0.0F);
}

TEST(PitchTrackerTest, ConfidenceAndPitchAreThoseBetweenTheSamples) {
    // Both of the lags next to the peak fall 0.003 short.
    const Signals sine = {Saw(2 * windowLength, rate / 40.5, 1)};
    EXPECT_EQ(CountVoiced(Render(*MakeTracker(0.999F), sine, 1)[0]), 1U);
    EXPECT_EQ(CountVoiced(Render(*MakeTracker(1.001F), sine, 1)[0]), 0U);
    Signal endsOnly(2 * windowLength, 0.0F);
    endsOnly[0] = endsOnly[windowLength - 1] = 1.0F;
    EXPECT_EQ(CountVoiced(Render(*MakeTracker(0.0F), {endsOnly}, 1)[0]), 0U) << "a peak without a right side";
}

TEST(RealFftTest, AgreesWithTheDefinitionAndTheInverseUndoesIt) {
    for (const u32 size : {2U, 4U, 12U, 64U, 1024U}) {
        const Signal noise = Noise(size, 1.0F, size);
        dsp::AlignedBuffer data(noise.begin(), noise.end());
        data.resize(dsp::RealFft::BufferSize(size));
        dsp::RealFft fft(size);
        fft.Forward(data.data());
        for (u32 bin = 0; bin <= size / 2; ++bin) {
            const Complex expected = orphia::test::Transform(noise, bin, size);
            ASSERT_NEAR(data[2 * bin], expected.real(), 1e-6 * size) << "bin " << bin << " of " << size;
            ASSERT_NEAR(data[2 * bin + 1], expected.imag(), 1e-6 * size) << "bin " << bin << " of " << size;
        }
        fft.Inverse(data.data());
        for (u32 n = 0; n < size; ++n) {
            ASSERT_NEAR(data[n], noise[n], 2e-6) << "sample " << n << " of " << size;
        }
    }
    EXPECT_THROW(dsp::RealFft{0}, CException);
}

TEST(PeakSearchTest, TheWeightedFunctionChoosesTheLobeAndTheOtherItsPeak) {
    constexpr float nan = notANumber;
    struct Case {
        const char* what;
        std::vector<float> weighted;
        /// Empty: the same.
        std::vector<float> normalised;
        u32 expected;
    };
    for (const Case& c :
         {Case{"never leaves lag 0", {9, 5, 2, 1}, {}, 0},
          {"never comes back", {9, 0, -1, 0}, {}, 0},
          {"silence", {nan, nan, nan, nan}, {}, 0},
          {"the peak moves within its lobe", {9, -1, 3, 5, 4, 0, 2}, {9, -1, 3, 5, 6, 0, 8}, 4},
          {"and to its left", {9, -1, 3, 4, 5, 0}, {9, -1, 7, 4, 5, 0}, 2},
          {"the first of equal lobes", {9, -1, 4, -1, 4, -1}, {9, -1, 4, -1, 5, -1}, 2},
          {"the first of equal lags", {9, -1, 4, 4, 4, -1}, {9, -1, 6, 7, 7, -1}, 3},
          {"the last lag", {9, -1, 3, 4}, {}, 3},
          {"what is no number never wins", {9, -1, nan, 3, nan, -1}, {}, 3}}) {
        const std::vector<float>& normalised = c.normalised.empty() ? c.weighted : c.normalised;
        EXPECT_EQ(
            dsp::FindPeriodPeak(c.weighted.data(), normalised.data(), static_cast<u32>(c.weighted.size())),
            c.expected)
            << c.what;
    }
}
