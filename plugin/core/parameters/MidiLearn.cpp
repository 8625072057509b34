// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/core/parameters/MidiLearn.h"

#include "host/parameters/ParameterCatalog.h"
#include "plugin/core/parameters/PluginParameters.h"

#include <algorithm>

namespace orphia::plugin {

namespace {

bool IsMovable(std::uint32_t parameter) {
    const auto& all = host::ParameterCatalog::OfInstrument().Parameters();
    return parameter < all.size()
               ? all[parameter].IsSettable()
               : parameter >= PluginParameters::firstMacro &&
                     parameter < PluginParameters::firstMacro + PluginParameters::macroCount;
}

} // namespace

bool MidiLearn::IsFree(std::uint32_t controller) {
    constexpr std::array taken = {0U, 6U, 32U, 38U, 96U, 97U, 98U, 99U, 100U, 101U};
    return controller < controllerCount && std::find(taken.begin(), taken.end(), controller) == taken.end();
}

std::optional<host::ParameterSetting> MidiLearn::Hear(const host::MidiMessage& message) {
    constexpr unsigned controllerKind = 0xB0;
    constexpr float most = 127.0F;
    if (message.Kind() != controllerKind || !IsFree(message.data1)) {
        return std::nullopt;
    }
    if (const std::uint32_t wanted = waiting.exchange(0); wanted != 0) {
        for (Marked& other : assigned) {
            std::uint32_t same = wanted;
            other.compare_exchange_strong(same, 0);
        }
        assigned[message.data1] = wanted;
    }
    const auto parameter = ParameterOf(message.data1);
    if (!parameter) {
        return std::nullopt;
    }
    return host::ParameterSetting{*parameter, host::ParameterSetting::Scale::Position,
                                  static_cast<float>(message.data2) / most};
}

bool MidiLearn::Wait(std::uint32_t parameter) {
    if (!IsMovable(parameter)) {
        return false;
    }
    waiting = parameter + 1;
    return true;
}

std::optional<std::uint32_t> MidiLearn::WaitsFor() const { return Unmarked(waiting); }

void MidiLearn::Assign(std::uint32_t controller, std::uint32_t parameter) {
    if (IsFree(controller) && IsMovable(parameter)) {
        assigned[controller] = parameter + 1;
    }
}

void MidiLearn::Forget(std::uint32_t controller) {
    if (controller < controllerCount) {
        assigned[controller] = 0;
    }
}

std::optional<std::uint32_t> MidiLearn::ParameterOf(std::uint32_t controller) const {
    return controller < controllerCount ? Unmarked(assigned[controller]) : std::nullopt;
}

std::optional<std::uint32_t> MidiLearn::ControllerOf(std::uint32_t parameter) const {
    for (std::uint32_t controller = 0; controller < controllerCount; ++controller) {
        if (ParameterOf(controller) == parameter) {
            return controller;
        }
    }
    return std::nullopt;
}

MidiLearn::Assignments MidiLearn::All() const {
    Assignments all;
    for (std::uint32_t controller = 0; controller < controllerCount; ++controller) {
        if (const auto parameter = ParameterOf(controller)) {
            all.emplace(controller, *parameter);
        }
    }
    return all;
}

void MidiLearn::Replace(const Assignments& assignments) {
    for (std::uint32_t controller = 0; controller < controllerCount; ++controller) {
        Forget(controller);
    }
    for (const auto& [controller, parameter] : assignments) {
        Assign(controller, parameter);
    }
}

std::optional<std::uint32_t> MidiLearn::Unmarked(const Marked& marked) {
    const std::uint32_t parameter = marked.load(std::memory_order_relaxed);
    return parameter != 0 ? std::optional(parameter - 1) : std::nullopt;
}

} // namespace orphia::plugin
