// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

/// Behind the parameters of a function: it neither allocates nor locks nor waits nor touches a file, and what
/// overrides it promises the same. Compilers that know the attribute check it; others must not see it. As the
/// engine's own headers have it, which shells do not include.
#ifndef ORPHIA_NONBLOCKING
#if __has_cpp_attribute(clang::nonblocking)
#define ORPHIA_NONBLOCKING [[clang::nonblocking]]
#else
#define ORPHIA_NONBLOCKING
#endif
#endif
