// SPDX-License-Identifier: GPL-3.0-or-later
#include "rigs/LogRecorder.h"
#include "support/CSingleton.h"
#include "support/Resources.h"
#include "support/platform/Platform.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Velmora {
namespace {

std::string ConsoleOutput(CLog& log, LogLevel level) {
    ::testing::internal::CaptureStdout();
    log.Log("console", level, "text");
    return ::testing::internal::GetCapturedStdout();
}

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
    const std::string& line = recorder.lines[0];
    std::string thread = std::to_string(Platform::CurrentThreadId());
    thread.insert(0, thread.size() < 5 ? 5 - thread.size() : 0, ' ');
    EXPECT_EQ(line.substr(11), " | T" + thread + " |      engine | warning | a | message");
    EXPECT_EQ(line.substr(0, 2), "| ");
    EXPECT_NEAR(std::stod(line.substr(2, 9)), 512.0, 500.0) << "milliseconds since construction";
}

TEST(CLog, GoesToTheFileOrToThePaintedConsoleOrNowhere) {
    const std::string path =
        ::testing::TempDir() + "log_\xC3\xA9_" + std::to_string(Platform::CurrentThreadId());
    LogRecorder recorder;
    recorder.log.SetFile("");
    EXPECT_EQ(ConsoleOutput(recorder.log, LogLevel::Assert), "");
    EXPECT_TRUE(recorder.lines.empty()) << "the listener got a line that the filter holds back";
    recorder.log.SetConsoleEnabled(true);
    recorder.log.SetColorEnabled(true);
    const auto expectPainted = [&](LogLevel level, const std::string& before, const std::string& behind) {
        const std::string console = ConsoleOutput(recorder.log, level);
        EXPECT_EQ(console, before + recorder.lines.back() + behind);
    };
    expectPainted(LogLevel::Warning, "\x1b[1;33m", "\x1b[0m\n");
    expectPainted(LogLevel::Error, "\x1b[1;31m", "\x1b[0m\n");
    expectPainted(LogLevel::Except, "", "\n");
    ASSERT_TRUE(recorder.log.SetFile(path));
    EXPECT_EQ(ConsoleOutput(recorder.log, LogLevel::Warning), "");
    std::ifstream file(path);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), recorder.lines.back() + "\n");
    std::filesystem::remove(path);
    EXPECT_FALSE(recorder.log.SetFile("/nowhere/at/all/log.txt"));
    EXPECT_NE(ConsoleOutput(recorder.log, LogLevel::Except), "");
}

struct Service : CSingleton<Service> {
    Service() {
        if (++constructions == 1) {
            throw std::runtime_error("not yet");
        }
    }
    static inline int constructions = 0;
};

TEST(CSingleton, IsBuiltOnceAfterAConstructorThatThrew) {
    EXPECT_THROW(Service::GetInstance(), std::runtime_error);
    EXPECT_EQ(&Service::GetInstance(), &Service::GetInstance());
    EXPECT_EQ(Service::constructions, 2);
}

TEST(Resources, SearchesSixPlacesAndAnswersWithTheFolderOfTheFirstFileFound) {
    LogRecorder recorder;
    std::string path;
    std::vector<std::string> files;
    std::vector<std::string> asked;
    const ResourceEnvironment machine{.machineDataFolder = [] { return "C:\\Data\\All Users"; },
                                      .libraryPath = [&] { return path; },
                                      .fileExists =
                                          [&](const std::string& file) {
                                              asked.push_back(file);
                                              return std::find(files.begin(), files.end(), file) !=
                                                     files.end();
                                          },
                                      .librarySuffix = ".dll"};
    for (const auto& [library, product] : {std::pair("C:\\x\\Lumen Desk 3.vst3", "Lumen Desk 4"),
                                           {"/opt/Lumen Desk 30.so", "Lumen Desk 30"},
                                           {"/opt/x.y/two.dots.so", "two.dots"},
                                           {"bare", "bare"}}) {
        path = library;
        EXPECT_EQ(Resources(machine, recorder.log).GetProductName(), product);
    }
    path = "c:\\Plugins/Voice.vst3/Contents/x64/Voice.dll";
    Resources resources(machine, recorder.log);
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
        files.clear();
        asked.clear();
        EXPECT_THROW(resources.FindLibraryFolder("s"), std::runtime_error);
        EXPECT_EQ(asked, places);
        // From the last place to the first: each place that gets the file outranks the later ones.
        for (std::size_t i = places.size(); i-- > 0;) {
            files.push_back(places[i]);
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

TEST(Platform, FindsTheFolderOfDataAndItsOwnFile) {
    const char* variable = std::getenv("XDG_DATA_DIRS");
    const std::string former = variable != nullptr ? variable : "/usr/share";
    const std::string existing = std::filesystem::path(::testing::TempDir()).parent_path();
    setenv("XDG_DATA_DIRS", ("relative:/no/such/folder:" + existing + ":/usr").c_str(), 1);
    EXPECT_EQ(Platform::MachineDataFolder(), existing + "/");
    setenv("XDG_DATA_DIRS", "/no/such/folder", 1);
    EXPECT_EQ(Platform::MachineDataFolder(), "/usr/local/share/");
    setenv("XDG_DATA_DIRS", former.c_str(), 1);
    const std::string path = Platform::LibraryPath();
    EXPECT_TRUE(std::filesystem::path(path).is_absolute() && Platform::FileExists(path)) << path;
    EXPECT_FALSE(Platform::FileExists(path + ".absent"));
}

} // namespace
} // namespace Velmora
