// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

namespace orphia::tools {

/// Lines of equally many cells, the first of them the headings.
class TextTable {
public:
    using Row = std::vector<std::string>;

    explicit TextTable(Row headings) : rows{std::move(headings)} {}
    void Add(Row row) { rows.push_back(std::move(row)); }
    /// Without the headings.
    std::size_t Size() const { return rows.size() - 1; }

    /// On the standard output, in columns as wide as they must be.
    void Print() const;
    void PrintMarkdown() const;

private:
    std::vector<Row> rows;
};

} // namespace orphia::tools
