// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/CLog.h"

#include "rigs/LogRecorder.h"
#include "support/platform/Platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <thread>
#include <vector>

namespace {

using Velmora::CLog;
using Velmora::LogLevel;

std::string ConsoleOutput(CLog& log, LogLevel level, const std::string& message) {
    ::testing::internal::CaptureStdout();
    log.Log("console", level, message);
    return ::testing::internal::GetCapturedStdout();
}

TEST(CLog, FormatsFiveColumnsAlignedToTheRight) {
    LogRecorder recorder;
    std::this_thread::sleep_for(std::chrono::milliseconds(12));
    recorder.log.Log("engine", LogLevel::Warning, "a | message");
    recorder.log.Log("audio_engine", LogLevel::Except, "grows");
    ASSERT_EQ(recorder.lines.size(), 2U);
    const std::string& line = recorder.lines[0];
    std::string thread = std::to_string(Velmora::Platform::CurrentThreadId());
    thread.insert(0, thread.size() < 5 ? 5 - thread.size() : 0, ' ');
    EXPECT_TRUE(std::regex_match(line.substr(0, 11), std::regex("\\|  *[0-9]+"))) << line;
    EXPECT_GE(std::stoll(line.substr(2, 9)), 12) << "milliseconds since construction";
    EXPECT_EQ(line.substr(11), " | T" + thread + " |      engine | warning | a | message");
    EXPECT_EQ(recorder.Tails()[1], "audio_engine |  except | grows");
}

TEST(CLog, StartsACategoryWithWarningsAndKeepsItsThreshold) {
    LogRecorder recorder;
    recorder.log.Log("new", LogLevel::Notice, "hidden");
    recorder.log.Log("new", LogLevel::Warning, "first");
    recorder.log.SetThreshold("new", LogLevel::Except);
    recorder.log.Log("new", LogLevel::Error, "hidden now");
    recorder.log.Log("new", LogLevel::Except, "second");
    recorder.log.Log("other", LogLevel::Warning, "third");
    EXPECT_EQ(recorder.Tails(),
              (std::vector<std::string>{"        new | warning | first", "        new |  except | second",
                                        "      other | warning | third"}));
}

TEST(CLog, GoesToTheFileOrToThePaintedConsoleOrNowhere) {
    const std::string path =
        ::testing::TempDir() + "log_\xC3\xA9_" + std::to_string(Velmora::Platform::CurrentThreadId());
    LogRecorder recorder;
    recorder.log.SetFile("");
    EXPECT_EQ(ConsoleOutput(recorder.log, LogLevel::Assert, "nobody"), "");
    EXPECT_TRUE(recorder.lines.empty()) << "the listener got a line that the filter holds back";

    recorder.log.SetConsoleEnabled(true);
    recorder.log.SetColorEnabled(true);
    const std::string warning = ConsoleOutput(recorder.log, LogLevel::Warning, "w");
    const std::string error = ConsoleOutput(recorder.log, LogLevel::Error, "e");
    const std::string except = ConsoleOutput(recorder.log, LogLevel::Except, "x");
    ASSERT_EQ(recorder.lines.size(), 3U);
    EXPECT_EQ(warning, "\x1b[1;33m" + recorder.lines[0] + "\x1b[0m\n");
    EXPECT_EQ(error, "\x1b[1;31m" + recorder.lines[1] + "\x1b[0m\n");
    EXPECT_EQ(except, recorder.lines[2] + "\n");
    EXPECT_EQ(recorder.lines[0].find('\x1b'), std::string::npos) << "the listener's line is painted";

    ASSERT_TRUE(recorder.log.SetFile(path));
    EXPECT_EQ(ConsoleOutput(recorder.log, LogLevel::Warning, "one"), "");
    std::ifstream file(path);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), recorder.lines.at(3) + "\n");
    std::filesystem::remove(path);
    EXPECT_FALSE(recorder.log.SetFile("/nowhere/at/all/log.txt"));
    EXPECT_NE(ConsoleOutput(recorder.log, LogLevel::Except, "back"), "");
}

TEST(CLog, KeepsLinesWholeWhenThreadsLogAtOnce) {
    LogRecorder recorder;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&recorder, i] {
            for (int k = 0; k < 100; ++k) {
                recorder.log.Log("category" + std::to_string(k % 7), LogLevel::Error, std::to_string(i));
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(recorder.lines.size(), 400U);
    const auto isEarlier = [](const auto& a, const auto& b) { return a.substr(2, 9) < b.substr(2, 9); };
    EXPECT_TRUE(std::is_sorted(recorder.lines.begin(), recorder.lines.end(), isEarlier));
}

} // namespace
