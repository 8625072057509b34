// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/Search.h"

#include "host/parameters/ParameterCatalog.h"
#include "plugin/panel/model/ControlModel.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cctype>

namespace orphia::panel {

namespace {

/// Words in lower case; a new one also begins at a capital and at a digit.
std::vector<std::string> WordsOf(std::string_view text) {
    std::vector<std::string> words;
    char before = ' ';
    for (const char each : text) {
        const auto c = static_cast<unsigned char>(each);
        if (std::isalnum(c) == 0) {
            before = ' ';
            continue;
        }
        const auto last = static_cast<unsigned char>(before);
        const bool begins = std::isalnum(last) == 0 || (std::isupper(c) != 0 && std::isupper(last) == 0) ||
                            (std::isdigit(c) != 0) != (std::isdigit(last) != 0);
        if (begins) {
            words.emplace_back();
        }
        words.back() += static_cast<char>(std::tolower(c));
        before = each;
    }
    return words;
}

bool MatchesWords(const std::vector<std::string>& words, const std::vector<std::string>& typed) {
    for (const std::string& each : typed) {
        bool isFound = false;
        for (std::size_t n = 0; n < words.size() && !isFound; ++n) {
            // A name such as "DryWet" is found by "drywet", too.
            const std::string joined = n + 1 < words.size() ? words[n] + words[n + 1] : words[n];
            isFound = words[n].starts_with(each) || joined.starts_with(each);
        }
        if (!isFound) {
            return false;
        }
    }
    return true;
}

} // namespace

bool Matches(std::string_view text, std::string_view typed) {
    return MatchesWords(WordsOf(text), WordsOf(typed));
}

std::vector<std::uint32_t> FindPrograms(const std::vector<plugin::PluginInstrument::Program>& programs,
                                        std::string_view typed) {
    std::vector<std::uint32_t> byName;
    std::vector<std::uint32_t> byText;
    for (std::uint32_t n = 0; n < programs.size(); ++n) {
        const auto& program = programs[n];
        if (Matches(program.name, typed)) {
            byName.push_back(n);
        } else if (Matches(fmt::format("{} {} {} {}", program.name, program.id, program.description,
                                       fmt::join(program.tags, " ")),
                           typed)) {
            byText.push_back(n);
        }
    }
    byName.insert(byName.end(), byText.begin(), byText.end());
    return byName;
}

std::vector<std::uint32_t> FindParameters(std::string_view typed, bool withCircuit) {
    std::vector<std::uint32_t> found;
    const std::vector<std::string> words = WordsOf(typed);
    for (const host::ParameterInfo& info : host::ParameterCatalog::OfInstrument().Parameters()) {
        const bool isShown = info.role == host::ParameterRole::Control ||
                             (withCircuit && info.role == host::ParameterRole::Circuit);
        if (isShown && MatchesWords(WordsOf(info.name + ' ' + std::string(info.description)), words)) {
            found.push_back(info.id);
        }
    }
    return found;
}

} // namespace orphia::panel
