// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/effects/EffectPicture.h"

#include "dsp/effects/distortion/DiodeClipper.h"
#include "host/parameters/ModulationRoutes.h"
#include "host/parameters/ParameterCatalog.h"
#include "plugin/PluginRig.h"
#include "plugin/panel/model/EffectSlots.h"
#include "plugin/panel/model/PanelModel.h"
#include "plugin/panel/model/effects/CompressorCurve.h"
#include "plugin/panel/model/effects/DelayTaps.h"
#include "plugin/panel/model/effects/DriveCurve.h"
#include "plugin/panel/model/effects/EffectOrder.h"
#include "plugin/panel/model/effects/EqualiserCurve.h"
#include "processor/effects/FXVariant.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace orphia::test {

using namespace panel;

namespace {

constexpr double rate = 48000.0;

double Decibels(const EqualiserCurve::Band& band, double hz) {
    return EqualiserCurve({band}, rate).Decibels(hz);
}

} // namespace

TEST(PanelEqualiserCurve, IsThatOfTheFilters) {
    using enum EqualiserCurve::Mode;
    for (const double gain : {-12.0, 6.0}) {
        EXPECT_NEAR(Decibels({Bell, gain, 1000.0, 2.0}, 1000.0), gain, 1e-9);
        EXPECT_NEAR(Decibels({Bell, gain, 1000.0, 2.0}, 20.0), 0.0, 0.05);
        EXPECT_NEAR(Decibels({LowShelf, gain, 1000.0, 0.7071}, 1.0), gain, 1e-3);
        EXPECT_NEAR(Decibels({LowShelf, gain, 1000.0, 0.7071}, 1000.0), gain / 2.0, 1e-3)
            << "half at the corner";
        EXPECT_NEAR(Decibels({HighShelf, gain, 1000.0, 0.7071}, 1000.0), gain / 2.0, 1e-3);
        EXPECT_NEAR(Decibels({HighShelf, gain, 1000.0, 0.7071}, 23900.0), gain, 0.01);
        EXPECT_NEAR(Decibels({HighShelf, gain, 1000.0, 0.7071}, 1.0), 0.0, 1e-3);
    }
    EXPECT_NEAR(Decibels({LowPass, 9.0, 2000.0, 4.0}, 2000.0), 20.0 * std::log10(4.0), 1e-9);
    EXPECT_NEAR(Decibels({HighPass, 9.0, 2000.0, 4.0}, 2000.0), 20.0 * std::log10(4.0), 1e-9);
    EXPECT_NEAR(Decibels({BandPass, 9.0, 2000.0, 4.0}, 2000.0), 20.0 * std::log10(4.0), 1e-9);
    EXPECT_NEAR(Decibels({LowPass, 0.0, 100.0, 0.7071}, 1600.0) -
                    Decibels({LowPass, 0.0, 100.0, 0.7071}, 800.0),
                -12.04, 0.1)
        << "an octave";
    EXPECT_NEAR(Decibels({LowPass, 0.0, 1000.0, 1.0}, 0.0), 0.0, 1e-9);
    // In series.
    const EqualiserCurve both({{Bell, 6.0, 500.0, 1.0}, {HighShelf, -3.0, 4000.0, 0.7071}}, rate);
    EXPECT_NEAR(both.Decibels(700.0),
                Decibels({Bell, 6.0, 500.0, 1.0}, 700.0) + Decibels({HighShelf, -3.0, 4000.0, 0.7071}, 700.0),
                1e-9);
}

TEST(PanelDelayTaps, ComeWhereTheLinesLead) {
    const auto stereo = DelayTaps::Of({.time = 1.0, .offset = 0.25, .feedback = 0.5});
    // The right side is earlier: 0.75, 1.5, 2.25, ...
    ASSERT_GT(stereo.size(), 4U);
    EXPECT_DOUBLE_EQ(stereo[0].time, 0.75);
    EXPECT_TRUE(stereo[0].isRight);
    EXPECT_DOUBLE_EQ(stereo[1].time, 1.0);
    EXPECT_FALSE(stereo[1].isRight);
    EXPECT_DOUBLE_EQ(stereo[2].level, 0.5);
    for (const auto& tap : stereo) {
        EXPECT_DOUBLE_EQ(tap.level, std::pow(0.5, tap.time / (tap.isRight ? 0.75 : 1.0) - 1.0));
    }
    const auto ball =
        DelayTaps::Of({.time = 2.0, .offset = -0.5, .feedback = 0.7, .mode = DelayTaps::PingPong});
    // To the left in 1, to the right in 2.
    for (std::size_t n = 0; n < 6; ++n) {
        EXPECT_EQ(ball[n].isRight, n % 2 == 1);
        EXPECT_DOUBLE_EQ(ball[n].time, static_cast<double>(3 * (n / 2) + (n % 2 == 1 ? 3 : 1)));
        EXPECT_NEAR(ball[n].level, std::sqrt(2.0) * std::pow(0.7, static_cast<double>(n)), 1e-12);
    }
    EXPECT_EQ(DelayTaps::Of({.feedback = 0.0, .mode = DelayTaps::Cross}).size(), 2U);
    EXPECT_EQ(DelayTaps::Of({.feedback = 1.0}).size(), DelayTaps::mostTaps);
    EXPECT_TRUE(DelayTaps::Of({.mix = 0.0}).empty());
    const auto narrow = DelayTaps::Of({.mode = DelayTaps::PingPong, .mix = 0.5, .width = 0.0});
    ASSERT_EQ(narrow.size(), 2U) << "in the middle: the same on both sides";
    EXPECT_NEAR(narrow[0].level, 0.5, 1e-12);
    EXPECT_NEAR(narrow[1].level, 0.5, 1e-12);
    EXPECT_DOUBLE_EQ(DelayTaps::BeatsOf("1/8 dotted"), 0.75);
    EXPECT_DOUBLE_EQ(DelayTaps::BeatsOf("1/4 triplet"), 2.0 / 3.0);
    EXPECT_DOUBLE_EQ(DelayTaps::BeatsOf("1/1"), 4.0);
    EXPECT_EQ(DelayTaps::BeatsOf("off"), 0.0);
}

TEST(PanelDriveCurve, IsThatOfTheStage) {
    using Clipper = Velmora::dsp::DiodeClipper;
    EXPECT_EQ(DriveCurve::groundOhms, Clipper::groundResistance);
    EXPECT_EQ(DriveCurve::leastOhms, Clipper::lowestResistance);
    EXPECT_EQ(DriveCurve::mostOhms, Clipper::highestResistance);
    EXPECT_EQ(DriveCurve::saturationAmperes, Clipper::saturationCurrent);
    EXPECT_EQ(DriveCurve::thermalVolts, Clipper::thermalVoltage);
    const DriveCurve even(30.0, 0.0, 0.0);
    EXPECT_EQ(even(0.0), 0.0);
    // Softly the diodes are a resistor of 9 megohms.
    const double feedback =
        1.0 / (1.0 / (4.7e3 * (std::pow(10.0, 1.5) - 1.0)) + 2.0 * 2.52e-9 / (1.752 * 25.85e-3));
    EXPECT_NEAR(even(1e-5) / (1e-5 * 0.2), 1.0 + feedback / 4.7e3, 0.001);
    for (const double sample : {0.01, 0.2, 1.0}) {
        EXPECT_NEAR(even(-sample), -even(sample), 1e-12);
        // The currents through resistor and diodes are that through the ground resistor.
        const double across = even(sample) - 0.2 * sample;
        const double resistor = across / (4.7e3 * (std::pow(10.0, 1.5) - 1.0));
        const double diodes = 2.0 * 2.52e-9 * std::sinh(across / (1.752 * 25.85e-3));
        EXPECT_NEAR((resistor + diodes) / (0.2 * sample / 4.7e3), 1.0, 1e-9) << sample;
    }
    const DriveCurve biased(30.0, 0.0, 0.8);
    EXPECT_EQ(biased(0.0), 0.0);
    EXPECT_LT(biased(1.0), 0.5 * -biased(-1.0)) << "one half is clipped earlier";
}

TEST(PanelCompressorCurve, BendsAtItsThreshold) {
    const CompressorCurve hard{.threshold = -20.0, .inverseRatio = 0.25};
    EXPECT_DOUBLE_EQ(hard(-30.0), -30.0);
    EXPECT_DOUBLE_EQ(hard(-8.0), -17.0);
    const CompressorCurve soft{.threshold = -20.0, .inverseRatio = 0.25, .knee = 10.0};
    EXPECT_DOUBLE_EQ(soft(-25.0), -25.0);
    EXPECT_DOUBLE_EQ(soft(-8.0), -17.0);
    EXPECT_DOUBLE_EQ(soft.Reduction(-20.0), 0.75 * 10.0 / 8.0);
    EXPECT_DOUBLE_EQ((CompressorCurve{.threshold = -20.0, .inverseRatio = 0.0, .limit = 6.0})(-4.0), -10.0);
    EXPECT_NEAR((CompressorCurve{.threshold = -20.0, .inverseRatio = 0.0, .hasMakeup = true})(-40.0),
                -40.0 + 20.0 * 0.70711, 1e-3);
    EXPECT_DOUBLE_EQ((CompressorCurve{.threshold = -20.0,
                                      .inverseRatio = 0.0,
                                      .inputGain = 5.0,
                                      .compensatedGain = 5.0,
                                      .outputGain = 1.0})(-25.0),
                     -24.0);
}

TEST(PanelEffectPicture, FollowsTheControls) {
    const auto plugin = Plugin();
    const auto type = [&](unsigned number) {
        plugin->SetPosition(EffectSlots::TypeId(1), static_cast<float>(number) / 11.0F);
        return EffectPicture::Of(*plugin, 1, rate);
    };
    for (const unsigned number : {0U, 1U, 3U}) {
        EXPECT_TRUE(type(number).IsEmpty()) << number;
    }
    for (const unsigned number : {2U, 6U, 7U, 10U}) {
        const EffectPicture picture = type(number);
        EXPECT_FALSE(picture.IsEmpty()) << number;
        EXPECT_FALSE(picture.text.empty()) << number;
        for (const auto& point : picture.curve) {
            EXPECT_TRUE(point.x >= 0.0 && point.x <= 1.0 && point.y >= 0.0 && point.y <= 1.0);
        }
    }
    // A band of 12 dB is half way from the middle to the top of 24 dB.
    const auto& parameters = plugin::PluginParameters::Get();
    const auto set = [&](const char* name, const char* text) {
        plugin->SetPosition(IdOf(name), *parameters.PositionOf(IdOf(name), text));
    };
    set("FX2_ParamEq_Gain3", "12 dB");
    set("FX2_ParamEq_Q3", "4");
    double highest = 0.0;
    for (const auto& point : type(10).curve) {
        highest = std::max(highest, point.y);
    }
    EXPECT_NEAR(highest, 0.75, 0.005);
    set("FX2_Delay_TempoSync", "on");
    set("FX2_Delay_SyncRate", "1/4");
    EXPECT_EQ(type(2).across.front().text, "1 beat");
}

TEST(PanelEffects, TheirSignalsAreThoseOfTheEngine) {
    using namespace Velmora::dsp;
    using FX = Velmora::Processor::FXVariant;
    unsigned type = 1;
    const auto check = [&]<class M>(std::type_identity<M>, FX::Type number, std::uint32_t firstId) {
        EXPECT_EQ(type, static_cast<unsigned>(number));
        for (unsigned signal = 0; signal < 2; ++signal) {
            const auto id = EffectSlots::SignalId(1, type, signal);
            ASSERT_EQ(id.has_value(), signal < M::slotSignals.size()) << type;
            if (signal < M::slotSignals.size()) {
                EXPECT_EQ(*id, firstId + FX::IdOf(number, M::slotSignals[signal])) << type << ' ' << signal;
            }
        }
        ++type;
    };
    const std::uint32_t first = IdOf("FX2_Dattorro_DryWet") - FX::IdOf(FX::ReverbType, Reverb::DryWet);
    check(std::type_identity<Reverb>(), FX::ReverbType, first);
    check(std::type_identity<Delay>(), FX::DelayType, first);
    check(std::type_identity<Chorus>(), FX::ChorusType, first);
    check(std::type_identity<Flanger>(), FX::FlangerType, first);
    check(std::type_identity<Phaser>(), FX::PhaserType, first);
    check(std::type_identity<TubeScreamer808>(), FX::TubeScreamerType, first);
    check(std::type_identity<Compressor>(), FX::CompressorType, first);
    check(std::type_identity<IOSubset<BitCrusher, 10, 2>>(), FX::BitCrusherType, first);
    check(std::type_identity<MultiModeFilterPresetChromataFX>(), FX::FilterType, first);
    check(std::type_identity<ParamEq<5>>(), FX::ParamEqType, first);
    check(std::type_identity<WithDryWet<StereoPan, 0, 2, 0>>(), FX::StereoPanType, first);
}

TEST(PanelEffects, AreTiedToTheirDestinationsOfTheMatrix) {
    const auto plugin = Plugin();
    PanelModel model(*plugin, {});
    const unsigned second = Modulation::EffectDestination(2, 1);
    EXPECT_EQ(host::ModulationRoutes::Destinations()[second], "the second control of effect 3");
    EXPECT_EQ(model.modulation.DestinationLabel(second), "FX 3 Second");
    const std::uint32_t tone = IdOf("FX3_TS808_Tone");
    EXPECT_FALSE(model.modulation.DestinationOf(tone));
    plugin->SetPosition(EffectSlots::TypeId(2), 6.0F / 11.0F);
    const unsigned before = model.modulation.Generation();
    model.modulation.Update(0.0F);
    EXPECT_NE(model.modulation.Generation(), before);
    EXPECT_EQ(model.modulation.DestinationOf(tone), second);
    EXPECT_EQ(model.modulation.DestinationLabel(second), "FX 3 Tone");
    plugin->SetPosition(IdOf("EnvFollower_Enable"), 1.0F);
    plugin->SetPosition(host::ModulationRoutes::AmountId(0, second), 0.75F);
    model.modulation.Look();
    model.modulation.Update(0.6F);
    ASSERT_TRUE(model.modulation.ModulatedPosition(tone));
    EXPECT_NEAR(*model.modulation.ModulatedPosition(tone), plugin->Position(tone) + 0.3F, 1e-5F);
}

TEST(PanelEffects, ChangeTheirOrderWithAllThatTheyHaveInOneStep) {
    const auto plugin = Plugin();
    plugin->Activate(pluginRate);
    PanelModel model(*plugin, {});
    for (unsigned slot = 0; slot < 3; ++slot) {
        plugin->SetPosition(EffectSlots::TypeId(slot), static_cast<float>(slot + 2) / 11.0F);
    }
    plugin->SetPosition(IdOf("FX1_Delay_DryWetMode"), 1.0F);
    plugin->SetPosition(IdOf("FX1_Delay_Time"), 0.11F);
    plugin->SetPosition(IdOf("FX2_Delay_Time"), 0.22F);
    plugin->SetPosition(host::ModulationRoutes::AmountId(3, Modulation::EffectDestination(0, 1)), 0.9F);
    plugin->AssignMacro(4, {"Echo", {{IdOf("FX1_Delay_Time"), 0.1F, 0.7F}, {IdOf("Attack"), 0.0F, 1.0F}}});
    Play(*plugin, 2000);
    const auto all = [&] {
        std::vector<float> positions;
        for (const host::ParameterInfo& info : host::ParameterCatalog::OfInstrument().Parameters()) {
            positions.push_back(info.IsSettable() ? plugin->Position(info.id) : 0.0F);
        }
        return positions;
    };
    const std::vector<float> before = all();
    MoveEffect(*plugin, model.history, 0, 2);
    Play(*plugin, 2000);
    for (unsigned slot = 0; slot < 3; ++slot) {
        EXPECT_EQ(EffectSlots::TypeIn(*plugin, slot), (std::vector<unsigned>{3, 4, 2})[slot]);
    }
    EXPECT_EQ(plugin->Position(IdOf("FX3_Delay_Time")), 0.11F);
    EXPECT_EQ(plugin->Position(IdOf("FX1_Delay_Time")), 0.22F);
    EXPECT_EQ(plugin->Position(IdOf("FX3_Delay_DryWetMode")), 1.0F);
    EXPECT_EQ(plugin->Position(host::ModulationRoutes::AmountId(3, Modulation::EffectDestination(2, 1))),
              0.9F);
    EXPECT_EQ(plugin->MacroOf(4).targets[0], (plugin::MacroTarget{IdOf("FX3_Delay_Time"), 0.1F, 0.7F}));
    EXPECT_EQ(plugin->MacroOf(4).targets[1].id, IdOf("Attack"));
    model.history.Undo();
    Play(*plugin, 2000);
    EXPECT_TRUE(all() == before);
    EXPECT_EQ(plugin->MacroOf(4).targets[0].id, IdOf("FX1_Delay_Time"));
    EXPECT_FALSE(model.history.CanUndo());
    MoveEffect(*plugin, model.history, 2, 2);
    MoveEffect(*plugin, model.history, 0, 3);
    EXPECT_FALSE(model.history.CanUndo());
}

} // namespace orphia::test
