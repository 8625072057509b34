// SPDX-License-Identifier: GPL-3.0-or-later
#include "rigs/LogRecorder.h"
#include "support/Resources.h"
#include "support/platform/Platform.h"

#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Velmora {
namespace {

TEST(CLog, FormatsFiveColumnsAndPassesWhatReachesTheThresholdOfItsCategory) {
    LogRecorder recorder;
    std::this_thread::sleep_for(std::chrono::milliseconds(12));
    recorder.log.Log("engine", LogLevel::Notice, "hidden");
    recorder.log.Log("engine", LogLevel::Warning, "a | message");
    recorder.log.SetThreshold("engine", LogLevel::Except);
    recorder.log.Log("engine", LogLevel::Error, "hidden now");
    recorder.log.Log("engine", LogLevel::Except, "second");
    recorder.log.Log("audio_engine", LogLevel::Error, "grows");
    EXPECT_EQ(recorder.Tails(),
              (std::vector<std::string>{"     engine | warning | a | message",
                                        "     engine |  except | second", "audio_engine |   error | grows"}));
    EXPECT_NEAR(std::stod(recorder.lines[0].substr(2, 9)), 512.0, 500.0) << "milliseconds since construction";
}

TEST(Resources, SearchesSixPlacesAndAnswersWithTheFolderOfTheFirstFileFound) {
    LogRecorder recorder;
    std::string path;
    std::set<std::string> files;
    const ResourceEnvironment machine{
        .machineDataFolder = [] { return "C:\\Data\\All Users"; },
        .libraryPath = [&] { return path; },
        .fileExists = [&](const std::string& file) { return files.contains(file); },
        .librarySuffix = ".dll"};
    for (const auto& [library, product] : {std::pair("C:\\x\\Lumen Desk 3.vst3", "Lumen Desk 4"),
                                           {"/opt/x.y/two.dots.so", "two.dots"},
                                           {"bare", "bare"}}) {
        path = library;
        EXPECT_EQ(Resources(machine, recorder.log).GetProductName(), product);
    }
    path = "c:\\Plugins/Voice.vst3/Contents/x64/Voice.dll";
    Resources resources(machine, recorder.log);
    std::vector<std::string> places = {
        "C:\\Data\\/Velmora/Shared/x64/s.dll",           "./s.dll",
        "C:\\Plugins/Voice.vst3/data/Shared/x64/s.dll",  "C:\\Plugins/Voice.vst3/Shared/x64/s.dll",
        "C:\\Plugins/Voice.vst3/../../Shared/x64/s.dll", "../../Shared/x64/s.dll"};
    for (const char* folder : {"", "/res/"}) {
        resources.SetResourcesFolder(folder);
        if (*folder != 0) {
            places[2] = "/res/../Shared/x64/s.dll";
            places[5] = "/res/../../Shared/x64/s.dll";
        }
        files.clear();
        EXPECT_THROW(resources.FindLibraryFolder("s"), std::runtime_error);
        // From the last place to the first: each place that gets the file outranks the later ones.
        for (std::size_t i = places.size(); i-- > 0;) {
            files.insert(places[i]);
            EXPECT_EQ(resources.FindLibraryFolder("s") + "s.dll", places[i]);
        }
    }
}

} // namespace
} // namespace Velmora
