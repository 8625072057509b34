// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/songs/CsvLine.h"

#include "host/common/Errors.h"

#include <algorithm>

namespace orphia::tools {

namespace {

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
    throw host::FileError("a quote is not closed");
}

} // namespace

std::vector<std::string> SplitCsvLine(std::string_view line) {
    std::vector<std::string> fields;
    for (std::string_view rest = WithoutBlanks(line);;) {
        if (rest.starts_with('"')) {
            fields.push_back(TakeQuoted(rest));
            if (!rest.empty() && rest.front() != ',') {
                throw host::FileError("behind a closing quote there must be a comma");
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

} // namespace orphia::tools
