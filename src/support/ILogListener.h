// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

namespace Velmora {

/// Receives the lines of the log beside the console or the file.
class ILogListener {
public:
    virtual ~ILogListener() = default;

    /// One formatted line, without line end and colour. Called on the thread that logs, under the log's
    /// mutex: it must not call the log. The text is valid during the call only.
    virtual void OnLogLine(std::string_view line) = 0;
};

} // namespace Velmora
