// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/VocoderSession.h"

#include "TestFiles.h"
#include "host/LoudnessMeter.h"
#include "host/ParameterText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <vector>

namespace orphia::host {

namespace {

using test::Sound;
using Samples = std::vector<float>;

const ParameterCatalog& Catalog() {
    static const ParameterCatalog catalog;
    return catalog;
}

std::unique_ptr<VocoderSession> Playing(std::uint32_t rate = 44100, std::uint32_t seed = 1) {
    auto session = std::make_unique<VocoderSession>(rate, seed);
    session->Apply(DefaultPreset(Catalog()));
    return session;
}

Samples Render(VocoderSession& session, const Sound& modulator, const Sound& carrier,
               std::size_t pieceFrames = 1U << 20U) {
    Samples output(modulator.samples.size());
    const std::span<const float> in(modulator.samples);
    const std::span<const float> car(carrier.samples);
    for (std::size_t at = 0; at < output.size(); at += pieceFrames * 2) {
        const std::size_t count = std::min(pieceFrames * 2, output.size() - at);
        session.Process(in.subspan(at, count), car.subspan(at, count), std::span(output).subspan(at, count));
    }
    return output;
}

TEST(VocoderSession, BlocksAreAboutAMillisecondAndWholeGroups) {
    for (const float rate : {8000.0F, 22050.0F, 44100.0F, 48000.0F, 192000.0F, 384000.0F}) {
        const std::uint32_t size = VocoderSession::BlockSize(rate);
        EXPECT_EQ(size % 4, 0U) << rate;
        EXPECT_NEAR(static_cast<double>(size), rate / 1000.0, 2.5) << rate;
    }
    EXPECT_EQ(VocoderSession::BlockSize(1.0F), 4U);
    EXPECT_EQ(VocoderSession::BlockSize(std::numeric_limits<float>::quiet_NaN()), 44U);
    EXPECT_EQ(VocoderSession::BlockSize(1e9F), VocoderSession::BlockSize(384000.0F));
}

TEST(VocoderSession, TheResultDoesNotDependOnThePiecesButOnTheSeed) {
    const Sound modulator = test::Syllables(0.4006); // the last block is not a whole one
    const Sound carrier = test::Chord(0.4006);
    const Samples whole = Render(*Playing(), modulator, carrier);
    for (const std::size_t blocks : {1U, 7U, 100U}) {
        const Samples pieces = Render(*Playing(), modulator, carrier, blocks * 44);
        EXPECT_EQ(pieces, whole) << blocks << " blocks";
    }
    EXPECT_NE(Render(*Playing(44100, 2), modulator, carrier), whole);
}

TEST(VocoderSession, TheSidesDoNotMix) {
    Sound left = test::Syllables(0.5);
    for (std::size_t i = 1; i < left.samples.size(); i += 2) {
        left.samples[i] = 0.0F;
    }
    const Samples output = Render(*Playing(), left, test::Chord(0.5));
    double energy[2] = {};
    for (std::size_t i = 0; i < output.size(); ++i) {
        energy[i % 2] += static_cast<double>(output[i]) * output[i];
    }
    EXPECT_GT(energy[0], 1.0);
    EXPECT_LT(energy[1], energy[0] * 1e-4);
}

TEST(VocoderSession, TheDefaultPresetIsAsLoudAsItShouldBe) {
    for (const std::uint32_t rate : {22050U, 44100U, 96000U}) {
        const Sound speech = test::Syllables(2.0, static_cast<int>(rate));
        LoudnessMeter meter(rate);
        meter.Add(Render(*Playing(rate), speech, test::Chord(2.0, static_cast<int>(rate))));
        ASSERT_TRUE(meter.IntegratedLoudness().has_value());
        EXPECT_NEAR(*meter.IntegratedLoudness(), -18.0, 5.0) << rate;
        EXPECT_LT(meter.SamplePeak(), 1.0) << rate;
    }
}

TEST(VocoderSession, SettingsAreRememberedButUnknownIdsAreNot) {
    const auto session = Playing();
    for (const char* each : {"Attack=20 ms", "Release=@0.4", "Analysis3_Synthesis9=0.8", "Attack=7 ms"}) {
        session->Set(ParseAssignment(Catalog(), each));
    }
    VocoderSession copy(44100);
    copy.Apply({{}, {}, session->Settings(), {}});
    copy.Set({614, ParameterSetting::Scale::Value, 1.0F});
    EXPECT_EQ(copy.Settings(), session->Settings());
}

TEST(VocoderSession, MetersShowBandLightsAndOverload) {
    const auto session = Playing();
    Render(*session, test::Sine(900.0, 0.3), test::Chord(0.3));
    MeterReading meters = session->TakeMeters();
    const auto loudest = std::max_element(meters.bands.begin(), meters.bands.end()) - meters.bands.begin();
    EXPECT_EQ(loudest + 1, 9) << "900 Hz lies in band 9";
    EXPECT_GT(meters.buzz, 0.9F);
    EXPECT_EQ(meters.programOverload, 0.0F);
    session->TakeMeters();
    EXPECT_EQ(session->TakeMeters().bands[8], 0.0F) << "nothing was played since";

    session->Set(ParseAssignment(Catalog(), "ProgramLevel=0 dB"));
    Render(*session, test::Sine(4000.0, 0.3, 44100, 2, 1.0), test::Chord(0.3));
    meters = session->TakeMeters();
    EXPECT_GT(meters.hiss, 0.5F) << "4 kHz is taken for unvoiced";
    EXPECT_GT(meters.programOverload, 0.5F);
    EXPECT_EQ(meters.carrierOverload, 0.0F);
}

} // namespace

} // namespace orphia::host
