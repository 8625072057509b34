// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/Resources.h"

#include "rigs/LogRecorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Velmora::ResourceEnvironment;
using Velmora::Resources;

// A machine whose answers and files are made up, and which notes the paths that were asked for.
struct FakeMachine {
    std::string libraryPath;
    std::vector<std::string> files = {};
    std::vector<std::string> asked = {};

    ResourceEnvironment Environment() {
        return {.machineDataFolder = [] { return "C:\\Data\\All Users"; },
                .libraryPath = [this] { return libraryPath; },
                .fileExists =
                    [this](const std::string& path) {
                        asked.push_back(path);
                        return std::find(files.begin(), files.end(), path) != files.end();
                    },
                .librarySuffix = ".dll"};
    }
};

std::string ProductOf(const std::string& path) {
    LogRecorder recorder;
    FakeMachine machine{.libraryPath = path};
    return Resources(machine.Environment(), recorder.log).GetProductName();
}

TEST(Resources, TakesTheProductNameFromTheLibraryAndJoinsTheTwoLumenDesks) {
    EXPECT_EQ(ProductOf("C:\\x\\Lumen Desk 3.vst3"), "Lumen Desk 4");
    EXPECT_EQ(ProductOf("/opt/Lumen Desk 30.so"), "Lumen Desk 30");
    EXPECT_EQ(ProductOf("/opt/x.y/two.dots.so"), "two.dots");
    EXPECT_EQ(ProductOf("bare"), "bare");
}

TEST(Resources, SearchesSixPlacesAndAnswersWithTheFolderOfTheFirstFileFound) {
    LogRecorder recorder;
    FakeMachine machine{.libraryPath = "c:\\Plugins/Voice.vst3/Contents/x64/Voice.dll"};
    Resources resources(machine.Environment(), recorder.log);
    EXPECT_EQ(resources.GetProgramDataPath(), "C:\\Data\\");
    std::vector<std::string> places = {
        "C:\\Data\\/Velmora/Shared/x64/s.dll",           "./s.dll",
        "C:\\Plugins/Voice.vst3/data/Shared/x64/s.dll",  "C:\\Plugins/Voice.vst3/Shared/x64/s.dll",
        "C:\\Plugins/Voice.vst3/../../Shared/x64/s.dll", "../../Shared/x64/s.dll"};
    for (const bool hasFolder : {false, true}) {
        if (hasFolder) {
            resources.SetResourcesFolder("/res/");
            places[2] = "/res/../Shared/x64/s.dll";
            places[5] = "/res/../../Shared/x64/s.dll";
        }
        machine.files.clear();
        machine.asked.clear();
        EXPECT_THROW(resources.FindLibraryFolder("s"), std::runtime_error);
        EXPECT_EQ(machine.asked, places);
        // From the last place to the first: each place that gets the file outranks the later ones.
        for (std::size_t i = places.size(); i-- > 0;) {
            machine.files.push_back(places[i]);
            EXPECT_EQ(resources.FindLibraryFolder("s") + "s.dll", places[i]);
        }
    }
}

} // namespace
