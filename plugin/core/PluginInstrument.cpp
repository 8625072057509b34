// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/core/PluginInstrument.h"

#include "plugin/core/PluginInside.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

namespace orphia::plugin {

namespace {

std::uint32_t WholeRate(double rate) {
    const double least = host::Instrument::minimumSampleRate;
    const double most = host::Instrument::maximumSampleRate;
    return static_cast<std::uint32_t>(std::lround(rate > least ? std::min(rate, most) : least));
}

} // namespace

PluginInstrument::PluginInstrument(const Options& options) : inside(std::make_unique<Inside>(options)) {}

PluginInstrument::PluginInstrument(Kind kind) {
    Options options;
    options.kind = kind;
    inside = std::make_unique<Inside>(options);
}

PluginInstrument::~PluginInstrument() = default;

bool PluginInstrument::IsUsable() const { return inside->engine != nullptr; }

void PluginInstrument::Activate(double sampleRate) { inside->Activate(WholeRate(sampleRate)); }

void PluginInstrument::Deactivate() {
    inside->StopLoader();
    inside->isActive = false;
}

void PluginInstrument::SetOffline(bool isOffline) { inside->stage.isOffline = isOffline; }

std::uint32_t PluginInstrument::LatencyFrames() const { return inside->latency; }

bool PluginInstrument::TakeLatencyChange() {
    const Inside::Lock lock = inside->TakeControl();
    const std::uint32_t now = inside->latency;
    return inside->toldLatency.exchange(now) != now;
}

float PluginInstrument::Position(std::uint32_t id) const {
    const std::uint32_t index = inside->exchange.IndexOf(id);
    return index < inside->exchange.Count() ? inside->exchange.Shown(index) : 0.0F;
}

void PluginInstrument::Set(const host::ParameterSetting& setting) {
    const std::uint32_t index = inside->exchange.IndexOf(setting.id);
    if (index == inside->exchange.Count() || !std::isfinite(setting.number)) {
        return;
    }
    const host::ParameterCatalog& catalog = host::ParameterCatalog::OfInstrument();
    if (index < catalog.Parameters().size() && !catalog.Parameters()[index].IsSettable()) {
        return;
    }
    const float position = PluginParameters::Get().PositionOf(setting);
    inside->exchange.Want(index, position);
    if (setting.id == PluginParameters::bypass) {
        inside->wantedBypass = position >= 0.5F ? 1 : 0;
    }
}

void PluginInstrument::AllNotesOff() { inside->stage.endsNotes = true; }

bool PluginInstrument::HasNews() const {
    return inside->exchange.HasTold() || inside->programChanged || inside->toldLatency != inside->latency;
}

std::vector<std::uint32_t> PluginInstrument::TakeChangedParameters() {
    std::vector<std::uint32_t> changed;
    inside->exchange.TakeTold([&](std::uint32_t index) {
        const std::uint32_t id = inside->exchange.IdOf(index);
        if (PluginParameters::Get().Find(id) != nullptr) {
            changed.push_back(id);
        }
    });
    return changed;
}

MidiLearn& PluginInstrument::Controllers() { return inside->stage.learn; }

Macro PluginInstrument::MacroOf(unsigned macro) const {
    const Inside::Lock lock = inside->TakeControl();
    const Stage::Macros& macros = inside->incoming ? inside->incoming->macros : inside->macros;
    return macro < macros.size() ? macros[macro] : Macro();
}

void PluginInstrument::AssignMacro(unsigned macro, const Macro& assignment) {
    if (macro >= PluginParameters::macroCount) {
        return;
    }
    const Inside::Lock lock = inside->TakeControl();
    const auto& parameters = host::ParameterCatalog::OfInstrument().Parameters();
    Macro changed{assignment.name, {}};
    for (const MacroTarget& target : assignment.targets) {
        if (target.id < parameters.size() && parameters[target.id].IsSettable() &&
            changed.targets.size() < Macro::mostTargets) {
            changed.targets.push_back(target);
        }
    }
    Stage::Macros next = inside->macros;
    next[macro] = changed;
    inside->SetMacros(next);
    if (inside->incoming) {
        inside->incoming->macros[macro] = changed;
    }
}

host::MeterReading PluginInstrument::TakeMeters() { return inside->stage.TakeMeters(); }

std::vector<std::string> PluginInstrument::TakeMessages() {
    std::vector<std::string> taken;
    {
        const std::scoped_lock lock(inside->messagesLock);
        taken = std::exchange(inside->messages, {});
    }
    const Inside::Lock lock = inside->TakeControl();
    if (inside->newestSeat != nullptr) {
        const std::vector<std::string> more = inside->newestSeat->instrument.TakeMessages();
        taken.insert(taken.end(), more.begin(), more.end());
    }
    return taken;
}

std::optional<host::MidiMessage> ChannelMessage(const std::uint8_t* bytes, std::size_t count) {
    if (count == 0 || bytes[0] < 0x80 || bytes[0] >= 0xF0) {
        return std::nullopt;
    }
    const bool hasOneByte = (bytes[0] & 0xE0U) == 0xC0;
    if (count < (hasOneByte ? 2U : 3U)) {
        return std::nullopt;
    }
    return host::MidiMessage{bytes[0], static_cast<std::uint8_t>(bytes[1] & 0x7FU),
                             static_cast<std::uint8_t>(hasOneByte ? 0 : bytes[2] & 0x7FU)};
}

} // namespace orphia::plugin
