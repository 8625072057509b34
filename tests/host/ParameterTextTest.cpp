// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/ParameterText.h"

#include "host/Errors.h"

#include <gtest/gtest.h>

#include <clocale>
#include <random>
#include <string>
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
        {"NoiseMix", {1.0F, {"on", "1", "100 %"}}},
        {"Shift", {-0.5F, {"-0.5", "-.5"}}},
    };
    for (const auto& [name, expected] : cases) {
        for (const char* text : expected.second) {
            const ParameterSetting setting = Parse(name, text);
            EXPECT_EQ(setting.number, expected.first) << name << " " << text;
            EXPECT_EQ(setting.scale, Scale::Value) << name << " " << text;
            EXPECT_EQ(setting.id, catalog.Find(name).id);
        }
    }
}

TEST_F(ParameterTextTest, PositionsAreKeptApartFromValues) {
    for (const char* text : {"50 %", "@0.5", "0.5 knob"}) {
        const ParameterSetting setting = Parse("ProgramLevel", text);
        EXPECT_EQ(setting.number, 0.5F) << text;
        EXPECT_EQ(setting.scale, Scale::Position) << text;
    }
}

TEST_F(ParameterTextTest, NonsenseIsRefused) {
    for (const char* text : {"", " ", "loud", "1,5", "nan", "inf", "0x1", "--1", "+-1", "1 2", "@", "@ms",
                             "@1 dB", "5 parsecs", "1e", "on"}) {
        EXPECT_NE(Refusal("Release", text).find("is not a value"), std::string::npos)
            << text << ": " << Refusal("Release", text);
    }
    EXPECT_NE(Refusal("Release", "3 dB").find("it takes s or ms"), std::string::npos);
    EXPECT_NE(Refusal("Wet", "1 Hz").find("no unit"), std::string::npos);
    EXPECT_NE(Refusal("NoiseType", "1.5").find("0 .. 5 in steps of 1"), std::string::npos);
}

TEST_F(ParameterTextTest, TheRangeIsClosedAndToldWhenItIsLeft) {
    EXPECT_EQ(Parse("Attack", "1 ms").number, catalog.Find("Attack").minimum);
    EXPECT_EQ(Parse("Attack", "1").number, 1.0F);
    EXPECT_EQ(Refusal("Attack", "0.9 ms"),
              "BodeVocoder_AnalyzerRectifiers_Attack: '0.9 ms' is outside 1 ms .. 1 s");
    EXPECT_NE(Refusal("ProgramLevel", "0.1").find("outside -75 dB .. 0 dB"), std::string::npos);
    EXPECT_NE(Refusal("ProgramLevel", "101 %").find("outside"), std::string::npos);
    EXPECT_NE(Refusal("HFMode", "2").find("outside off, on"), std::string::npos);
    EXPECT_NE(Refusal("Wet", "1e39").find("outside"), std::string::npos);
}

/// Any value that the engine can hold must survive being saved.
TEST_F(ParameterTextTest, EveryTextReadsBackAsTheSameSetting) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> unit(0.0F, 1.0F);
    for (const ParameterInfo& info : catalog.Parameters()) {
        for (int i = 0; i < 40; ++i) {
            // Small values are as likely as large ones, where the range has them.
            const float curve = unit(random);
            float value = info.minimum + (info.maximum - info.minimum) *
                                             (i % 2 == 0 ? curve : curve * curve * curve * curve);
            if (info.kind == ParameterKind::Stepped) {
                value = info.minimum +
                        info.stepWidth * static_cast<float>(static_cast<unsigned>(i) % info.stepCount);
            }
            const Scale scale =
                info.kind != ParameterKind::Knob && i % 5 == 0 ? Scale::Position : Scale::Value;
            const ParameterSetting setting{info.id, scale, scale == Scale::Value ? value : curve};
            const std::string text = FormatSetting(info, setting);
            EXPECT_EQ(ParseSetting(info, text), setting) << info.name << " " << text;
        }
    }
}

TEST_F(ParameterTextTest, TextsAreReadable) {
    EXPECT_EQ(FormatValue(catalog.Find("Attack"), 0.005F), "5 ms");
    EXPECT_EQ(FormatValue(catalog.Find("Release"), 30.0F), "30 s");
    EXPECT_EQ(FormatValue(catalog.Find("ProgramLevel"), -0.0F), "0 dB");
    EXPECT_EQ(FormatValue(catalog.Find("HFChannel_FcLP"), 24000.0F), "24000 Hz");
    EXPECT_EQ(FormatRange(catalog.Find("NoiseType")), "0 .. 5");
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
