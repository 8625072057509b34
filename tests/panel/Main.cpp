// SPDX-License-Identifier: GPL-3.0-or-later
// orphia_panel_tests [of GoogleTest], or orphia_panel_tests --pictures FOLDER: a picture of each page.
#include "panel/PanelRig.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

int WritePictures(const std::filesystem::path& folder) {
    orphia::test::PanelRig rig;
    std::filesystem::create_directories(folder);
    for (const unsigned key : {48U, 55U, 63U}) {
        rig.instrument.Play({0x90, static_cast<std::uint8_t>(key), 100});
    }
    rig.Play(1.2);
    bool isDone = true;
    for (const bool isBright : {false, true}) {
        rig.panel.SetBright(isBright);
        for (std::size_t page = 0; page < rig.panel.PageCount(); ++page) {
            rig.panel.ShowPage(page);
            rig.Play(0.05);
            const std::string name = rig.panel.PageTitle(page).toLowerCase().toStdString();
            const std::filesystem::path file = folder / (name + (isBright ? "-bright" : ""));
            isDone &= rig.WritePicture(file.string() + "-100.png", 1.0F);
            isDone &= isBright || rig.WritePicture(file.string() + "-200.png", 2.0F);
        }
    }
    return isDone ? 0 : 1;
}

} // namespace

int main(int count, char** words) {
    if (std::getenv("DISPLAY") == nullptr) {
        std::puts("no display: skipped");
        return 77;
    }
    const juce::ScopedJuceInitialiser_GUI juce;
    if (count == 3 && std::string_view(words[1]) == "--pictures") {
        return WritePictures(words[2]);
    }
    testing::InitGoogleTest(&count, words);
    return RUN_ALL_TESTS();
}
