// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/common/Public.h"
#include "host/parameters/ParameterInfo.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orphia::host {

/// What of the engine a program runs.
enum class EngineTree {
    /// The vocoder core: two sounds in, one out.
    Vocoder,
    /// The whole: notes and a voice in, sound out.
    Instrument
};

/// All parameters of one tree, as the engine declares them. Building one asks a fresh engine once; after
/// that it never changes and may be read from any thread.
class ORPHIA_PUBLIC ParameterCatalog {
public:
    explicit ParameterCatalog(EngineTree tree = EngineTree::Vocoder);

    /// That of the instrument, and of the vocoder core, each built once when it is first asked for.
    static const ParameterCatalog& OfInstrument();
    static const ParameterCatalog& OfVocoder();

    EngineTree Tree() const { return tree; }

    /// In order of id: Parameters()[i].id is i.
    const std::vector<ParameterInfo>& Parameters() const;

    /// The parameter of a name as a user types it: the full name, or an ending of it that begins after a
    /// "_". Where an ending fits several names, the one with the fewest parts is meant: "Attack" is the
    /// attack of all bands and not that of band 1. Upper and lower case differ.
    /// Throws UsageError for an unknown name, with similar ones, and for an ambiguous one, with the choice.
    const ParameterInfo& Find(std::string_view name) const;

    /// The parameter of a full name, null when there is none.
    const ParameterInfo* FindExact(std::string_view fullName) const;

    /// The knob's position of a real value and back, exactly as the engine itself converts them. The nearest
    /// position that gives the value, where there is one; ids beyond the last one give 0.
    float ToPosition(std::uint32_t id, float value) const;
    float ToValue(std::uint32_t id, float position) const;
    /// Where the knob is in a fresh engine.
    float StartPosition(std::uint32_t id) const;

    /// Up to three endings of names that resemble an unknown name, the most alike first.
    std::vector<std::string> Similar(std::string_view name) const;

private:
    EngineTree tree;
    struct Contents;

    /// Shared by copies.
    std::shared_ptr<const Contents> contents;
};

} // namespace orphia::host
