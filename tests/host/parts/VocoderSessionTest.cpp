// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/parts/VocoderSession.h"

#include "rigs/TestFiles.h"

#include <gtest/gtest.h>

namespace orphia::host {

namespace {

TEST(VocoderSession, WhatMovesArrivesWhereItWouldHaveBegunAndNonsenseIsNotKept) {
    const ParameterCatalog catalog;
    const std::uint32_t shift = catalog.Find("Shift").id;
    const test::Sound voice = test::Syllables(1.0);
    const test::Sound chord = test::Chord(1.0);
    VocoderSession begun(44100);
    VocoderSession moved(44100);
    const auto render = [&](VocoderSession& session) {
        test::Sound sound = voice;
        session.Process(voice.samples, chord.samples, sound.samples);
        return sound;
    };
    begun.Apply(DefaultPreset(catalog));
    moved.Apply(DefaultPreset(catalog));
    begun.Set({shift, ParameterSetting::Scale::Position, 1.0F});
    EXPECT_GT((render(moved) - render(begun)).Rms(), 1e-2);
    for (const float position : {NAN, 7.0F, HUGE_VALF}) {
        moved.Set({shift, ParameterSetting::Scale::Position, position});
    }
    EXPECT_EQ(moved.Settings(), begun.Settings());
    const test::Sound expected = render(begun);
    EXPECT_LT((render(moved) - expected).Rms(0.1), 1e-3 * expected.Rms(0.1));
}

} // namespace

} // namespace orphia::host
