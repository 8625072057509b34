// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "realtime/CallTrap.h"

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <cstddef>

namespace orphia::test {

/// The name of a function, as the argument of a template.
template <std::size_t size>
struct FunctionName {
    // NOLINTNEXTLINE(google-explicit-constructor): written as a plain text
    constexpr FunctionName(const char (&chars)[size]) { std::copy_n(chars, size, text); }
    char text[size]{};
};

/// Notes a call, then makes it: of the function of that name which this program's own hides. Without a
/// guarded variable, since a guard may come by here itself.
template <FunctionName name, class Result, class... Arguments>
Result TrappedCall(Arguments... arguments) {
    static std::atomic<Result (*)(Arguments...)> hidden{nullptr};
    CallTrap::Note(name.text);
    auto* function = hidden.load(std::memory_order_relaxed);
    if (function == nullptr) {
        const CallTrapPause pause;
        function = reinterpret_cast<Result (*)(Arguments...)>(dlsym(RTLD_NEXT, name.text));
        hidden.store(function, std::memory_order_relaxed);
    }
    return function(arguments...);
}

} // namespace orphia::test
