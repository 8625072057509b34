// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/core/state/PluginState.h"

#include "host/common/Errors.h"
#include "host/parameters/ParameterText.h"
#include "plugin/core/parameters/Catalog.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace orphia::plugin {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* ownKey = "plugin";

Json ToJson(const Macro& macro, float position) {
    Json targets = Json::array();
    for (const MacroTarget& target : macro.targets) {
        targets.push_back({{"parameter", Catalog().Parameters().at(target.id).name},
                           {"from", target.from},
                           {"to", target.to}});
    }
    return {{"name", macro.name}, {"position", position}, {"targets", targets}};
}

float Number(const Json& object, const char* key, float otherwise) {
    const auto found = object.find(key);
    const bool isNumber = found != object.end() && found->is_number();
    return isNumber ? std::clamp(found->get<float>(), 0.0F, 1.0F) : otherwise;
}

std::string Text(const Json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

/// What a macro or a parameter of the engine is called for good.
std::string KeptName(std::uint32_t id) {
    const PluginParameter* const macro =
        id >= PluginParameters::firstMacro ? PluginParameters::Get().Find(id) : nullptr;
    return macro != nullptr ? macro->symbol : Catalog().Parameters().at(id).name;
}

std::optional<std::uint32_t> IdOfKept(const std::string& name) {
    if (const host::ParameterInfo* const info = Catalog().FindExact(name)) {
        return info->id;
    }
    const auto& all = PluginParameters::Get().All();
    const auto found = std::find_if(all.begin(), all.end(), [&name](const PluginParameter& each) {
        return each.id >= PluginParameters::firstMacro && each.symbol == name;
    });
    return found != all.end() ? std::optional(found->id) : std::nullopt;
}

Json ToJson(const MidiLearn::Assignments& controllers) {
    Json json = Json::object();
    for (const auto& [controller, parameter] : controllers) {
        json[std::to_string(controller)] = KeptName(parameter);
    }
    return json;
}

MidiLearn::Assignments ReadControllers(const Json& json, std::vector<std::string>& warnings) {
    MidiLearn::Assignments controllers;
    for (const auto& [key, value] : json.items()) {
        const std::string name = value.is_string() ? value.get<std::string>() : std::string();
        std::uint32_t controller = MidiLearn::controllerCount;
        std::from_chars(key.data(), key.data() + key.size(), controller);
        const std::optional<std::uint32_t> parameter = IdOfKept(name);
        if (parameter && MidiLearn::IsFree(controller)) {
            controllers[controller] = *parameter;
        } else {
            warnings.push_back(fmt::format("controller {} cannot move '{}' and leaves it", host::Excerpt(key),
                                           host::Excerpt(name)));
        }
    }
    return controllers;
}

void ReadMacro(const Json& json, std::size_t index, PluginState& state, std::vector<std::string>& warnings) {
    Macro& macro = state.macros[index];
    macro.name = Text(json, "name");
    state.macroPositions[index] = Number(json, "position", 0.0F);
    if (!json.contains("targets") || !json["targets"].is_array()) {
        return;
    }
    for (const Json& target : json["targets"]) {
        const std::string name = target.is_object() ? Text(target, "parameter") : std::string();
        const host::ParameterInfo* info = Catalog().FindExact(name);
        if (info != nullptr && info->IsSettable() && macro.targets.size() < Macro::mostTargets) {
            macro.targets.push_back({info->id, Number(target, "from", 0.0F), Number(target, "to", 1.0F)});
        } else {
            warnings.push_back(
                fmt::format("macro {} cannot move '{}' and leaves it", index + 1, host::Excerpt(name)));
        }
    }
}

void ReadOwn(const Json& own, PluginState& state, std::vector<std::string>& warnings) {
    if (!own.is_object()) {
        return;
    }
    const auto bypass = own.find("bypass");
    state.isBypassed = bypass != own.end() && bypass->is_boolean() && bypass->get<bool>();
    state.program = Text(own, "program");
    if (const auto controllers = own.find("controllers");
        controllers != own.end() && controllers->is_object()) {
        state.controllers = ReadControllers(*controllers, warnings);
    }
    const auto macros = own.find("macros");
    for (std::size_t index = 0;
         macros != own.end() && macros->is_array() && index < std::min(macros->size(), state.macros.size());
         ++index) {
        if ((*macros)[index].is_object()) {
            ReadMacro((*macros)[index], index, state, warnings);
        }
    }
}

/// What this version cannot read in the text of a newer one is taken out, so that the rest counts.
void KeepWhatIsKnown(Json& root, std::vector<std::string>& warnings) {
    const auto version = root.find("version");
    if (version == root.end() || !version->is_number_integer() || *version <= host::Preset::currentVersion) {
        return;
    }
    warnings.push_back(
        fmt::format("the state is of version {}, and this program knows {}; it takes what it knows",
                    version->dump(), host::Preset::currentVersion));
    *version = host::Preset::currentVersion;
    Json& parameters = root["parameters"];
    for (auto item = parameters.is_object() ? parameters.begin() : parameters.end();
         item != parameters.end();) {
        const host::ParameterInfo* info = Catalog().FindExact(item.key());
        try {
            if (info != nullptr) {
                const Json& value = item.value();
                host::ParseSetting(*info, value.is_string() ? value.get<std::string>() : value.dump());
            }
            ++item;
        } catch (const host::UsageError& reason) {
            warnings.emplace_back(reason.what());
            item = parameters.erase(item);
        }
    }
    const auto tags = root.find("tags");
    if (tags != root.end() &&
        !(tags->is_array() && std::all_of(tags->begin(), tags->end(), std::mem_fn(&Json::is_string)))) {
        root.erase("tags");
    }
    Json* const samples = root.contains("samples") ? &root["samples"] : nullptr;
    if (samples != nullptr && !samples->is_object()) {
        root.erase("samples");
    }
}

/// Of the user's own samples; what comes with the program is found without the host.
void MapPaths(Json& root, const std::function<std::string(const std::string&)>& map) {
    const auto samples = root.find("samples");
    if (samples == root.end() || !samples->is_object()) {
        return;
    }
    for (Json& path : *samples) {
        if (path.is_string() &&
            !path.get_ref<const std::string&>().starts_with(host::Preset::shippedPrefix)) {
            path = map(path.get<std::string>());
        }
    }
}

} // namespace

PathMapping& PathMapping::OfThread() {
    thread_local PathMapping mapping;
    return mapping;
}

void PluginState::SetPosition(std::uint32_t id, float position) {
    auto& settings = preset.settings;
    const auto found = std::find_if(settings.begin(), settings.end(),
                                    [id](const host::ParameterSetting& other) { return other.id == id; });
    auto& setting = found != settings.end() ? *found : settings.emplace_back();
    setting = host::SettingAt(Catalog(), id, position);
}

std::string FormatState(const PluginState& state, const PathMapping& mapping) {
    Json root = Json::parse(host::FormatPreset(state.preset, Catalog()));
    if (mapping.toState) {
        MapPaths(root, mapping.toState);
    }
    Json macros = Json::array();
    for (std::size_t index = 0; index < state.macros.size(); ++index) {
        macros.push_back(ToJson(state.macros[index], state.macroPositions[index]));
    }
    root[ownKey] = {{"version", PluginState::currentVersion},
                    {"program", state.program},
                    {"bypass", state.isBypassed},
                    {"macros", macros}};
    if (state.controllers) {
        root[ownKey]["controllers"] = ToJson(*state.controllers);
    }
    return root.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

PluginState ParseState(std::string_view text, std::vector<std::string>& warnings,
                       const PathMapping& mapping) {
    PluginState state;
    Json root = Json::parse(text.begin(), text.end(), nullptr, false);
    if (!root.is_object()) {
        // It tells where and why.
        state.preset = host::ParsePreset(text, Catalog(), warnings);
        return state;
    }
    KeepWhatIsKnown(root, warnings);
    if (mapping.toFile) {
        MapPaths(root, [&mapping](const std::string& path) { return mapping.toFile(path).generic_string(); });
    }
    state.preset =
        host::ParsePreset(root.dump(-1, ' ', false, Json::error_handler_t::replace), Catalog(), warnings);
    if (root.contains(ownKey)) {
        ReadOwn(root[ownKey], state, warnings);
    }
    return state;
}

} // namespace orphia::plugin
