// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/platform/windows/WideText.h"

#include "support/platform/windows/WindowsApi.h"

#include <cstdio>

namespace Velmora::Platform {

namespace {

std::wstring ToWide(std::string_view text, UINT codePage) {
    if (text.empty()) {
        return {};
    }
    const int textLength = static_cast<int>(text.size());
    const int length = MultiByteToWideChar(codePage, 0, text.data(), textLength, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(codePage, 0, text.data(), textLength, wide.data(), length);
    return wide;
}

} // namespace

std::wstring ToWide(std::string_view utf8) { return ToWide(utf8, CP_UTF8); }

std::wstring ToWideFromSystemCodePage(std::string_view text) { return ToWide(text, CP_ACP); }

std::string ToUtf8(std::wstring_view wide) {
    if (wide.empty()) {
        return {};
    }
    const int wideLength = static_cast<int>(wide.size());
    const int length = WideCharToMultiByte(CP_UTF8, 0, wide.data(), wideLength, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(length), '\0');
    if (length == 0 || WideCharToMultiByte(CP_UTF8, 0, wide.data(), wideLength, text.data(), length, nullptr,
                                           nullptr) == 0) {
        std::fprintf(stderr, "GetLastError after WideCharToMultiByte returned %lu\n", GetLastError());
        return {};
    }
    return text;
}

} // namespace Velmora::Platform
