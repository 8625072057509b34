// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/help/Completion.h"

#include "host/common/Errors.h"
#include "host/parameters/ParameterText.h"
#include "host/presets/PresetLibrary.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <sstream>
#include <string_view>

namespace orphia::tools {

namespace {

using host::ParameterCatalog;
using host::ParameterInfo;

bool IsClear(const ParameterCatalog& catalog, std::string_view name, const ParameterInfo& info) {
    try {
        return catalog.Find(name).id == info.id;
    } catch (const host::UsageError&) {
        return false;
    }
}

/// The shortest name of a parameter that begins as typed and means no other one.
std::optional<std::string> NameThatBegins(const ParameterCatalog& catalog, const ParameterInfo& info,
                                          std::string_view typed) {
    std::string_view ending = info.name;
    std::optional<std::string> shortest;
    for (;;) {
        if (ending.starts_with(typed) && IsClear(catalog, ending, info)) {
            shortest = ending;
        }
        const auto next = ending.find('_');
        if (next == std::string_view::npos) {
            return shortest;
        }
        ending.remove_prefix(next + 1);
    }
}

class Completer {
public:
    explicit Completer(std::string_view word) : typed(word) {}

    void Add(std::string_view text, std::string_view description) {
        if (text.starts_with(typed)) {
            completion.candidates.push_back({std::string(text), std::string(description)});
        }
    }

    void AddCommands(const CLI::App& program) {
        for (const CLI::App* command : program.get_subcommands({})) {
            Add(command->get_name(), command->get_description());
        }
    }

    void AddOptions(const CLI::App& app) {
        for (const CLI::Option* option : app.get_options()) {
            for (const std::string& name : option->get_lnames()) {
                Add("--" + name, option->get_description());
            }
        }
    }

    void AddPresets() {
        Add(host::PresetLibrary::defaultId, "what sounds without a preset");
        const host::PresetLibrary library;
        for (const host::PresetLibrary::Entry& entry : library.Entries()) {
            Add(entry.id, entry.description);
        }
        completion.allowsFiles = true;
    }

    /// Whoever has typed nothing wants to see what there is to play with.
    void AddParameters(const ParameterCatalog& catalog, std::string_view behind) {
        const std::string_view start = typed;
        for (const ParameterInfo& info : catalog.Parameters()) {
            if (!info.IsSettable() || (start.empty() && info.role != host::ParameterRole::Control)) {
                continue;
            }
            if (const auto name = NameThatBegins(catalog, info, start)) {
                Add(*name + std::string(behind), info.description);
            }
        }
    }

    void AddAssignments(const ParameterCatalog& catalog) {
        const auto equals = typed.find('=');
        if (equals == std::string::npos) {
            AddParameters(catalog, "=");
            return;
        }
        const std::string name = typed.substr(0, equals);
        try {
            AddValues(name + "=", catalog.Find(name));
        } catch (const host::UsageError&) {
            // Whoever runs it is told.
        }
    }

    /// By what the option calls its value.
    void AddValuesOf(const CLI::Option& option, const Command& command) {
        const std::string type = option.get_type_name();
        const std::string kind = type.substr(0, type.find(":{"));
        if (kind == "NAME=VALUE") {
            AddAssignments(command.Parameters());
        } else if (kind == "NAME") {
            AddPresets();
        } else if (const auto set = type.find('{'); set != std::string::npos) {
            std::istringstream values(type.substr(set + 1, type.size() - set - 2));
            for (std::string value; std::getline(values, value, ',');) {
                Add(value, "");
            }
        } else {
            completion.allowsFiles = kind.starts_with("FILE");
        }
    }

    void AddPositional(const Command& command) {
        if (command.Line().get_option_no_throw("NAME") != nullptr) {
            AddPresets();
        } else if (command.Line().get_option_no_throw("PATTERN") != nullptr) {
            AddParameters(command.Parameters(), "");
        } else {
            completion.allowsFiles = !command.Line().get_options(IsPositional).empty();
        }
    }

    /// What is completed stands behind that part of the word.
    Completion Behind(const std::string& start) {
        for (Completion::Candidate& candidate : completion.candidates) {
            candidate.text.insert(0, start);
        }
        return completion;
    }

private:
    static bool IsPositional(const CLI::Option* option) { return option->get_positional(); }

    void AddValues(const std::string& assignment, const ParameterInfo& info) {
        if (info.isSwitch) {
            Add(assignment + "off", "");
            Add(assignment + "on", "");
        }
        for (unsigned step = 0; step < info.stepCount; ++step) {
            if (const std::string_view choice = host::ChoiceOf(info, step); !choice.empty()) {
                Add(assignment + std::string(choice), "");
            }
        }
    }

    std::string typed;
    Completion completion;
};

/// The option that a word names and that wants a value behind it, or null.
const CLI::Option* ValuedOption(const CLI::App& app, const std::string& word) {
    const CLI::Option* option = word.starts_with('-') ? app.get_option_no_throw(word) : nullptr;
    return option != nullptr && option->get_items_expected_max() > 0 ? option : nullptr;
}

Completion CompleteWithin(const Command& command, std::span<const std::string> words) {
    const std::string& word = words.back();
    if (const auto equals = word.find('='); word.starts_with("--") && equals != std::string::npos) {
        Completer completer(word.substr(equals + 1));
        if (const CLI::Option* option = ValuedOption(command.Line(), word.substr(0, equals))) {
            completer.AddValuesOf(*option, command);
        }
        return completer.Behind(word.substr(0, equals + 1));
    }
    Completer completer(word);
    const CLI::Option* option =
        words.size() > 1 ? ValuedOption(command.Line(), words[words.size() - 2]) : nullptr;
    if (option != nullptr) {
        completer.AddValuesOf(*option, command);
    } else if (word.starts_with('-')) {
        completer.AddOptions(command.Line());
    } else {
        completer.AddPositional(command);
    }
    return completer.Behind("");
}

} // namespace

Completion Complete(const CLI::App& program, std::span<const std::unique_ptr<Command>> commands,
                    std::span<const std::string> words) {
    if (words.size() < 2) {
        Completer completer(words.empty() ? "" : words.front());
        completer.AddCommands(program);
        completer.AddOptions(program);
        return completer.Behind("");
    }
    const auto named = std::find_if(commands.begin(), commands.end(), [&words](const auto& command) {
        return command->Line().get_name() == words.front();
    });
    return named != commands.end() ? CompleteWithin(**named, words.subspan(1)) : Completion();
}

void PrintCompletion(const Completion& completion) {
    for (const Completion::Candidate& candidate : completion.candidates) {
        fmt::print("{}\t{}\n", candidate.text, candidate.description);
    }
    if (completion.allowsFiles) {
        fmt::print("/\n");
    }
}

} // namespace orphia::tools
