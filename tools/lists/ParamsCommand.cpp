// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/common/Errors.h"
#include "host/parameters/ParameterCatalog.h"
#include "host/parameters/ParameterText.h"
#include "tools/lists/ListCommands.h"
#include "tools/terminal/TextTable.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <string>
#include <string_view>

namespace orphia::tools {

namespace {

using host::ParameterInfo;
using host::ParameterKind;

constexpr std::string_view markdownHead =
    "# Parameters\n\n"
    "All parameters of the instrument in order of their ids, as `orphia params --markdown` writes them. Ids "
    "and "
    "names are the\ncontract with hosts and presets: they never change.\n\n"
    "Kind: a `knob` is its position, a `curve` runs between two real values, `steps` are single values, a "
    "`switch` is on or\noff. Range: from position 0 of the knob to position 1; a curve that bends has the "
    "value at 0.5 between them, and\nsteps lie evenly. Role: a `control` is for players, a `route` is a cell "
    "of a matrix, a `controller` is what songs play on\n(wheels, pedals, pressure), `circuit` is a constant "
    "of the modelled circuit or kept for hosts, an `output` is written by\nthe engine, a `command` is the "
    "host's. Start: the value in a fresh engine, before any preset.\n\n";

std::string LowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

/// Whether the parts of a pattern between its "*" follow each other in a name, in any case.
bool NameMatches(std::string_view name, std::string_view pattern) {
    const std::string text = LowerCase(name);
    const std::string wanted = LowerCase(pattern);
    std::size_t at = 0;
    for (std::size_t start = 0; start <= wanted.size();) {
        const std::size_t end = std::min(wanted.find('*', start), wanted.size());
        const std::string_view part = std::string_view(wanted).substr(start, end - start);
        at = text.find(part, at);
        if (at == std::string::npos) {
            return false;
        }
        at += part.size();
        start = end + 1;
    }
    return true;
}

std::string KindText(const ParameterInfo& info) {
    if (info.isSwitch) {
        return "switch";
    }
    switch (info.kind) {
    case ParameterKind::Knob:
        return "knob";
    case ParameterKind::Stepped:
        return fmt::format("{} steps", info.stepCount);
    case ParameterKind::Mapped:
        break;
    }
    return "curve";
}

/// Of a curve that is no straight line, with the value in the middle of the knob, to three digits.
std::string RangeText(const ParameterInfo& info) {
    const float middle = host::ParameterCatalog::OfInstrument().ToValue(info.id, 0.5F);
    const float range = info.maximum - info.minimum;
    const bool isBent = std::abs(middle - (info.minimum + 0.5F * range)) > 0.001F * std::abs(range);
    if (info.kind != ParameterKind::Mapped || !isBent) {
        return host::FormatRange(info);
    }
    return fmt::format("{} .. {} .. {}", host::FormatValue(info, info.minimum),
                       host::FormatValue(info, std::stof(fmt::format("{:.3g}", middle))),
                       host::FormatValue(info, info.maximum));
}

TextTable::Row RowOf(const ParameterInfo& info) {
    return {fmt::format("{}", info.id),
            info.name,
            KindText(info),
            std::string(host::RoleText(info.role)),
            RangeText(info),
            std::string(host::UnitText(info.unit)),
            host::FormatValue(info, info.start),
            std::string(info.description)};
}

} // namespace

ParamsCommand::ParamsCommand(CLI::App& app)
    : Command(app, "params", "List the parameters of the instrument") {
    command
        ->add_option("PATTERN", pattern, "only names with this in them, in any case; * stands for anything")
        ->type_name("");
    command->add_flag("--markdown", writesMarkdown, "as a document");
    command->footer("Example:\n  orphia params \"FX1*Delay\"");
}

void ParamsCommand::Run() {
    TextTable table({"id", "name", "kind", "role", "range", "unit", "start", "description"});
    for (const ParameterInfo& info : host::ParameterCatalog::OfInstrument().Parameters()) {
        if (NameMatches(info.name, pattern)) {
            table.Add(RowOf(info));
        }
    }
    if (table.Size() == 0) {
        throw host::UsageError(fmt::format("no parameter has '{}' in its name", host::Excerpt(pattern)));
    }
    if (writesMarkdown) {
        fmt::print("{}", markdownHead);
        table.PrintMarkdown();
    } else {
        table.Print();
    }
}

} // namespace orphia::tools
