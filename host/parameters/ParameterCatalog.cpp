// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/parameters/ParameterCatalog.h"

#include "host/common/Errors.h"
#include "host/common/TextDistance.h"
#include "host/parameters/ParameterTraits.h"
#include "processor/instrument/VocoderProcessor.h"
#include "vocoder/core/BodeVocoder.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <utility>

namespace orphia::host {

namespace {

constexpr std::size_t maxNameLength = 256;
constexpr std::size_t maxListed = 4;

ParameterKind KindOf(const Velmora::dsp::ModuleParam& record) {
    switch (record.kind) {
    case Velmora::dsp::ModuleParam::rawKind:
        return ParameterKind::Knob;
    case Velmora::dsp::ModuleParam::steppedKind:
        return ParameterKind::Stepped;
    default:
        return ParameterKind::Mapped;
    }
}

ParameterInfo Describe(std::uint32_t id, std::string name, const Velmora::dsp::ModuleParam& record,
                       const ParameterTraits& traits) {
    ParameterInfo info;
    info.id = id;
    info.name = std::move(name);
    info.description = traits.description;
    info.role = traits.role;
    info.unit = traits.unit;
    info.kind = KindOf(record);
    info.minimum = record.minValue;
    info.maximum = record.maxValue;
    info.start = record.PeekValue();
    if (info.kind == ParameterKind::Stepped) {
        info.stepCount = static_cast<unsigned>(record.stepCount);
        info.stepWidth = std::abs(record.step);
    }
    info.isSwitch = traits.isSwitch || info.stepCount == 2;
    info.choices = info.kind == ParameterKind::Stepped ? traits.choices : std::string_view();
    return info;
}

} // namespace

struct ORPHIA_PRIVATE ParameterCatalog::Contents {
    std::vector<ParameterInfo> parameters;
    /// The engine's own, for the conversions.
    std::vector<Velmora::dsp::ModuleParam> records;

    void Add(std::string name, const Velmora::dsp::ModuleParam& declared, const ParameterTraits& traits) {
        Velmora::dsp::ModuleParam record = declared;
        if (traits.isKnob) {
            // Only the position counts.
            record = Velmora::dsp::ModuleParam(declared.name);
            record.SetNormalized(declared.PeekNormalized());
        }
        parameters.push_back(
            Describe(static_cast<std::uint32_t>(parameters.size()), std::move(name), record, traits));
        records.push_back(record);
    }
};

namespace {

bool HasEnding(std::string_view name, std::string_view ending) {
    return name.size() > ending.size() && name.ends_with(ending) &&
           name[name.size() - ending.size() - 1] == '_';
}

auto PartCount(std::string_view name) { return std::count(name.begin(), name.end(), '_'); }

std::string AmbiguousMessage(std::string_view name, const std::vector<const ParameterInfo*>& candidates) {
    std::vector<std::string_view> names;
    for (const ParameterInfo* candidate : candidates) {
        if (names.size() < maxListed) {
            names.push_back(candidate->name);
        }
    }
    std::string message = fmt::format("parameter '{}' is ambiguous: {}", name, fmt::join(names, ", "));
    if (candidates.size() > maxListed) {
        message += fmt::format(" and {} more", candidates.size() - maxListed);
    }
    return message;
}

/// Asks a fresh engine of that kind.
template <class Engine, class Contents>
void DescribeAll(Contents& contents, ParameterTraits (*traitsOf)(std::string_view)) {
    const auto engine = std::make_unique<Engine>();
    for (std::uint32_t id = 0; id < Engine::parameterCount; ++id) {
        char name[maxNameLength];
        Velmora::dsp::ParameterNameWriter writer(name, maxNameLength);
        engine->GetParameterName(id, writer);
        contents.Add(name, *engine->FindParameter(id), traitsOf(name));
    }
}

/// Messages between the interface of the instrument and its engine, which stand behind its parameters.
constexpr std::array messageNames = {"ToolTipUpdate", "ToolTipText"};

template <class Contents>
void DescribeTree(EngineTree tree, Contents& contents) {
    switch (tree) {
    case EngineTree::Vocoder:
        DescribeAll<Velmora::Processor::BodeVocoder>(contents, VocoderTraitsOf);
        return;
    case EngineTree::Instrument:
        DescribeAll<Velmora::Processor::VocoderProcessor>(contents, InstrumentTraitsOf);
        for (const char* const name : messageNames) {
            contents.Add(name, Velmora::dsp::ModuleParam(name), InstrumentTraitsOf(name));
        }
        return;
    }
}

} // namespace

ParameterCatalog::ParameterCatalog(EngineTree engineTree) : tree(engineTree) {
    const auto described = std::make_shared<Contents>();
    DescribeTree(tree, *described);
    contents = described;
}

const ParameterCatalog& ParameterCatalog::OfInstrument() {
    static const ParameterCatalog catalog(EngineTree::Instrument);
    return catalog;
}

const ParameterCatalog& ParameterCatalog::OfVocoder() {
    static const ParameterCatalog catalog(EngineTree::Vocoder);
    return catalog;
}

const std::vector<ParameterInfo>& ParameterCatalog::Parameters() const { return contents->parameters; }

float ParameterCatalog::ToValue(std::uint32_t id, float position) const {
    return id < contents->records.size() ? contents->records[id].ToValue(position) : 0.0F;
}

float ParameterCatalog::StartPosition(std::uint32_t id) const {
    return id < contents->records.size() ? contents->records[id].PeekNormalized() : 0.0F;
}

float ParameterCatalog::ToPosition(std::uint32_t id, float value) const {
    // A curve and its inverse are not exact: one of the next few positions may give the very value.
    constexpr int reach = 4;
    if (id >= contents->records.size()) {
        return 0.0F;
    }
    const Velmora::dsp::ModuleParam& record = contents->records[id];
    const float inverse = record.ToNormalized(value);
    const float nearest = record.inverted ? 1.0F - inverse : inverse;
    float below = nearest;
    float above = nearest;
    for (int step = 0; step <= reach; ++step) {
        for (const float position : {below, above}) {
            if (record.ToValue(position) == value) {
                return position;
            }
        }
        below = std::nextafter(below, 0.0F);
        above = std::nextafter(above, 1.0F);
    }
    return nearest;
}

const ParameterInfo* ParameterCatalog::FindExact(std::string_view fullName) const {
    const auto found = std::find_if(Parameters().begin(), Parameters().end(),
                                    [fullName](const ParameterInfo& info) { return info.name == fullName; });
    return found != Parameters().end() ? &*found : nullptr;
}

const ParameterInfo& ParameterCatalog::Find(std::string_view name) const {
    if (const ParameterInfo* exact = FindExact(name)) {
        return *exact;
    }
    std::vector<const ParameterInfo*> candidates;
    for (const ParameterInfo& info : Parameters()) {
        if (name.empty() || !HasEnding(info.name, name)) {
            continue;
        }
        if (!candidates.empty() && PartCount(info.name) < PartCount(candidates.front()->name)) {
            candidates.clear();
        }
        if (candidates.empty() || PartCount(info.name) == PartCount(candidates.front()->name)) {
            candidates.push_back(&info);
        }
    }
    if (candidates.size() == 1) {
        return *candidates.front();
    }
    if (!candidates.empty()) {
        throw UsageError(AmbiguousMessage(name, candidates));
    }
    const std::vector<std::string> similar = Similar(name);
    throw UsageError(fmt::format("unknown parameter '{}'", Excerpt(name)) +
                     (similar.empty() ? "" : fmt::format(" (similar: {})", fmt::join(similar, ", "))));
}

std::vector<std::string> ParameterCatalog::Similar(std::string_view name) const {
    constexpr std::size_t maxSimilar = 3;
    const std::size_t tolerance = std::max<std::size_t>(1, name.size() / 3);
    struct Match {
        std::size_t distance;
        std::string_view ending;
    };
    std::vector<Match> matches;
    const auto consider = [&](std::string_view ending) {
        const std::size_t distance = TextDistance(name, ending, tolerance);
        if (distance <= tolerance) {
            matches.push_back({distance, ending});
        }
    };
    for (const ParameterInfo& info : Parameters()) {
        consider(info.name);
        for (auto at = info.name.find('_'); at != std::string::npos; at = info.name.find('_', at + 1)) {
            consider(std::string_view(info.name).substr(at + 1));
        }
    }
    std::stable_sort(matches.begin(), matches.end(),
                     [](const Match& a, const Match& b) { return a.distance < b.distance; });
    std::vector<std::string> similar;
    for (const Match& match : matches) {
        const bool known = std::find(similar.begin(), similar.end(), match.ending) != similar.end();
        if (!known && similar.size() < maxSimilar) {
            similar.emplace_back(match.ending);
        }
    }
    return similar;
}

} // namespace orphia::host
