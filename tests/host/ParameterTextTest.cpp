// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/ParameterText.h"

#include "host/Errors.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <tuple>
#include <utility>

namespace orphia::host {

namespace {

using Scale = ParameterSetting::Scale;

class ParameterTextTest : public testing::Test {
protected:
    ParameterSetting Parse(std::string_view name, std::string_view text) const {
        return ParseSetting(catalog.Find(name), text);
    }
    std::string Refusal(std::string_view name, std::string_view text) const {
        try {
            const ParameterSetting setting = Parse(name, text);
            return "taken as " + std::to_string(setting.number);
        } catch (const UsageError& error) {
            return error.what();
        }
    }

    ParameterCatalog catalog;
};

TEST_F(ParameterTextTest, AllSpellingsOfAValueMeanTheSame) {
    const std::pair<const char*, std::pair<float, std::vector<const char*>>> cases[] = {
        {"AnalyzerRectifiers_Attack", {0.005F, {"5 ms", "5ms", "0.005", "0.005 s", " +5 MS ", "5e-3"}}},
        {"ProgramLevel", {-10.5F, {"-10.5 dB", "-10.5", "-10.5db", "-1.05e1 DB"}}},
        {"HFChannel_FcLP", {1200.0F, {"1.2 kHz", "1200", "1200 Hz", "1.2khz"}}},
        {"Wet", {0.25F, {"0.25", "25 %", "25%", "@0.25", "@ .25", "0.25 knob"}}},
        {"HFMode", {1.0F, {"on", "ON", "1"}}},
        {"NoiseMix", {1.0F, {"100 %"}}},
        {"Shift", {-0.5F, {"-0.5", "-.5"}}},
    };
    for (const auto& [name, expected] : cases) {
        for (const char* text : expected.second) {
            const ParameterSetting setting = Parse(name, text);
            EXPECT_EQ(setting.number, expected.first) << name << " " << text;
            EXPECT_EQ(setting.scale, Scale::Value) << name << " " << text;
        }
    }
    for (const char* text : {"50 %", "@0.5", "0.5 knob"}) {
        const ParameterSetting position{catalog.Find("ProgramLevel").id, Scale::Position, 0.5F};
        EXPECT_EQ(Parse("ProgramLevel", text), position) << text;
    }
}

TEST_F(ParameterTextTest, StepsHaveNamesAndPitchesAnglesAndSharesUnits) {
    const ParameterCatalog& instrument = ParameterCatalog::OfInstrument();
    const std::tuple<const char*, const char*, float, const char*> cases[] = {
        {"Osc1Waveform", "SAW", 1.0F, "saw"},
        {"Osc1Waveform", "1", 1.0F, "saw"},
        {"FX2_ModuleType", "reverb", 1.0F, "reverb"},
        {"FX3_Delay_SyncRate", "1/8", 8.0F, "1/8"},
        {"FX1_Delay_SyncRate", "1/8 dotted", 6.0F, "1/8 dotted"},
        {"PolyphonyMode", "8 voices", 8.0F, "8 voices"},
        {"Osc1Coarse", "-12 st", -12.0F, "-12 st"},
        {"Osc2Fine", "50 ct", 0.5F, "0.5 st"},
        {"LFO_Swing", "60 %", 60.0F, "60 %"},
        {"LFO_PhaseInit", "90 deg", 90.0F, "90 deg"},
        {"FX1_BitCrusher_Split", "1 st", 100.0F, "100 ct"},
        {"FX_Enable", "off", 0.0F, "off"}};
    for (const auto& [name, text, value, written] : cases) {
        const ParameterInfo& info = instrument.Find(name);
        const ParameterSetting setting = ParseSetting(info, text);
        EXPECT_EQ(setting.number, value) << name << " " << text;
        EXPECT_EQ(FormatSetting(info, setting), written) << name;
    }
    EXPECT_THROW(ParseSetting(instrument.Find("Osc1Waveform"), "sine"), UsageError);
    EXPECT_THROW(ParseSetting(instrument.Find("Osc1Coarse"), "3 dB"), UsageError);
    EXPECT_THROW(CheckIsSettable(instrument.Find("PresetLoading")), UsageError);
}

TEST_F(ParameterTextTest, NonsenseIsRefused) {
    for (const char* text : {"", " ", "loud", "1,5", "nan", "inf", "0x1", "--1", "+-1", "1 2", "@", "@ms",
                             "@1 dB", "5 parsecs", "1e", "on"}) {
        EXPECT_NE(Refusal("Release", text).find("is not a value"), std::string::npos)
            << text << ": " << Refusal("Release", text);
    }
}

TEST_F(ParameterTextTest, TheRangeIsClosedAndToldWhenItIsLeft) {
    EXPECT_EQ(Parse("Attack", "1 ms").number, catalog.Find("Attack").minimum);
    EXPECT_EQ(Parse("Attack", "1").number, 1.0F);
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"Attack", "0.9 ms", "BodeVocoder_AnalyzerRectifiers_Attack: '0.9 ms' is outside 1 ms .. 1 s"},
        {"ProgramLevel", "0.1", "outside -75 dB .. 0 dB"},
        {"ProgramLevel", "101 %", "outside"},
        {"HFMode", "2", "outside off, on"},
        {"Wet", "1e39", "outside"},
        {"Release", "3 dB", "it takes s or ms"},
        {"Wet", "1 Hz", "no unit"},
        {"NoiseType", "1.5", "0 .. 5 in steps of 1"}};
    for (const auto& [name, text, reason] : cases) {
        EXPECT_NE(Refusal(name, text).find(reason), std::string::npos) << Refusal(name, text);
    }
}

/// Any value that the engine can hold must survive being saved.
TEST_F(ParameterTextTest, EveryTextReadsBackAsTheSameSetting) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> unit(0.0F, 1.0F);
    for (const ParameterInfo& info : catalog.Parameters()) {
        for (unsigned i = 0; i < 40; ++i) {
            // Small values are as likely as large ones, where the range has them.
            const float place = unit(random);
            float value =
                info.minimum + (info.maximum - info.minimum) * std::pow(place, i % 2 == 0 ? 1.0F : 4.0F);
            if (info.kind == ParameterKind::Stepped) {
                value = info.minimum + info.stepWidth * static_cast<float>(i % info.stepCount);
            }
            const Scale scale =
                info.kind != ParameterKind::Knob && i % 5 == 0 ? Scale::Position : Scale::Value;
            const ParameterSetting setting{info.id, scale, scale == Scale::Value ? value : place};
            const std::string text = FormatSetting(info, setting);
            EXPECT_EQ(ParseSetting(info, text), setting) << info.name << " " << text;
        }
    }
}

TEST_F(ParameterTextTest, AssignmentsNameAParameterThatCanBeSet) {
    const ParameterSetting setting = ParseAssignment(catalog, "Attack = 5 ms");
    EXPECT_EQ(setting, (ParameterSetting{catalog.Find("Attack").id, Scale::Value, 0.005F}));
    for (const char* text : {"Attack", "=1", "Attack=", "BuzzLED=1", "CVFB3=0", "Foo=1"}) {
        EXPECT_THROW(ParseAssignment(catalog, text), UsageError) << text;
    }
}

} // namespace

} // namespace orphia::host
