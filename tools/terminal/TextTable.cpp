// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/terminal/TextTable.h"

#include <fmt/format.h>

#include <algorithm>

namespace orphia::tools {

namespace {

/// A bar would end the cell.
std::string MarkdownCell(const std::string& text) {
    std::string cell;
    for (const char c : text) {
        cell += c == '|' ? "\\|" : std::string(1, c);
    }
    return cell;
}

} // namespace

void TextTable::Print() const {
    std::vector<std::size_t> widths(rows.front().size());
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < widths.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < widths.size(); ++i) {
            line += fmt::format("{:<{}}  ", row[i], widths[i]);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        fmt::print("{}\n", line);
    }
}

void TextTable::PrintMarkdown() const {
    for (const Row& row : rows) {
        std::string line = "|";
        for (const std::string& cell : row) {
            line += cell.empty() ? " |" : fmt::format(" {} |", MarkdownCell(cell));
        }
        fmt::print("{}\n", line);
        if (&row == &rows.front()) {
            std::string rule = "|";
            for (std::size_t i = 0; i < row.size(); ++i) {
                rule += "---|";
            }
            fmt::print("{}\n", rule);
        }
    }
}

} // namespace orphia::tools
