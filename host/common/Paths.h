// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace orphia::host {

/// All texts are UTF-8, whatever the system writes its paths in.
inline std::string TextOf(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

/// The same with slashes on every system, as files have it that go from one to another.
inline std::string PortableTextOf(const std::filesystem::path& path) {
    const std::u8string text = path.generic_u8string();
    return {text.begin(), text.end()};
}

/// Of a UTF-8 text.
inline std::filesystem::path PathOf(std::string_view text) {
    return {std::u8string(text.begin(), text.end())};
}

} // namespace orphia::host
