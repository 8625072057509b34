// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/samples/SampleFiles.h"

#include "host/presets/Preset.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string>
#include <string_view>

namespace orphia::panel {

namespace {

using Path = std::filesystem::path;

constexpr auto endings =
    std::to_array<std::string_view>({".wav", ".wave", ".flac", ".aif", ".aiff", ".aifc", ".ogg", ".oga",
                                     ".opus", ".mp3", ".w64", ".rf64", ".caf", ".au", ".snd"});
/// Folders may hold anything.
constexpr std::size_t mostFiles = 10000;

char Lower(char letter) { return static_cast<char>(std::tolower(static_cast<unsigned char>(letter))); }
bool IsDigit(char letter) { return std::isdigit(static_cast<unsigned char>(letter)) != 0; }

std::string Lower(std::string text) {
    std::ranges::transform(text, text.begin(), [](char letter) { return Lower(letter); });
    return text;
}

bool IsSound(const Path& path) {
    return std::ranges::find(endings, Lower(path.extension().string())) != endings.end();
}

std::string_view DigitsAt(std::string_view text) {
    const auto* const end = std::ranges::find_if_not(text, IsDigit);
    const auto count = static_cast<std::size_t>(end - text.begin());
    const std::size_t zeros = std::min(text.find_first_not_of('0'), count);
    return text.substr(zeros, count - zeros);
}

/// Numbers by their size, letters in any case.
bool IsNameBefore(std::string_view a, std::string_view b) {
    while (!a.empty() && !b.empty()) {
        if (IsDigit(a.front()) && IsDigit(b.front())) {
            const std::string_view one = DigitsAt(a);
            const std::string_view other = DigitsAt(b);
            if (one != other) {
                return one.size() != other.size() ? one.size() < other.size() : one < other;
            }
            a.remove_prefix(static_cast<std::size_t>(one.data() + one.size() - a.data()));
            b.remove_prefix(static_cast<std::size_t>(other.data() + other.size() - b.data()));
            continue;
        }
        if (Lower(a.front()) != Lower(b.front())) {
            return Lower(a.front()) < Lower(b.front());
        }
        a.remove_prefix(1);
        b.remove_prefix(1);
    }
    return a.size() < b.size();
}

bool IsBefore(const Path& a, const Path& b) {
    const std::string one = a.filename().string();
    const std::string other = b.filename().string();
    return IsNameBefore(one, other) || (!IsNameBefore(other, one) && a < b);
}

bool IsFile(const Path& path) {
    std::error_code none;
    return std::filesystem::is_regular_file(path, none);
}

} // namespace

std::vector<Path> SoundsIn(const Path& folder) {
    std::vector<Path> sounds;
    std::error_code error;
    for (std::filesystem::directory_iterator each(folder, error), end;
         !error && each != end && sounds.size() < mostFiles; each.increment(error)) {
        if (IsSound(each->path()) && IsFile(each->path())) {
            sounds.push_back(each->path());
        }
    }
    std::ranges::sort(sounds, IsBefore);
    return sounds;
}

SampleFill FillWith(const std::vector<Path>& dropped, std::uint32_t target,
                    const std::set<std::uint32_t>& taken) {
    std::vector<Path> sounds;
    std::vector<Path> sorted = dropped;
    std::ranges::sort(sorted, IsBefore);
    bool isOneFile = dropped.size() == 1;
    for (const Path& each : sorted) {
        std::error_code none;
        if (!std::filesystem::is_directory(each, none)) {
            if (isOneFile || IsSound(each)) {
                sounds.push_back(each);
            }
            continue;
        }
        isOneFile = false;
        const std::vector<Path> inside = SoundsIn(each);
        sounds.insert(sounds.end(), inside.begin(), inside.end());
    }
    SampleFill fill;
    if (isOneFile) {
        fill.paths[target] = sounds.front();
        return fill;
    }
    auto next = sounds.begin();
    for (std::uint32_t n = 0; n < host::Preset::sampleCount && next != sounds.end(); ++n) {
        const std::uint32_t sample = (target + n) % host::Preset::sampleCount;
        if (!taken.contains(sample)) {
            fill.paths[sample] = *next++;
        }
    }
    fill.leftOut = static_cast<std::size_t>(sounds.end() - next);
    return fill;
}

SamplePaths FindMissing(std::uint32_t sample, const Path& found, const SamplePaths& missing) {
    SamplePaths result{{sample, found}};
    const auto own = missing.find(sample);
    for (const auto& [other, path] : missing) {
        const Path beside = found.parent_path() / path.filename();
        const Path away = own == missing.end()
                              ? beside
                              : found.parent_path() / path.lexically_relative(own->second.parent_path());
        for (const Path& candidate : {away.lexically_normal(), beside}) {
            if (other != sample && !result.contains(other) && IsFile(candidate)) {
                result[other] = candidate;
            }
        }
    }
    return result;
}

} // namespace orphia::panel
