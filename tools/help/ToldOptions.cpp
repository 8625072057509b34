// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/help/ToldOptions.h"

#include "host/common/Errors.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <sstream>

namespace orphia::tools {

namespace {

void DeclareOption(CLI::App& app, const std::string& line) {
    const auto first = line.find('\t');
    const auto second = first == std::string::npos ? first : line.find('\t', first + 1);
    if (first == 0 || second == std::string::npos) {
        throw host::FileError(fmt::format("'{}' tells of no option", host::Excerpt(line)));
    }
    const std::string names = line.substr(0, first);
    const std::string value = line.substr(first + 1, second - first - 1);
    const std::string description = line.substr(second + 1);
    if (value.empty() && names.starts_with('-')) {
        app.add_flag_callback(
            names, [] {}, description);
    } else {
        app.add_option(
               names, [](const CLI::results_t&) { return true; }, description)
            ->type_name(value);
    }
}

} // namespace

void DeclareAsTold(CLI::App& app, const std::string& told) {
    std::istringstream lines(told);
    for (std::string line; std::getline(lines, line) && !line.empty();) {
        DeclareOption(app, line);
    }
    std::ostringstream footer;
    footer << lines.rdbuf();
    app.footer(footer.str());
}

} // namespace orphia::tools
