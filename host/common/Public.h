// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

/// What programs of others may use of the host library: all that is marked so stays as it is within a major
/// version, and the shared library shows nothing else. Only who builds that library has to say how a name is
/// shown; to all others the marks are nothing.
#ifndef ORPHIA_PUBLIC
#define ORPHIA_PUBLIC
#endif
/// Of a public class what nobody else needs to find in the library.
#ifndef ORPHIA_PRIVATE
#define ORPHIA_PRIVATE
#endif
