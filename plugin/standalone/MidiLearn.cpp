// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/standalone/MidiLearn.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace orphia::standalone {

std::optional<host::ParameterSetting> MidiLearn::Hear(const host::MidiMessage& message) {
    constexpr unsigned controllerKind = 0xB0;
    constexpr float most = 127.0F;
    if (message.Kind() != controllerKind || message.data1 >= controllerCount) {
        return std::nullopt;
    }
    if (const std::uint32_t wanted = waiting.exchange(0); wanted != 0) {
        assigned[message.data1] = wanted;
    }
    const auto parameter = ParameterOf(message.data1);
    if (!parameter) {
        return std::nullopt;
    }
    return host::ParameterSetting{*parameter, host::ParameterSetting::Scale::Position,
                                  static_cast<float>(message.data2) / most};
}

void MidiLearn::Assign(std::uint32_t controller, std::uint32_t parameter) {
    if (controller < controllerCount && plugin::PluginParameters::Get().Find(parameter) != nullptr) {
        assigned[controller] = parameter + 1;
    }
}

void MidiLearn::Clear(std::uint32_t controller) {
    if (controller < controllerCount) {
        assigned[controller] = 0;
    }
}

std::optional<std::uint32_t> MidiLearn::ParameterOf(std::uint32_t controller) const {
    const std::uint32_t parameter = controller < controllerCount ? assigned[controller].load() : 0;
    return parameter != 0 ? std::optional(parameter - 1) : std::nullopt;
}

std::string MidiLearn::Format() const {
    nlohmann::ordered_json list = nlohmann::ordered_json::object();
    for (std::uint32_t controller = 0; controller < controllerCount; ++controller) {
        const auto parameter = ParameterOf(controller);
        const auto* const listed = parameter ? plugin::PluginParameters::Get().Find(*parameter) : nullptr;
        if (listed != nullptr) {
            list[std::to_string(controller)] = listed->symbol;
        }
    }
    return list.dump(2) + "\n";
}

void MidiLearn::Parse(std::string_view text) {
    for (auto& parameter : assigned) {
        parameter = 0;
    }
    const nlohmann::json list = nlohmann::json::parse(text, nullptr, false);
    if (!list.is_object()) {
        return;
    }
    const auto& all = plugin::PluginParameters::Get().All();
    for (std::uint32_t controller = 0; controller < controllerCount; ++controller) {
        const auto entry = list.find(std::to_string(controller));
        if (entry == list.end() || !entry->is_string()) {
            continue;
        }
        const auto found = std::find_if(all.begin(), all.end(), [&](const plugin::PluginParameter& other) {
            return other.symbol == entry->get<std::string>();
        });
        if (found != all.end()) {
            Assign(controller, found->id);
        }
    }
}

} // namespace orphia::standalone
