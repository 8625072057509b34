// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/ParameterCatalog.h"

#include "host/Errors.h"
#include "host/ParameterTraits.h"
#include "host/TextDistance.h"
#include "processor/PlayedCarrier.h"
#include "vocoder/BodeVocoder.h"
#include "vocoder/VocoderModulator.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
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
    info.kind = traits.isKnob ? ParameterKind::Knob : KindOf(record);
    info.minimum = record.minValue;
    info.maximum = record.maxValue;
    info.start = record.PeekValue();
    if (info.kind == ParameterKind::Stepped) {
        info.stepCount = static_cast<unsigned>(record.stepCount);
        info.stepWidth = std::abs(record.step);
    }
    info.isSwitch = traits.isSwitch || info.stepCount == 2;
    return info;
}

/// Asks a fresh engine of that kind.
template <class Engine>
std::vector<ParameterInfo> DescribeAll(ParameterTraits (*traitsOf)(std::string_view)) {
    const auto engine = std::make_unique<Engine>();
    std::vector<ParameterInfo> parameters;
    parameters.reserve(Engine::parameterCount);
    for (std::uint32_t id = 0; id < Engine::parameterCount; ++id) {
        char name[maxNameLength];
        Velmora::dsp::ParameterNameWriter writer(name, maxNameLength);
        engine->GetParameterName(id, writer);
        parameters.push_back(Describe(id, name, *engine->FindParameter(id), traitsOf(name)));
    }
    return parameters;
}

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

std::vector<ParameterInfo> DescribeTree(EngineTree tree) {
    switch (tree) {
    case EngineTree::Carrier:
        return DescribeAll<Velmora::Processor::PlayedCarrier>(CarrierTraitsOf);
    case EngineTree::Modulator:
        return DescribeAll<Velmora::Processor::VocoderModulator>(ModulatorTraitsOf);
    case EngineTree::Vocoder:
        break;
    }
    return DescribeAll<Velmora::Processor::BodeVocoder>(VocoderTraitsOf);
}

} // namespace

ParameterCatalog::ParameterCatalog(EngineTree engineTree)
    : tree(engineTree), parameters(DescribeTree(engineTree)) {}

const ParameterInfo* ParameterCatalog::FindExact(std::string_view fullName) const {
    const auto found = std::find_if(parameters.begin(), parameters.end(),
                                    [fullName](const ParameterInfo& info) { return info.name == fullName; });
    return found != parameters.end() ? &*found : nullptr;
}

const ParameterInfo& ParameterCatalog::Find(std::string_view name) const {
    if (const ParameterInfo* exact = FindExact(name)) {
        return *exact;
    }
    std::vector<const ParameterInfo*> candidates;
    for (const ParameterInfo& info : parameters) {
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
    throw UsageError(fmt::format("unknown parameter '{}'", name) +
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
    for (const ParameterInfo& info : parameters) {
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
