// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/look/Palette.h"
#include "plugin/panel/model/Keys.h"
#include "plugin/panel/model/layout/Layout.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace orphia::test {

using namespace panel;

TEST(PanelLook, TextStandsOutOnAllThatItStandsOn) {
    EXPECT_NEAR(Palette::Contrast(0xFF000000, 0xFFFFFFFF), 21.0, 1e-9);
    EXPECT_NEAR(Palette::Contrast(0xFF777777, 0xFFFFFFFF), 4.48, 0.01);
    for (const Palette& look : {Palette::Dark(), Palette::Bright()}) {
        for (const Palette::Colour ground : {look.background, look.section, look.field}) {
            EXPECT_GE(Palette::Contrast(look.text, ground), 4.5);
            EXPECT_GE(Palette::Contrast(look.dimText, ground), 4.5);
            EXPECT_GE(Palette::Contrast(look.warning, ground), 4.5);
            EXPECT_GE(Palette::Contrast(look.accent, ground), 4.5);
        }
        EXPECT_GE(Palette::Contrast(look.onAccent, look.accent), 4.5);
    }
}

TEST(PanelLayout, EveryControlHasAPlaceOfItsOwnWithinItsSection) {
    std::vector<std::vector<const Section*>> pages = {
        MainLayout::Sections(),
        {&ModulationLayout::Lfo(), &ModulationLayout::Follower(), &ModulationLayout::Controllers()}};
    for (const auto& sections : pages) {
        std::set<std::uint32_t> ids;
        std::vector<Area> boxes;
        for (const Section* const section : sections) {
            EXPECT_LE(HeightOf(*section), section->area.height) << section->title;
            EXPECT_TRUE((Area{0, 0, Grid::page.width, Grid::page.height}.Contains(section->area)))
                << section->title;
            for (const Area& other : boxes) {
                EXPECT_FALSE(other.Overlaps(section->area)) << section->title;
            }
            boxes.push_back(section->area);
            std::vector<Area> taken;
            for (const PlacedControl& control : Place(*section)) {
                EXPECT_TRUE(ids.insert(control.model.id).second) << control.model.name;
                EXPECT_TRUE((Area{0, 0, section->area.width, section->area.height}.Contains(control.area)));
                for (const Area& other : taken) {
                    EXPECT_FALSE(other.Overlaps(control.area)) << control.model.name;
                }
                taken.push_back(control.area);
            }
        }
    }
}

TEST(PanelKeys, FollowThePatternOfAnOctave) {
    const std::set<int> black = {1, 3, 6, 8, 10};
    int whites = 0;
    for (int key = 0; key < 128; ++key) {
        EXPECT_EQ(Keys::IsBlack(key), black.contains(key % 12)) << key;
        EXPECT_EQ(Keys::WhitesBelow(key), whites) << key;
        whites += Keys::IsBlack(key) ? 0 : 1;
    }
    EXPECT_EQ(Keys::OfComputer('a'), 0);
    EXPECT_EQ(Keys::OfComputer('w'), 1);
    EXPECT_EQ(Keys::OfComputer('k'), 12);
    EXPECT_FALSE(Keys::OfComputer('q'));
}

} // namespace orphia::test
