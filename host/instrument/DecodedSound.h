// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace orphia::host {

/// Where the engine is a part of the program (EngineLibrary.h), a sound that the program has decoded itself
/// can stand for a file: Instrument::LoadSample then takes it by this path, which begins with "/". The rate
/// is in Hz, the channels, one or two, are of one length. Throws UsageError for anything else.
void PutDecodedSound(const std::string& path, std::span<const std::vector<float>> channels,
                     std::uint32_t rate);

} // namespace orphia::host
