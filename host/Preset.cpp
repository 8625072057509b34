// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/Preset.h"

#include "host/Errors.h"
#include "host/ParameterText.h"
#include "host/WholeFile.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <set>

namespace orphia::host {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view formatName = "orphia-preset";
constexpr std::uintmax_t maxFileSize = 1U << 20U;

long LineAt(std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, offset);
    return 1 + std::count(before.begin(), before.end(), '\n');
}

[[noreturn]] void Refuse(long line, std::string_view reason) {
    throw FileError(fmt::format("line {}: {}", line, reason));
}

/// The line of a key of the outermost object or of the parameters; keys are written as they are read.
long LineOfKey(std::string_view text, const std::string& key) {
    const std::string quoted = Json(key).dump();
    for (auto at = text.find(quoted); at != std::string_view::npos; at = text.find(quoted, at + 1)) {
        const auto next = text.find_first_not_of(" \t\r\n", at + quoted.size());
        if (next != std::string_view::npos && text[next] == ':') {
            return LineAt(text, at);
        }
    }
    return 1;
}

/// What the parser says, without its own numbering and the text that it stumbled over.
std::string Reason(const Json::parse_error& error) {
    std::string reason = error.what();
    if (const auto start = reason.find(": "); start != std::string::npos) {
        reason.erase(0, start + 2);
    }
    if (const auto end = reason.find("; last read"); end != std::string::npos) {
        reason.erase(end);
    }
    return reason;
}

Json ParseJson(std::string_view text) {
    // One set of keys per open object: the parser itself would let a second one of a name win.
    std::vector<std::set<std::string>> keys;
    const auto watch = [&](int /*depth*/, Json::parse_event_t event, Json& parsed) {
        if (event == Json::parse_event_t::object_start) {
            keys.emplace_back();
        } else if (event == Json::parse_event_t::object_end) {
            keys.pop_back();
        } else if (event == Json::parse_event_t::key &&
                   !keys.back().insert(parsed.get<std::string>()).second) {
            const std::string key = parsed.get<std::string>();
            Refuse(LineOfKey(text, key), fmt::format("'{}' is given twice", key));
        }
        return true;
    };
    try {
        return Json::parse(text.begin(), text.end(), watch);
    } catch (const Json::parse_error& error) {
        Refuse(LineAt(text, error.byte == 0 ? 0 : error.byte - 1), Reason(error));
    }
}

void CheckHeader(const Json& root, std::string_view text) {
    if (!root.is_object() || !root.contains("format") || root["format"] != formatName) {
        Refuse(1, fmt::format("no preset: \"format\" is not \"{}\"", formatName));
    }
    if (!root.contains("version") || !root["version"].is_number_integer() || root["version"] < 1) {
        Refuse(LineOfKey(text, "version"), "\"version\" must be a whole number from 1");
    }
    if (root["version"] > Preset::currentVersion) {
        Refuse(LineOfKey(text, "version"),
               fmt::format("version {} is newer than this program, which reads {}", root["version"].dump(),
                           Preset::currentVersion));
    }
    if (!root.contains("parameters") || !root["parameters"].is_object()) {
        Refuse(LineOfKey(text, "parameters"), "\"parameters\" must be an object of names and values");
    }
}

std::string ValueText(const Json& value) {
    if (value.is_string()) {
        return value.get<std::string>();
    }
    if (value.is_boolean()) {
        return value.get<bool>() ? "on" : "off";
    }
    if (value.is_number()) {
        return value.dump();
    }
    throw UsageError("a value must be a text or a number");
}

std::string UnknownMessage(const ParameterCatalog& catalog, const std::string& name) {
    const std::vector<std::string> similar = catalog.Similar(name);
    return fmt::format("unknown parameter '{}' ignored", name) +
           (similar.empty() ? "" : fmt::format(" (similar: {})", fmt::join(similar, ", ")));
}

} // namespace

Preset ParsePreset(std::string_view text, const ParameterCatalog& catalog,
                   std::vector<std::string>& warnings) {
    const Json root = ParseJson(text);
    CheckHeader(root, text);
    Preset preset;
    if (root.contains("name")) {
        if (!root["name"].is_string()) {
            Refuse(LineOfKey(text, "name"), "\"name\" must be a text");
        }
        preset.name = root["name"].get<std::string>();
    }
    const Json& parameters = root["parameters"];
    const auto isKnown = [&catalog](const auto& item) { return catalog.FindExact(item.key()) != nullptr; };
    if (!parameters.empty() && std::none_of(parameters.items().begin(), parameters.items().end(), isKnown)) {
        Refuse(LineOfKey(text, "parameters"),
               "none of the parameters is known; is it for another instrument?");
    }
    for (const auto& [name, value] : parameters.items()) {
        const ParameterInfo* info = catalog.FindExact(name);
        if (info == nullptr) {
            warnings.push_back(UnknownMessage(catalog, name));
            continue;
        }
        if (info->role == ParameterRole::Output) {
            warnings.push_back(fmt::format("{} is an output of the engine and was ignored", name));
            continue;
        }
        try {
            preset.settings.push_back(ParseSetting(*info, ValueText(value)));
        } catch (const UsageError& error) {
            Refuse(LineOfKey(text, name), error.what());
        }
    }
    return preset;
}

Preset ReadPreset(const std::filesystem::path& path, const ParameterCatalog& catalog,
                  std::vector<std::string>& warnings) {
    try {
        const std::size_t first = warnings.size();
        Preset preset = ParsePreset(ReadWholeFile(path, maxFileSize, "a preset"), catalog, warnings);
        for (std::size_t i = first; i < warnings.size(); ++i) {
            warnings[i] = fmt::format("{}: {}", path.string(), warnings[i]);
        }
        return preset;
    } catch (const FileError& error) {
        throw FileError(fmt::format("{}: {}", path.string(), error.what()));
    }
}

std::string FormatPreset(const Preset& preset, const ParameterCatalog& catalog) {
    Json root;
    root["format"] = formatName;
    root["version"] = Preset::currentVersion;
    root["name"] = preset.name;
    Json& parameters = root["parameters"] = Json::object();
    for (const ParameterSetting& setting : preset.settings) {
        const ParameterInfo& info = catalog.Parameters().at(setting.id);
        parameters[info.name] = FormatSetting(info, setting);
    }
    return root.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

Preset DefaultPreset(const ParameterCatalog& catalog) {
    std::vector<std::string> warnings;
    return ParsePreset(DefaultPresetText(catalog.Tree()), catalog, warnings);
}

} // namespace orphia::host
