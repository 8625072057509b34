// SPDX-License-Identifier: GPL-3.0-or-later
#include "rigs/LogRecorder.h"
#include "support/Resources.h"
#include "support/platform/Platform.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
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

TEST(CLog, GoesToTheFileOrToThePaintedConsoleOrNowhere) {
    const std::string path =
        ::testing::TempDir() + "log_\xC3\xA9_" + std::to_string(Platform::CurrentThreadId());
    LogRecorder recorder;
    const auto shown = [&recorder](LogLevel level) {
        ::testing::internal::CaptureStdout();
        recorder.log.Log("console", level, "text");
        return ::testing::internal::GetCapturedStdout();
    };
    recorder.log.SetFile("");
    EXPECT_EQ(shown(LogLevel::Assert), "");
    EXPECT_TRUE(recorder.lines.empty()) << "the listener got a line that the filter holds back";
    recorder.log.SetConsoleEnabled(true);
    recorder.log.SetColorEnabled(true);
    for (const auto& [level, before, behind] : {std::tuple(LogLevel::Warning, "\x1b[1;33m", "\x1b[0m\n"),
                                                {LogLevel::Error, "\x1b[1;31m", "\x1b[0m\n"},
                                                {LogLevel::Except, "", "\n"}}) {
        const std::string console = shown(level);
        EXPECT_EQ(console, before + recorder.lines.back() + behind);
    }
    ASSERT_TRUE(recorder.log.SetFile(path));
    EXPECT_EQ(shown(LogLevel::Warning), "");
    std::ifstream file(path);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), recorder.lines.back() + "\n");
    std::filesystem::remove(path);
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

TEST(Platform, NamesThreadsAndCutsLongNamesBetweenCharacters) {
    // The fifteenth byte is the first half of a character in the second, the second half in the third.
    for (const auto& [name, kept] : {std::pair("Resource worker 2", "Resource worker"),
                                     {"abcdefghijklmn\xC3\xA9", "abcdefghijklmn"},
                                     {"abcdefghijklm\xC3\xA9xyz", "abcdefghijklm\xC3\xA9"}}) {
        char seen[64] = {};
        // On a thread of its own, so that the test program keeps its name.
        std::thread([&, name = name] {
            Platform::SetThreadName(name);
            pthread_getname_np(pthread_self(), seen, sizeof seen);
        }).join();
        EXPECT_STREQ(seen, kept);
    }
}

} // namespace
} // namespace Velmora
