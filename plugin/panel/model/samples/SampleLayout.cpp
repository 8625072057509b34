// SPDX-License-Identifier: GPL-3.0-or-later
// Which controls stand below the picture of a sample.
#include "plugin/panel/model/samples/SampleLayout.h"

#include "plugin/panel/model/samples/SampleSlots.h"

#include <array>
#include <deque>
#include <string>
#include <string_view>

namespace orphia::panel::SampleLayout {

namespace {

using Height = Row::Height;
using enum ControlKind;

static_assert(common.y + common.height <= Grid::page.height);
static_assert(picture.x + picture.width == Grid::page.width);

/// As a cell, with '#' for the number of the sample.
struct Numbered {
    std::string_view parameter;
    std::string_view label;
    ControlKind kind = Automatic;
    int span = 1;
};

constexpr auto places = std::to_array<Numbered>({
    {"Modulator_Sampler_Sample#_TrimStart", SampleEdges::labels[SampleEdges::TrimStart]},
    {"Modulator_Sampler_Sample#_TrimStop", SampleEdges::labels[SampleEdges::TrimStop]},
    {"Modulator_Sampler_Slot#_Reverse", "Backwards", Switch},
    {"Modulator_Sampler_Slot#_RepeatOnce", "Twice", Switch},
    {"Modulator_Sample#_LoopOn", "Loop", Switch},
    {"Modulator_Sampler_Sample#_LoopStart", SampleEdges::labels[SampleEdges::LoopStart]},
    {"Modulator_Sampler_Sample#_LoopStop", SampleEdges::labels[SampleEdges::LoopStop]},
    {"Modulator_Sampler_Sample#_CrossFade", SampleEdges::labels[SampleEdges::CrossFade]},
    {"Modulator_Sampler_Slot#_LoopType", "Loop runs", Choice, 2},
    {"Modulator_Sampler_Sample#_Gain", "Gain"},
    {"Modulator_Sampler_Slot#_Pan", "Pan"},
});
constexpr auto pitches = std::to_array<Numbered>({
    {"Modulator_Sampler_Sample#_TimeStretchOn", "Stretch", Switch},
    {"Modulator_Sampler_Sample#_TimeStretchFactor", "Speed"},
    {"Modulator_Sampler_Sample#_TimeStretchSync", "To beat", Switch},
    {"Modulator_Sampler_Sample#_TimeStretchBars", "Length", Choice, 2},
    {"Modulator_Sampler_Slot#_Transpose", "Transpose"},
    {"Modulator_Sampler_Slot#_Fine", "Fine"},
    {"Modulator_Sampler_Slot#_RootNote", "Root"},
});

constexpr auto ofAll = std::to_array<Cell>({
    {"Modulator_ExternalInput", "Live voice", Switch},
    {"Modulator_SamplerPlayMode", "Chosen by", Choice, 2},
    {"Modulator_CycleDirection", "Cycle", Choice, 2},
    {"Modulator_KeyboardSampleOctave", "Octave"},
    {"Modulator_Legato", "Legato", Switch},
    {"Modulator_Sampler_MainVolume", "Volume"},
    {"Modulator_Sampler_Start", "Start"},
    {"Modulator_Sampler_Coarse", "Pitch"},
    {"Modulator_Sampler_Fine", "Fine"},
    {"Modulator_Sampler_Filter", "Filter"},
    {"Modulator_Sampler_Stereo", "Stereo", Switch},
    {"Modulator_Sampler_PhaseRetrigMode", "Any start", Switch},
});
constexpr auto commonRows = std::to_array<Row>({{Height::Knobs, ofAll}});
constexpr Section ofAllSamples{"All samples", common, commonRows};

/// The section of one sample, with the names that its cells refer to; so it stays where it is.
struct Sheet {
    explicit Sheet(std::uint32_t sample) : title("How sample " + std::to_string(sample + 1) + " is played") {
        const std::string number = std::to_string(sample + 1);
        Add(places, number);
        Add(pitches, number);
        const std::span<const Cell> all(cells);
        rows = {{{Height::Knobs, all.first(places.size()), columns},
                 {Height::Knobs, all.last(pitches.size()), columns}}};
        section = {title, own, rows};
    }
    Sheet(const Sheet&) = delete;
    Sheet& operator=(const Sheet&) = delete;

    template <std::size_t Count>
    void Add(const std::array<Numbered, Count>& numbered, const std::string& number) {
        for (const Numbered& each : numbered) {
            names.emplace_back(each.parameter);
            names.back().replace(names.back().find('#'), 1, number);
            cells.push_back({names.back(), each.label, each.kind, each.span});
        }
    }

    std::string title;
    std::deque<std::string> names;
    std::vector<Cell> cells;
    std::array<Row, 2> rows;
    Section section;
};

} // namespace

const Section& Own(std::uint32_t sample) {
    static const std::deque<Sheet> sheets = [] {
        std::deque<Sheet> made;
        for (std::uint32_t n = 0; n < SampleSlots::count; ++n) {
            made.emplace_back(n);
        }
        return made;
    }();
    return sheets.at(sample).section;
}

const Section& Common() { return ofAllSamples; }

} // namespace orphia::panel::SampleLayout
