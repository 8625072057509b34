// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/samples/SampleSlots.h"

#include "host/common/Paths.h"
#include "host/parameters/ParameterCatalog.h"
#include "host/presets/NeutralStart.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <string_view>

namespace orphia::panel {

namespace {

using host::ParameterCatalog;

constexpr float slotSteps = 11.0F;
constexpr float octaveSteps = 8.0F;
constexpr std::uint32_t keysPerOctave = 12;
constexpr auto edgeNames =
    std::to_array<std::string_view>({"TrimStart", "TrimStop", "LoopStart", "LoopStop", "CrossFade"});

std::uint32_t Id(std::string_view name) { return ParameterCatalog::OfInstrument().Find(name).id; }

/// Of the first sample; those of the others follow it.
struct Ids {
    static const Ids& Get() {
        static const Ids ids;
        return ids;
    }

    std::uint32_t loaded = Id("Modulator_Sample1_Loaded");
    std::uint32_t loopOn = Id("Modulator_Sample1_LoopOn");
    std::uint32_t loopType = Id("Modulator_Sampler_Slot1_LoopType");
    std::uint32_t reverse = Id("Modulator_Sampler_Slot1_Reverse");
    std::uint32_t root = Id("Modulator_Sampler_Slot1_RootNote");
    std::uint32_t inSlot = Id("Modulator_Slot1_Sample");
    std::uint32_t mode = Id("Modulator_SamplerPlayMode");
    std::uint32_t octave = Id("Modulator_KeyboardSampleOctave");
    std::uint32_t liveVoice = Id("Modulator_ExternalInput");
    std::uint32_t isPlaying = Id("Modulator_IsPlayingSample");
    std::uint32_t currentSlot = Id("Modulator_CurrentSlot");
    std::uint32_t playhead = Id("Modulator_Sampler_PlayheadPosition");
    std::array<std::uint32_t, SampleEdges::Count> edges = [] {
        std::array<std::uint32_t, SampleEdges::Count> found{};
        for (std::size_t n = 0; n < found.size(); ++n) {
            found[n] = Id(fmt::format("Modulator_Sampler_Sample1_{}", edgeNames[n]));
        }
        return found;
    }();
};

bool IsOn(float position) { return position >= 0.5F; }

std::string Counted(std::size_t count, std::string_view what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

} // namespace

SampleSlots::SampleSlots(plugin::PluginInstrument& ofInstrument, History& ofHistory)
    : instrument(ofInstrument), history(ofHistory) {}

std::uint32_t SampleSlots::IdOf(std::uint32_t sample, SampleEdges::Edge edge) {
    return Ids::Get().edges.at(edge) + sample;
}

std::uint32_t SampleSlots::RootId(std::uint32_t sample) { return Ids::Get().root + sample; }

bool SampleSlots::IsLoaded(std::uint32_t sample) const { return IsOn(Position(Ids::Get().loaded + sample)); }

SamplePaths SampleSlots::Missing() const {
    SamplePaths missing;
    for (std::uint32_t sample = 0; sample < count && !instrument.IsLoading(); ++sample) {
        std::filesystem::path path = PathOf(sample);
        if (!path.empty() && !IsLoaded(sample)) {
            missing[sample] = std::move(path);
        }
    }
    return missing;
}

std::set<std::uint32_t> SampleSlots::Taken() const {
    std::set<std::uint32_t> taken;
    const SamplePaths ordered = instrument.OrderedSamples();
    for (std::uint32_t sample = 0; sample < count; ++sample) {
        const auto found = ordered.find(sample);
        if (!(found != ordered.end() ? found->second : PathOf(sample)).empty()) {
            taken.insert(sample);
        }
    }
    return taken;
}

SampleSlots::Ordered SampleSlots::Order(plugin::PluginInstrument::SampleOrder order) {
    if (order.paths.empty()) {
        return {};
    }
    Ordered ordered{order.paths, "Reading " + (order.paths.size() == 1
                                                   ? host::TextOf(order.paths.begin()->second.filename())
                                                   : Counted(order.paths.size(), "sound"))};
    instrument.OrderSamples(std::move(order));
    return ordered;
}

SampleSlots::Ordered SampleSlots::Load(const SamplePaths& paths, const std::string& remark) {
    plugin::PluginInstrument::SampleOrder order{paths, {}, {}, remark};
    const host::NeutralStart& start = host::NeutralStart::Get();
    for (const auto& [sample, path] : paths) {
        for (const std::uint32_t id :
             {IdOf(sample, SampleEdges::TrimStart), IdOf(sample, SampleEdges::TrimStop),
              IdOf(sample, SampleEdges::LoopStart), IdOf(sample, SampleEdges::LoopStop), RootId(sample)}) {
            order.positions[sample].emplace_back(id, start.Position(id));
        }
        order.name = paths.size() == 1 ? fmt::format("Sample {}", sample + 1) : "Samples";
    }
    return Order(std::move(order));
}

SampleSlots::Ordered SampleSlots::Drop(const std::vector<std::filesystem::path>& dropped,
                                       std::uint32_t sample) {
    const SampleFill fill = FillWith(dropped, sample, Taken());
    if (fill.paths.empty()) {
        return {{}, fill.leftOut > 0 ? "No sample is free" : "There is no sound in it"};
    }
    return Load(fill.paths, fill.leftOut > 0
                                ? fmt::format("{} found no free place", Counted(fill.leftOut, "sound"))
                                : std::string());
}

std::optional<std::uint32_t> SampleSlots::FreeFrom(std::uint32_t sample) const {
    const std::set<std::uint32_t> taken = Taken();
    for (std::uint32_t n = 0; n < count; ++n) {
        if (const std::uint32_t next = (sample + n) % count; !taken.contains(next)) {
            return next;
        }
    }
    return std::nullopt;
}

void SampleSlots::Clear(std::uint32_t sample) {
    if (Taken().contains(sample)) {
        instrument.OrderSamples({{{sample, {}}}, {}, fmt::format("Clear sample {}", sample + 1)});
    }
}

SampleSlots::Ordered SampleSlots::Found(std::uint32_t sample, const std::filesystem::path& path) {
    return Order({FindMissing(sample, path, Missing()), {}, "Find samples"});
}

SampleEdges SampleSlots::EdgesOf(std::uint32_t sample) const {
    const Ids& ids = Ids::Get();
    SampleEdges edges;
    for (std::size_t n = 0; n < edges.values.size(); ++n) {
        edges.values.at(n) = Position(ids.edges.at(n) + sample);
    }
    edges.isLooped = IsOn(Position(ids.loopOn + sample));
    edges.turnsRound = IsOn(Position(ids.loopType + sample));
    edges.isReversed = IsOn(Position(ids.reverse + sample));
    return edges;
}

void SampleSlots::Move(std::uint32_t sample, SampleEdges::Edge edge, float place) {
    history.Set(IdOf(sample, edge), EdgesOf(sample).Moved(edge, place));
}

void SampleSlots::ResetEdge(std::uint32_t sample, SampleEdges::Edge edge) {
    history.Set(IdOf(sample, edge), host::NeutralStart::Get().Position(IdOf(sample, edge)));
}

bool SampleSlots::SetRoot(std::uint32_t sample, double hertz) {
    const auto position =
        plugin::PluginParameters::Get().PositionOf(RootId(sample), fmt::format("{} Hz", hertz));
    if (position) {
        history.Set(RootId(sample), *position);
    }
    return position.has_value();
}

std::uint32_t SampleSlots::SampleInSlot(std::uint32_t slot) const {
    return static_cast<std::uint32_t>(std::lround(slotSteps * Position(Ids::Get().inSlot + slot)));
}

std::optional<std::uint8_t> SampleSlots::KeyOf(std::uint32_t sample) const {
    const Ids& ids = Ids::Get();
    for (std::uint32_t slot = 0; slot < count && !IsOn(Position(ids.mode)); ++slot) {
        if (SampleInSlot(slot) == sample) {
            const auto octave = static_cast<std::uint32_t>(std::lround(octaveSteps * Position(ids.octave)));
            return static_cast<std::uint8_t>(octave * keysPerOctave + slot);
        }
    }
    return std::nullopt;
}

std::optional<SampleSlots::Head> SampleSlots::Playhead() const {
    const Ids& ids = Ids::Get();
    if (!IsOn(Position(ids.isPlaying)) || IsOn(Position(ids.liveVoice))) {
        return std::nullopt;
    }
    const auto slot = static_cast<std::uint32_t>(std::lround(slotSteps * Position(ids.currentSlot)));
    return Head{SampleInSlot(slot), Position(ids.playhead)};
}

std::string NoteName(double hertz) {
    constexpr std::array names = {"C", "C#", "D", "D#", "E", "F", "F#", "G", "G#", "A", "A#", "B"};
    if (!(hertz > 1.0)) {
        return {};
    }
    const double note = 69.0 + 12.0 * std::log2(hertz / 440.0);
    const double nearest = std::round(note);
    const int cents = static_cast<int>(std::lround(100.0 * (note - nearest)));
    const int key = static_cast<int>(nearest);
    const std::string name = fmt::format("{}{}", names.at(static_cast<std::size_t>(key + 120) % names.size()),
                                         (key + 120) / 12 - 11);
    return cents == 0 ? name : fmt::format("{} {:+} ct", name, cents);
}

} // namespace orphia::panel
