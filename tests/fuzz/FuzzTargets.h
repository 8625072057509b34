// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>

/// What is fed with bytes, one input a call; a fault ends the program. scripts/fuzz runs each for as long as
/// one likes; the normal suite runs all of them over the files of their corpora.
namespace orphia::fuzz {

/// A sample file.
void SampleReader(const std::uint8_t* data, std::size_t size);
/// The text of a preset.
void PresetReader(const std::uint8_t* data, std::size_t size);
/// A MIDI file, which is played if it is one.
void MidiReader(const std::uint8_t* data, std::size_t size);
/// Calls of a host.
void Boundary(const std::uint8_t* data, std::size_t size);
/// Notes, pedals and settings.
void VoiceManager(const std::uint8_t* data, std::size_t size);

} // namespace orphia::fuzz
