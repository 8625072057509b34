// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/core/parameters/PluginParameters.h"

#include "host/parameters/ParameterCatalog.h"

#include <gtest/gtest.h>

#include <set>

namespace orphia::plugin {

namespace {

TEST(PluginParameters, HostsGetChosenControlsMacrosAndABypassWithTextsThatReadBack) {
    const PluginParameters& parameters = PluginParameters::Get();
    const auto& engine = host::ParameterCatalog::OfInstrument().Parameters();
    std::set<std::string> symbols, names;
    unsigned ours = 0;
    for (const PluginParameter& each : parameters.All()) {
        EXPECT_TRUE(symbols.insert(each.symbol).second) << each.symbol;
        EXPECT_TRUE(names.insert(std::string(each.group) + each.name).second) << each.name;
        EXPECT_EQ(
            each.symbol.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_0123456789"),
            std::string::npos);
        EXPECT_TRUE(each.choices.empty() || each.choices.size() == each.stepCount) << each.symbol;
        EXPECT_EQ(parameters.Find(each.id), &each);
        const bool isEngines = each.id < parameters.EngineCount();
        ours += isEngines ? 0 : 1;
        if (isEngines) {
            EXPECT_EQ(engine[each.id].role, host::ParameterRole::Control) << each.symbol;
            EXPECT_FLOAT_EQ(parameters.ToValue(each.id, 1.0F), each.maximum) << each.symbol;
        }
        const unsigned places = each.stepCount > 0 ? each.stepCount : 11;
        for (unsigned place = 0; place < places; ++place) {
            const float position = static_cast<float>(place) / static_cast<float>(places - 1);
            const std::string text = parameters.Text(each.id, position);
            const auto back = parameters.PositionOf(each.id, text);
            ASSERT_TRUE(back) << each.symbol << " " << text;
            EXPECT_NEAR(*back, position, each.stepCount > 0 ? 1e-6F : 2e-3F) << each.symbol << " " << text;
            EXPECT_EQ(parameters.Text(each.id, *back), text) << each.symbol;
            EXPECT_TRUE(each.choices.empty() || text == each.choices[place]) << each.symbol << " " << text;
        }
    }
    EXPECT_EQ(ours, PluginParameters::macroCount + 1);
    EXPECT_GE(parameters.All().size() - ours, 100U);
    EXPECT_LE(parameters.All().size() - ours, 200U);
    EXPECT_FALSE(parameters.PositionOf(0, "loud"));
    EXPECT_EQ(parameters.Find(parameters.EngineCount() + 5), nullptr);
}

} // namespace

} // namespace orphia::plugin
