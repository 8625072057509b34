// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/parameters/ParameterCatalog.h"

#include "host/parameters/ParameterText.h"
#include "rigs/TestFiles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <set>
#include <string>

namespace orphia::host {

namespace {

using Scale = ParameterSetting::Scale;

const ParameterCatalog& Vocoder() {
    static const ParameterCatalog catalog(EngineTree::Vocoder);
    return catalog;
}
const ParameterCatalog& Whole() { return ParameterCatalog::OfInstrument(); }

/// What is saved must come back as exactly the same position of the knob.
TEST(ParameterCatalog, EveryParameterHasANameOfItsOwnAndItsValuesConvertBothWays) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> unit(0.0F, 1.0F);
    for (const ParameterCatalog* catalog : {&Vocoder(), &Whole()}) {
        std::set<std::string> names;
        std::size_t valueCount = 0;
        for (std::uint32_t id = 0; id < catalog->Parameters().size(); ++id) {
            const ParameterInfo& info = catalog->Parameters()[id];
            SCOPED_TRACE(info.name);
            EXPECT_EQ(info.id, id);
            EXPECT_TRUE(names.insert(info.name).second);
            EXPECT_EQ(&catalog->Find(info.name), &info);
            EXPECT_TRUE(info.minimum <= info.start && info.start <= info.maximum);
            EXPECT_TRUE(info.role != ParameterRole::Control || !info.description.empty());
            EXPECT_FALSE(info.role == ParameterRole::Control && info.name.ends_with("HardRetrig"))
                << "no effect";
            // Small positions are as likely as large ones.
            for (const float position : {0.0F, 1.0F, unit(random), std::pow(unit(random), 8.0F)}) {
                const ParameterSetting setting = SettingAt(*catalog, id, position);
                EXPECT_EQ(PositionOf(*catalog, setting), position);
                EXPECT_EQ(ParseSetting(info, FormatSetting(info, setting)), setting);
                valueCount += setting.scale == Scale::Value ? 1 : 0;
            }
            std::set<std::string_view> choices;
            for (unsigned step = 0; step < info.stepCount; ++step) {
                const float value = info.minimum + static_cast<float>(step) * info.stepWidth;
                EXPECT_EQ(catalog->ToValue(id, catalog->ToPosition(id, value)), value);
                EXPECT_TRUE(info.choices.empty() || !ChoiceOf(info, step).empty()) << step;
                choices.insert(ChoiceOf(info, step));
            }
            EXPECT_EQ(choices.size(), info.choices.empty() ? (info.stepCount > 0 ? 1 : 0) : info.stepCount);
            EXPECT_TRUE(ChoiceOf(info, info.stepCount).empty());
        }
        EXPECT_GT(valueCount, catalog->Parameters().size() * 5 / 2) << "most settings are readable values";
    }
    EXPECT_EQ(Whole().Parameters().size(), 2359U);
    EXPECT_EQ(Whole().ToPosition(2359, 1.0F) + Whole().ToValue(2359, 1.0F), 0.0F);
}

TEST(ParameterText, AllSpellingsOfAValueMeanTheSame) {
    const auto rows = test::Table("host/parameters/spellings.txt");
    EXPECT_EQ(rows.size(), 20U);
    for (const auto& row : rows) {
        const ParameterCatalog& catalog = row[0] == "vocoder" ? Vocoder() : Whole();
        for (std::size_t text = 4; text < row.size(); ++text) {
            const ParameterSetting setting = ParseAssignment(catalog, row[1] + "=" + row[text]);
            EXPECT_EQ(setting.number, std::stof(row[2])) << row[text];
            EXPECT_EQ(FormatSetting(catalog.Parameters()[setting.id], setting), row[3]) << row[text];
        }
    }
    const std::uint32_t attack = Whole().Find("Attack").id;
    EXPECT_EQ(SettingAt(Whole(), attack, Whole().ToPosition(attack, 0.012F)),
              (ParameterSetting{attack, Scale::Value, 0.012F}));
}

} // namespace

} // namespace orphia::host
