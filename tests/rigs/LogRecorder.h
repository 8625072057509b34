// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/CLog.h"

#include <string>
#include <string_view>
#include <vector>

/// A log whose lines are kept in memory: as a file it has the null device.
class LogRecorder : private Velmora::ILogListener {
public:
    LogRecorder() {
        log.SetFile("/dev/null");
        log.SetListener(this);
    }
    ~LogRecorder() override { log.SetListener(nullptr); }

    /// The part of each line behind time and thread.
    std::vector<std::string> Tails() const {
        std::vector<std::string> tails;
        for (const auto& line : lines) {
            tails.push_back(line.substr(line.find(" | ", line.find(" | T") + 1) + 3));
        }
        return tails;
    }

    Velmora::CLog log;
    std::vector<std::string> lines;

private:
    void OnLogLine(std::string_view line) override { lines.emplace_back(line); }
};
