// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/presets/Preset.h"

#include "host/common/Errors.h"
#include "host/common/Files.h"
#include "host/common/Paths.h"
#include "host/parameters/ParameterText.h"
#include "host/presets/PresetLibrary.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <functional>
#include <iterator>
#include <set>
#include <system_error>

namespace orphia::host {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view formatName = "orphia-preset";
constexpr std::uintmax_t maxFileSize = 1U << 20U;

std::ptrdiff_t LineAt(std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, offset);
    return 1 + std::count(before.begin(), before.end(), '\n');
}

[[noreturn]] void Refuse(std::ptrdiff_t line, std::string_view reason) {
    throw FileError(fmt::format("line {}: {}", line, reason));
}

/// The line of a key of the outermost object or of the parameters; keys are written as they are read.
std::ptrdiff_t LineOfKey(std::string_view text, const std::string& key) {
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
std::string Reason(const Json::exception& error) {
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
            Refuse(LineOfKey(text, key), fmt::format("'{}' is given twice", Excerpt(key)));
        }
        return true;
    };
    try {
        return Json::parse(text.begin(), text.end(), watch);
    } catch (const Json::parse_error& error) {
        Refuse(LineAt(text, error.byte == 0 ? 0 : error.byte - 1), Reason(error));
    } catch (const Json::exception& error) { // a number that no computer holds
        const std::string reason = Reason(error);
        const auto quote = reason.find('\'');
        const std::string number = quote == std::string::npos
                                       ? std::string()
                                       : reason.substr(quote + 1, reason.rfind('\'') - quote - 1);
        const auto at = text.find(number);
        Refuse(LineAt(text, at == std::string_view::npos ? 0 : at),
               fmt::format("the number '{}' is out of range", Excerpt(number)));
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

/// Throws FileError where the system does not know in which folder it is.
std::filesystem::path FolderOf(const std::filesystem::path& path) {
    std::error_code error;
    const std::filesystem::path whole = std::filesystem::absolute(path, error);
    if (error) {
        throw FileError(error.message());
    }
    return whole.parent_path();
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
    return fmt::format("unknown parameter '{}' ignored", Excerpt(name)) +
           (similar.empty() ? "" : fmt::format(" (similar: {})", fmt::join(similar, ", ")));
}

/// A text of the outermost object; empty when there is none.
std::string MemberText(const Json& root, std::string_view text, const char* key) {
    if (!root.contains(key)) {
        return {};
    }
    if (!root[key].is_string()) {
        Refuse(LineOfKey(text, key), fmt::format("\"{}\" must be a text", key));
    }
    return root[key].get<std::string>();
}

std::vector<std::string> TagsOf(const Json& root, std::string_view text) {
    if (!root.contains("tags")) {
        return {};
    }
    const Json& tags = root["tags"];
    if (!tags.is_array() || !std::all_of(tags.begin(), tags.end(), std::mem_fn(&Json::is_string))) {
        Refuse(LineOfKey(text, "tags"), "\"tags\" must be a list of texts");
    }
    return tags.get<std::vector<std::string>>();
}

void ReadSettings(const Json& parameters, std::string_view text, const ParameterCatalog& catalog,
                  Preset& preset, std::vector<std::string>& warnings) {
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
        if (!info->IsSettable()) {
            warnings.push_back(fmt::format("{} is an output or command of the engine and was ignored", name));
            continue;
        }
        try {
            preset.settings.push_back(ParseSetting(*info, ValueText(value)));
        } catch (const UsageError& error) {
            Refuse(LineOfKey(text, name), error.what());
        }
    }
}

/// The folder of what comes with the program: presets/ with their samples, and examples/.
std::filesystem::path ShippedFolder() { return PresetLibrary::FactoryFolder().parent_path().parent_path(); }

bool IsShipped(const std::filesystem::path& way) {
    return !way.empty() && (*way.begin() == "presets" || *way.begin() == "examples");
}

std::filesystem::path SamplePath(std::string_view text, const std::filesystem::path& folder) {
    const bool isShipped = text.starts_with(Preset::shippedPrefix);
    text.remove_prefix(isShipped ? Preset::shippedPrefix.size() : 0);
    return ((isShipped ? ShippedFolder() : folder) / PathOf(text)).lexically_normal();
}

std::map<std::uint32_t, std::filesystem::path> ReadSamples(const Json& samples, std::string_view text,
                                                           const std::filesystem::path& folder) {
    std::map<std::uint32_t, std::filesystem::path> paths;
    if (!samples.is_object()) {
        Refuse(LineOfKey(text, "samples"), "\"samples\" must be an object of numbers and paths");
    }
    for (const auto& [key, value] : samples.items()) {
        std::uint32_t number = 0;
        const auto end = std::from_chars(key.data(), key.data() + key.size(), number).ptr;
        if (end != key.data() + key.size() || number < 1 || number > Preset::sampleCount) {
            Refuse(LineOfKey(text, key),
                   fmt::format("'{}' is no sample from 1 to {}", Excerpt(key), Preset::sampleCount));
        }
        if (!value.is_string() || value.get<std::string>().empty()) {
            Refuse(LineOfKey(text, key), fmt::format("the path of sample {} must be a text", key));
        }
        paths[number - 1] = SamplePath(value.get<std::string>(), folder);
    }
    return paths;
}

/// The way from a folder to a path with at most so many steps up; empty when there is none.
std::filesystem::path WayTo(const std::filesystem::path& path, const std::filesystem::path& folder,
                            std::ptrdiff_t stepsUp) {
    const std::filesystem::path whole = std::filesystem::absolute(folder).lexically_normal();
    const std::filesystem::path base = whole.has_filename() ? whole : whole.parent_path();
    const std::filesystem::path way = path.lexically_relative(base);
    const bool isNear = base.has_relative_path() && std::count(way.begin(), way.end(), "..") <= stepsUp;
    return isNear ? way : std::filesystem::path();
}

/// Within the folder or beside it a path can move along with the preset, and what is shipped with the
/// program.
std::string PathText(const std::filesystem::path& path, const std::filesystem::path& folder) {
    const std::filesystem::path near = folder.empty() ? folder : WayTo(path, folder, 1);
    if (!near.empty()) {
        return PortableTextOf(near);
    }
    const std::filesystem::path shipped = WayTo(path, ShippedFolder(), 0);
    return IsShipped(shipped) ? std::string(Preset::shippedPrefix) + PortableTextOf(shipped)
                              : PortableTextOf(path);
}

} // namespace

Preset ParsePreset(std::string_view text, const ParameterCatalog& catalog, std::vector<std::string>& warnings,
                   const std::filesystem::path& folder) {
    const Json root = ParseJson(text);
    CheckHeader(root, text);
    Preset preset;
    preset.name = MemberText(root, text, "name");
    preset.description = MemberText(root, text, "description");
    preset.tags = TagsOf(root, text);
    ReadSettings(root["parameters"], text, catalog, preset, warnings);
    if (root.contains("samples") && catalog.Tree() == EngineTree::Instrument) {
        preset.samples = ReadSamples(root["samples"], text, folder);
    }
    return preset;
}

PresetSummary SummaryOf(std::string_view text) {
    const Json root = ParseJson(text);
    CheckHeader(root, text);
    return {MemberText(root, text, "name"), MemberText(root, text, "description"), TagsOf(root, text)};
}

Preset ReadPreset(const std::filesystem::path& path, const ParameterCatalog& catalog,
                  std::vector<std::string>& warnings) {
    try {
        const std::size_t first = warnings.size();
        const std::string text = ReadWholeFile(path, maxFileSize, "a preset");
        Preset preset = ParsePreset(text, catalog, warnings, FolderOf(path));
        for (std::size_t i = first; i < warnings.size(); ++i) {
            warnings[i] = fmt::format("{}: {}", TextOf(path), warnings[i]);
        }
        return preset;
    } catch (const FileError& error) {
        throw FileError(fmt::format("{}: {}", TextOf(path), error.what()));
    }
}

PresetSummary ReadPresetSummary(const std::filesystem::path& path) {
    try {
        return SummaryOf(ReadWholeFile(path, maxFileSize, "a preset"));
    } catch (const FileError& error) {
        throw FileError(fmt::format("{}: {}", TextOf(path), error.what()));
    }
}

std::string FormatPreset(const Preset& preset, const ParameterCatalog& catalog,
                         const std::filesystem::path& folder) {
    Json root;
    root["format"] = formatName;
    root["version"] = Preset::currentVersion;
    root["name"] = preset.name;
    if (!preset.description.empty()) {
        root["description"] = preset.description;
    }
    if (!preset.tags.empty()) {
        root["tags"] = preset.tags;
    }
    Json& parameters = root["parameters"] = Json::object();
    for (const ParameterSetting& setting : preset.settings) {
        const ParameterInfo& info = catalog.Parameters().at(setting.id);
        parameters[info.name] = FormatSetting(info, setting);
    }
    if (preset.samples) {
        Json& samples = root["samples"] = Json::object();
        for (const auto& [sample, path] : *preset.samples) {
            samples[fmt::format("{}", sample + 1)] = PathText(path, folder);
        }
    }
    return root.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

void WritePreset(const std::filesystem::path& path, const Preset& preset, const ParameterCatalog& catalog) {
    PendingFile file(path);
    file.Write(FormatPreset(preset, catalog, FolderOf(path)));
    file.Commit();
}

Preset DefaultPreset(const ParameterCatalog& catalog) {
    std::vector<std::string> warnings;
    return ParsePreset(DefaultPresetText(catalog.Tree()), catalog, warnings);
}

} // namespace orphia::host
