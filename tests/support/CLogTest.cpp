// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/CLog.h"

#include "support/LogRecorder.h"
#include "support/platform/Platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

namespace {

using Velmora::CLog;
using Velmora::LogLevel;

// A path of our own in the temporary folder, removed at the end.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& name)
        : path(::testing::TempDir() + name + std::to_string(Velmora::Platform::CurrentThreadId())) {}
    ~TemporaryFile() { std::filesystem::remove(path); }
    std::string Content() const {
        std::ifstream stream(path);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    const std::string path;
};

std::string ConsoleOutput(CLog& log, LogLevel level, const std::string& message) {
    ::testing::internal::CaptureStdout();
    log.Log("console", level, message);
    return ::testing::internal::GetCapturedStdout();
}

TEST(CLog, FormatsFiveColumnsAlignedToTheRight) {
    LogRecorder recorder;
    recorder.log.Log("engine", LogLevel::Warning, "a | message");
    ASSERT_EQ(recorder.lines.size(), 1U);
    const std::string& line = recorder.lines[0];

    std::string thread = std::to_string(Velmora::Platform::CurrentThreadId());
    thread.insert(0, thread.size() < 5 ? 5 - thread.size() : 0, ' ');
    ASSERT_GE(line.size(), 11U);
    EXPECT_EQ(line.substr(0, 2), "| ");
    const std::string time = line.substr(2, 9);
    EXPECT_EQ(time.find_first_not_of(' '), time.find_first_of("0123456789")) << "time column: " << time;
    EXPECT_EQ(time.find_first_not_of("0123456789", time.find_first_not_of(' ')), std::string::npos) << time;
    EXPECT_EQ(line.substr(11), " | T" + thread + " |      engine | warning | a | message");
}

TEST(CLog, NamesEachLevelAndLetsLongCategoriesGrow) {
    LogRecorder recorder;
    recorder.log.SetThreshold("audio_engine", LogLevel::Debug);
    for (int level = 0; level < 7; ++level) {
        recorder.log.Log("audio_engine", static_cast<LogLevel>(level), "m");
    }
    EXPECT_EQ(recorder.Tails(),
              (std::vector<std::string>{"audio_engine |   debug | m", "audio_engine |    info | m",
                                        "audio_engine |  notice | m", "audio_engine | warning | m",
                                        "audio_engine |   error | m", "audio_engine |  except | m",
                                        "audio_engine |  assert | m"}));
}

TEST(CLog, CountsMillisecondsSinceItsConstruction) {
    using Clock = std::chrono::steady_clock;
    const auto beforeConstruction = Clock::now();
    LogRecorder recorder;
    std::this_thread::sleep_for(std::chrono::milliseconds(12));
    recorder.log.Log("time", LogLevel::Error, "");
    const auto elapsed = std::chrono::ceil<std::chrono::milliseconds>(Clock::now() - beforeConstruction);
    const auto shown = std::stoll(recorder.lines.at(0).substr(2, 9));
    EXPECT_GE(shown, 12);
    EXPECT_LE(shown, elapsed.count());
}

TEST(CLog, StartsACategoryWithWarningsAndKeepsItsThreshold) {
    LogRecorder recorder;
    recorder.log.Log("new", LogLevel::Notice, "hidden");
    recorder.log.Log("new", LogLevel::Warning, "first");
    recorder.log.Log("new", LogLevel::Assert, "second");
    recorder.log.Log("new", LogLevel::Notice, "hidden still");
    recorder.log.SetThreshold("new", LogLevel::Except);
    recorder.log.Log("new", LogLevel::Error, "hidden now");
    recorder.log.Log("new", LogLevel::Except, "third");
    recorder.log.Log("other", LogLevel::Warning, "fourth");
    EXPECT_EQ(recorder.Tails(),
              (std::vector<std::string>{"        new | warning | first", "        new |  assert | second",
                                        "        new |  except | third", "      other | warning | fourth"}));
}

TEST(CLog, IsSilentUntilConsoleOrFileIsEnabled) {
    LogRecorder recorder;
    recorder.log.SetFile("");
    EXPECT_EQ(ConsoleOutput(recorder.log, LogLevel::Assert, "nobody"), "");
    EXPECT_TRUE(recorder.lines.empty()) << "the listener got a line that the filter holds back";

    recorder.log.SetConsoleEnabled(true);
    const std::string output = ConsoleOutput(recorder.log, LogLevel::Warning, "all");
    ASSERT_EQ(recorder.lines.size(), 1U);
    EXPECT_EQ(output, recorder.lines[0] + "\n");
    recorder.log.SetConsoleEnabled(false);
    EXPECT_EQ(ConsoleOutput(recorder.log, LogLevel::Assert, "nobody again"), "");
    EXPECT_EQ(recorder.lines.size(), 1U);
}

TEST(CLog, PaintsOnlyWarningsAndErrorsAndOnlyOnTheConsole) {
    LogRecorder recorder;
    recorder.log.SetFile("");
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
}

TEST(CLog, WritesToTheFileInsteadOfTheConsole) {
    const TemporaryFile file("log_\xC3\xA9_");
    LogRecorder recorder;
    recorder.log.SetConsoleEnabled(true);
    recorder.log.SetColorEnabled(true);
    ASSERT_TRUE(recorder.log.SetFile(file.path));
    EXPECT_EQ(ConsoleOutput(recorder.log, LogLevel::Warning, "one"), "");
    recorder.log.Log("console", LogLevel::Error, "two");
    EXPECT_EQ(file.Content(), recorder.lines.at(0) + "\n" + recorder.lines.at(1) + "\n");

    EXPECT_FALSE(recorder.log.SetFile("/nowhere/at/all/log.txt"));
    EXPECT_NE(ConsoleOutput(recorder.log, LogLevel::Except, "back"), "");
}

TEST(CLog, KeepsLinesWholeWhenThreadsLogAtOnce) {
    LogRecorder recorder;
    constexpr int threadCount = 4;
    constexpr int linesPerThread = 100;
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([&recorder, i] {
            for (int k = 0; k < linesPerThread; ++k) {
                recorder.log.Log("category" + std::to_string(k % 7), LogLevel::Error, std::to_string(i));
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    auto times = recorder.lines;
    std::transform(times.begin(), times.end(), times.begin(),
                   [](const auto& line) { return line.substr(2, 9); });
    EXPECT_EQ(recorder.lines.size(), static_cast<std::size_t>(threadCount * linesPerThread));
    EXPECT_TRUE(std::is_sorted(times.begin(), times.end())) << "lines out of the order of their times";
}

} // namespace
