// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/songs/Automation.h"

#include "host/common/Errors.h"
#include "host/common/Files.h"
#include "host/common/Paths.h"
#include "host/instrument/Instrument.h"
#include "host/parameters/ParameterText.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string>

namespace orphia::tools {

namespace {

using host::FileError;

constexpr double beatsPerBar = 4.0;
constexpr double lastSecond = 24.0 * 3600.0;
constexpr double lastBar = 100'000.0;
constexpr std::array<std::string_view, 4> columnNames = {"time", "parameter", "value", "move"};
constexpr std::size_t neededColumns = 3;

std::string_view WithoutBlanks(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    const auto last = text.find_last_not_of(" \t");
    return first == std::string_view::npos ? std::string_view() : text.substr(first, last - first + 1);
}

/// Takes a field in quotes off the text's front.
std::string TakeQuoted(std::string_view& text) {
    std::string field;
    for (std::size_t at = 1; at < text.size(); ++at) {
        if (text[at] != '"') {
            field += text[at];
        } else if (at + 1 < text.size() && text[at + 1] == '"') {
            field += text[at++];
        } else {
            text = WithoutBlanks(text.substr(at + 1));
            return field;
        }
    }
    throw FileError("a quote is not closed");
}

/// The fields of a line of comma-separated values, without blanks around them. A field in quotes may hold
/// commas, and a quote as two of them. Throws FileError, with the reason only.
std::vector<std::string> SplitCsvLine(std::string_view line) {
    std::vector<std::string> fields;
    for (std::string_view rest = WithoutBlanks(line);;) {
        if (rest.starts_with('"')) {
            fields.push_back(TakeQuoted(rest));
            if (!rest.empty() && rest.front() != ',') {
                throw FileError("behind a closing quote there must be a comma");
            }
        } else {
            const auto comma = std::min(rest.find(','), rest.size());
            fields.emplace_back(WithoutBlanks(rest.substr(0, comma)));
            rest = rest.substr(comma);
        }
        if (rest.empty()) {
            return fields;
        }
        rest = WithoutBlanks(rest.substr(1));
    }
}

/// A number without a sign, or less than 0 when it is none.
double PlainNumber(std::string_view text) {
    double number = -1.0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    return result.ec == std::errc() && result.ptr == text.data() + text.size() ? number : -1.0;
}

double SecondsOfBar(std::string_view text, std::size_t colon, const host::TempoMap& tempo) {
    const double bar = PlainNumber(text.substr(0, colon));
    const double beat = PlainNumber(text.substr(colon + 1));
    if (!(bar >= 1.0 && bar <= lastBar && bar == std::floor(bar) && beat >= 1.0 &&
          beat < 1.0 + beatsPerBar)) {
        throw FileError(fmt::format("time '{}' is not a bar from 1 and a beat from 1 to below {}",
                                    host::Excerpt(text), 1.0 + beatsPerBar));
    }
    return tempo.SecondsAt((bar - 1.0) * beatsPerBar + beat - 1.0);
}

double ParseTime(std::string_view text, const host::TempoMap& tempo) {
    if (const auto colon = text.find(':'); colon != std::string_view::npos) {
        return SecondsOfBar(text, colon, tempo);
    }
    const double seconds = PlainNumber(text);
    if (!(seconds >= 0.0 && seconds <= lastSecond)) {
        throw FileError(fmt::format("time '{}' is neither seconds nor bar:beat", host::Excerpt(text)));
    }
    return seconds;
}

bool ParseMove(const std::string& text) {
    if (!text.empty() && text != "jump" && text != "linear") {
        throw FileError(fmt::format("move '{}' is neither jump nor linear", host::Excerpt(text)));
    }
    return text == "linear";
}

void CheckHeader(std::string_view line) {
    const std::vector<std::string> fields = SplitCsvLine(line);
    const bool fits = fields.size() >= neededColumns && fields.size() <= columnNames.size() &&
                      std::equal(fields.begin(), fields.end(), columnNames.begin());
    if (!fits) {
        throw FileError("the first line must be time,parameter,value or time,parameter,value,move");
    }
}

/// Takes the next line off the text's front, without its end.
std::string_view TakeLine(std::string_view& text) {
    const auto end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

bool IsBlank(std::string_view line) { return line.find_first_not_of(" \t") == std::string_view::npos; }

} // namespace

Automation Automation::Read(const std::filesystem::path& path, const host::ParameterCatalog& catalog,
                            const host::TempoMap& tempo) {
    std::string place;
    try {
        const std::string file = host::ReadWholeFile(path, maxFileSize, "an automation");
        std::string_view text = file;
        if (text.starts_with("\xEF\xBB\xBF")) { // the mark of UTF-8
            text.remove_prefix(3);
        }
        Automation automation;
        place = "line 1: ";
        CheckHeader(TakeLine(text));
        for (std::size_t number = 2; !text.empty(); ++number) {
            place = fmt::format("line {}: ", number);
            if (const std::string_view line = TakeLine(text); !IsBlank(line)) {
                automation.AddLine(line, catalog, tempo);
            }
        }
        return automation;
    } catch (const std::runtime_error& error) { // of the line, or of its parameter
        throw FileError(fmt::format("{}: {}{}", host::TextOf(path), place, error.what()));
    }
}

void Automation::AddLine(std::string_view line, const host::ParameterCatalog& catalog,
                         const host::TempoMap& tempo) {
    std::vector<std::string> fields = SplitCsvLine(line);
    if (fields.size() < neededColumns || fields.size() > columnNames.size()) {
        throw FileError(fmt::format("{} fields instead of time,parameter,value,move", fields.size()));
    }
    fields.resize(columnNames.size());
    const host::ParameterInfo& info = catalog.Find(fields[1]);
    host::CheckIsSettable(info);
    const float position = host::PositionOf(catalog, host::ParseSetting(info, fields[2]));
    const Point point{ParseTime(fields[0], tempo), position, ParseMove(fields[3])};
    if (point.isLinear && info.kind == host::ParameterKind::Stepped) {
        throw FileError(fmt::format("{} has steps and cannot move in a line", info.name));
    }
    std::vector<Point>& points = lanes[info.id].points;
    if (!points.empty() && point.seconds < points.back().seconds) {
        throw FileError(
            fmt::format("time '{}' lies before the point of {} above", host::Excerpt(fields[0]), info.name));
    }
    points.push_back(point);
}

void Automation::MoveTo(double seconds, host::Instrument& instrument) {
    for (auto& [id, lane] : lanes) {
        MoveLane(id, lane, seconds, instrument);
    }
}

void Automation::MoveLane(std::uint32_t id, Lane& lane, double seconds, host::Instrument& instrument) {
    const auto set = [&instrument, id](float position) {
        instrument.Set({id, host::ParameterSetting::Scale::Position, position});
    };
    if (!lane.hasBegun) {
        lane.lastPosition = instrument.Position(id);
        lane.hasBegun = true;
    }
    while (lane.next < lane.points.size() && lane.points[lane.next].seconds < seconds) {
        const Point& point = lane.points[lane.next++];
        lane.lastPosition = point.position;
        lane.lastSeconds = point.seconds;
        set(point.position);
    }
    if (lane.next < lane.points.size() && lane.points[lane.next].isLinear) {
        const Point& point = lane.points[lane.next];
        const double share = (seconds - lane.lastSeconds) / (point.seconds - lane.lastSeconds);
        set(lane.lastPosition + (point.position - lane.lastPosition) * static_cast<float>(share));
    }
}

} // namespace orphia::tools
