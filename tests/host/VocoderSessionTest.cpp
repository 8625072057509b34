// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/VocoderSession.h"

#include "TestFiles.h"
#include "host/Errors.h"
#include "host/LoudnessMeter.h"
#include "host/ParameterText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

namespace orphia::host {

namespace {

using test::Sound;
using Samples = std::vector<float>;

const ParameterCatalog& Catalog() {
    static const ParameterCatalog catalog;
    return catalog;
}

void Set(VocoderSession& session, std::string_view assignment) {
    session.Set(ParseAssignment(Catalog(), assignment));
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

double Decibels(const Samples& samples) { return 20.0 * std::log10(Sound{44100, 2, samples}.Rms() + 1e-12); }

TEST(VocoderSession, BlocksAreAboutAMillisecondAndWholeGroups) {
    EXPECT_EQ(VocoderSession::BlockSize(44100.0F), 44U);
    for (const float rate : {8000.0F, 22050.0F, 48000.0F, 96000.0F, 192000.0F, 384000.0F}) {
        const std::uint32_t size = VocoderSession::BlockSize(rate);
        EXPECT_EQ(size % 4, 0U) << rate;
        EXPECT_NEAR(static_cast<double>(size), rate / 1000.0, 2.5) << rate;
    }
    EXPECT_EQ(VocoderSession::BlockSize(1.0F), 4U);
    EXPECT_EQ(VocoderSession::BlockSize(0.0F), 44U);
    EXPECT_EQ(VocoderSession::BlockSize(std::numeric_limits<float>::quiet_NaN()), 44U);
    EXPECT_EQ(VocoderSession::BlockSize(1e9F), VocoderSession::BlockSize(384000.0F));
}

TEST(VocoderSession, RefusesRatesOutOfRange) {
    EXPECT_THROW(VocoderSession(7999), UsageError);
    EXPECT_THROW(VocoderSession(384001), UsageError);
    EXPECT_NO_THROW(VocoderSession(384000));
}

TEST(VocoderSession, TheResultDoesNotDependOnThePieces) {
    const Sound modulator = test::Syllables(0.4001);
    const Sound carrier = test::Chord(0.4001);
    const Samples whole = Render(*Playing(), modulator, carrier);
    for (const std::size_t blocks : {1U, 7U, 100U}) {
        const Samples pieces = Render(*Playing(), modulator, carrier, blocks * 44);
        EXPECT_EQ(pieces, whole) << blocks << " blocks";
    }
}

TEST(VocoderSession, APartialLastBlockIsTheStartOfAWholeOne) {
    const Sound modulator = test::Syllables(0.1);
    const Sound carrier = test::Chord(0.1);
    Sound cut = modulator;
    cut.samples.resize(2 * 1003);
    const Samples whole = Render(*Playing(), modulator, carrier);
    const Samples part = Render(*Playing(), cut, carrier);
    ASSERT_EQ(part.size(), cut.samples.size());
    // Up to the end of the last whole block; the band meters and lights cannot tell what follows.
    EXPECT_TRUE(std::equal(part.begin(), part.begin() + 2 * (1003 / 44 * 44), whole.begin()));
}

TEST(VocoderSession, EqualSeedsGiveEqualNoise) {
    Sound modulator = test::Syllables(0.4);
    const Sound silence{44100, 2, Samples(modulator.samples.size())};
    const Samples first = Render(*Playing(44100, 5), modulator, silence);
    EXPECT_EQ(Render(*Playing(44100, 5), modulator, silence), first);
    EXPECT_NE(Render(*Playing(44100, 6), modulator, silence), first);
    EXPECT_GT(Decibels(first), -50.0) << "the noise is not heard at all";
}

TEST(VocoderSession, SpeechOpensTheCarrierAndSilenceClosesIt) {
    const Sound speech = test::Syllables(1.0);
    const Sound silence{44100, 2, Samples(speech.samples.size())};
    const double spoken = Decibels(Render(*Playing(), speech, test::Chord(1.0)));
    const double unspoken = Decibels(Render(*Playing(), silence, test::Chord(1.0)));
    EXPECT_GT(spoken, -30.0);
    EXPECT_LT(unspoken, spoken - 50.0) << "the carrier leaks";
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

/// Level in dB of a Fourier component of the left channel.
double ToneLevel(const Samples& samples, double hertz, double rate) {
    double re = 0.0;
    double im = 0.0;
    for (std::size_t n = 0; 2 * n < samples.size(); ++n) {
        const double phase = 2.0 * std::numbers::pi * hertz * static_cast<double>(n) / rate;
        re += samples[2 * n] * std::cos(phase);
        im += samples[2 * n] * std::sin(phase);
    }
    return 20.0 * std::log10(4.0 * std::hypot(re, im) / static_cast<double>(samples.size()) + 1e-12);
}

TEST(VocoderSession, WithoutWetOnlyTheModulatorIsLeft) {
    const auto session = Playing();
    Set(*session, "Wet=0");
    const Samples dry = Render(*session, test::Sine(1000.0, 0.5), test::Sine(1100.0, 0.5));
    EXPECT_GT(ToneLevel(dry, 1000.0, 44100.0), -40.0);
    EXPECT_LT(ToneLevel(dry, 1100.0, 44100.0), ToneLevel(dry, 1000.0, 44100.0) - 60.0);
}

TEST(VocoderSession, TheModulatorChoosesTheBandAndTheCarrierThePitch) {
    // A carrier with a tone in two bands: only the one in the modulator's band is heard.
    Sound carrier = test::Sine(900.0, 0.5, 44100, 2, 0.2);
    const Sound high = test::Sine(2250.0, 0.5, 44100, 2, 0.2);
    for (std::size_t i = 0; i < carrier.samples.size(); ++i) {
        carrier.samples[i] += high.samples[i];
    }
    const Samples low = Render(*Playing(), test::Sine(880.0, 0.5), carrier);
    EXPECT_GT(ToneLevel(low, 900.0, 44100.0), ToneLevel(low, 2250.0, 44100.0) + 30.0);
    const Samples bright = Render(*Playing(), test::Sine(2300.0, 0.5), carrier);
    EXPECT_GT(ToneLevel(bright, 2250.0, 44100.0), ToneLevel(bright, 900.0, 44100.0) + 30.0);
}

TEST(VocoderSession, TheSidesDoNotMix) {
    Sound left = test::Syllables(0.5);
    for (std::size_t i = 1; i < left.samples.size(); i += 2) {
        left.samples[i] = 0.0F;
    }
    const Samples output = Render(*Playing(), left, test::Chord(0.5));
    Samples sides[2];
    for (std::size_t i = 0; i < output.size(); ++i) {
        sides[i % 2].push_back(output[i]);
    }
    EXPECT_GT(Decibels(sides[0]), Decibels(sides[1]) + 40.0);
}

TEST(VocoderSession, APositionIsTheValueThatItStandsFor) {
    const auto byPosition = Playing();
    const auto byValue = Playing();
    Set(*byPosition, "HFLevel=30 %");
    Set(*byValue, "HFLevel=0.3");
    Set(*byPosition, "Shift=@0.75");
    Set(*byValue, "Shift=0.5");
    for (const char* name : {"HFLevel", "Shift"}) {
        const std::uint32_t id = Catalog().Find(name).id;
        EXPECT_FLOAT_EQ(byPosition->Value(id), byValue->Value(id)) << name;
    }
    const Sound speech = test::Syllables(0.2);
    EXPECT_EQ(Render(*byPosition, speech, test::Chord(0.2)), Render(*byValue, speech, test::Chord(0.2)));
}

TEST(VocoderSession, SettingsAreRememberedAndMakeTheSameSoundAgain) {
    const auto session = Playing();
    Set(*session, "Attack=20 ms");
    Set(*session, "Release=@0.4");
    Set(*session, "Analysis3_Synthesis9=0.8");
    Set(*session, "Activated=on");
    Set(*session, "Attack=7 ms");
    VocoderSession copy(44100);
    copy.Apply({"", session->Settings()});
    EXPECT_EQ(copy.Settings(), session->Settings());
    const Sound speech = test::Syllables(0.3);
    const Samples sound = Render(*session, speech, test::Chord(0.3));
    EXPECT_EQ(Render(copy, speech, test::Chord(0.3)), sound);
    EXPECT_NE(Render(*Playing(), speech, test::Chord(0.3)), sound);
    copy.Set({614, ParameterSetting::Scale::Value, 1.0F});
    EXPECT_EQ(copy.Settings(), session->Settings()) << "an unknown id was kept";
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

    Set(*session, "ProgramLevel=0 dB");
    Set(*session, "CarrierLevel=0 dB");
    Render(*session, test::Sine(4000.0, 0.3, 44100, 2, 1.0), test::Sine(200.0, 0.3, 44100, 2, 1.0));
    meters = session->TakeMeters();
    EXPECT_GT(meters.hiss, 0.5F) << "4 kHz is taken for unvoiced";
    EXPECT_GT(meters.programOverload, 0.5F);
    EXPECT_GT(meters.carrierOverload, 0.5F);
}

} // namespace

} // namespace orphia::host
