// SPDX-License-Identifier: GPL-3.0-or-later
// The pitch tracker as the presets set it.
#include "host/presets/PresetLibrary.h"
#include "rigs/InstrumentRig.h"

#include <gtest/gtest.h>

#include <random>

namespace orphia::host {

namespace {

constexpr double seconds = 4.0;

/// A throat behind two formants: pulses, a little irregular, or breath at 0 Hz.
test::Sound Throat(double hertz, double firstFormant, double secondFormant) {
    std::mt19937 random(3);
    std::normal_distribution<double> normal;
    double turn = 0.0;
    double glottis = 0.0;
    double state[2][2]{};
    return test::Generate(seconds, 44100, 2, [&](double) {
        turn += hertz / 44100.0;
        glottis *= 0.97;
        if (turn >= 1.0) {
            turn += 0.01 * normal(random) - 1.0;
            glottis += 1.0;
        }
        const double x = glottis + (hertz > 0.0 ? 0.003 : 0.1) * normal(random);
        double sum = 0.0;
        for (int k = 0; k < 2; ++k) {
            const double angle = 2.0 * std::numbers::pi * (k == 0 ? firstFormant : secondFormant) / 44100.0;
            constexpr double radius = 0.991; // 130 Hz wide
            const double y = x + 2.0 * radius * std::cos(angle) * state[k][0] - radius * radius * state[k][1];
            state[k][1] = std::exchange(state[k][0], y);
            sum += (k == 0 ? 0.02 : 0.008) * y;
        }
        return sum;
    });
}

/// The share of windows in which a pitch is found from 50 Hz on, and within a quarter tone of this one.
std::pair<double, double> Track(const std::string& preset, const test::Sound& voice, double hertz) {
    const auto instrument = test::Ready();
    if (!preset.empty()) {
        std::vector<std::string> warnings;
        const PresetLibrary library{std::filesystem::path()};
        instrument->LoadPreset(library.Open(preset, instrument->Catalog(), warnings));
    }
    double count = 0.0, found = 0.0, right = 0.0;
    // Whole blocks, a little shorter than a window.
    const std::size_t frames = 46 * instrument->FramesPerBlock();
    for (std::size_t at = 0; at + 2 * frames <= voice.samples.size(); at += 2 * frames, ++count) {
        const auto from = voice.samples.begin() + static_cast<std::ptrdiff_t>(at);
        test::Render(*instrument, (static_cast<double>(frames) + 0.5) / 44100.0,
                     {44100, 2, {from, from + static_cast<std::ptrdiff_t>(2 * frames)}});
        const double pitch = static_cast<double>(instrument->Value("DetectedPitch"));
        found += pitch > 50.0 ? 1.0 : 0.0;
        right += std::abs(std::log2(pitch / std::max(hertz, 1.0))) < 1.0 / 24.0 ? 1.0 : 0.0;
    }
    return {found / count, right / count};
}

TEST(TrackedVoice, LowVoicesAreFoundAndBreathIsNot) {
    for (const char* preset : {"", "voice-harmony"}) {
        for (const auto& [first, second] : {std::pair{730.0, 1090.0}, {530.0, 1840.0}, {300.0, 870.0}}) {
            for (const double hertz : {65.0, 73.0, 82.0, 90.0}) {
                EXPECT_GT(Track(preset, Throat(hertz, first, second), hertz).second, 0.9)
                    << preset << hertz << ", " << first;
            }
            EXPECT_LT(Track(preset, Throat(0.0, first, second), 0.0).first, 0.02) << preset << first;
        }
    }
}

} // namespace

} // namespace orphia::host
