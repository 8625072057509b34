// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

/// Marks, behind its parameters, a function that an audio thread may call: it neither allocates nor locks nor
/// waits nor touches a file. What overrides it promises the same. Compilers that know the attribute check it
/// at run time (see docs/realtime.md); others warn of attributes that they do not know, so they must not see
/// it, which only a macro can do.
#if __has_cpp_attribute(clang::nonblocking)
#define ORPHIA_NONBLOCKING [[clang::nonblocking]]
#else
#define ORPHIA_NONBLOCKING
#endif

#if defined(__has_feature)
#if __has_feature(realtime_sanitizer)
#include <sanitizer/rtsan_interface.h>
#define ORPHIA_CHECKS_NONBLOCKING 1
#endif
#endif

namespace Velmora {

/// During its life the thread may block inside of a function that is marked. Each use of it is an exception
/// that docs/realtime.md lists.
class [[maybe_unused]] MayBlock {
public:
#ifdef ORPHIA_CHECKS_NONBLOCKING
    MayBlock() { __rtsan_disable(); }
    ~MayBlock() { __rtsan_enable(); }
#else
    MayBlock() = default;
    ~MayBlock() = default;
#endif
    MayBlock(const MayBlock&) = delete;
    MayBlock& operator=(const MayBlock&) = delete;
};

} // namespace Velmora
