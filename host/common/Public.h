// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

/// What programs of others may use of the host library: all that is marked so stays as it is within a major
/// version, and the shared library shows nothing else. Where host and shells are one program there is nothing
/// to show.
#if defined(__ELF__) && !defined(__EMSCRIPTEN__)
#define ORPHIA_PUBLIC [[gnu::visibility("default")]]
/// Of a public class what nobody else needs to find in the library.
#define ORPHIA_PRIVATE [[gnu::visibility("hidden")]]
#else
#define ORPHIA_PUBLIC
#define ORPHIA_PRIVATE
#endif
