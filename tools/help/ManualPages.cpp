// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/help/ManualPages.h"

#include "host/common/Errors.h"
#include "host/common/Files.h"
#include "host/common/Paths.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cctype>
#include <sstream>
#include <string_view>
#include <system_error>
#include <vector>

namespace orphia::tools {

namespace {

/// Text that roff shows as it is.
std::string Plain(std::string_view text) {
    std::string roff;
    if (text.starts_with('.') || text.starts_with('\'')) {
        roff += "\\&";
    }
    for (const char c : text) {
        switch (c) {
        case '\\':
            roff += "\\e";
            break;
        case '-':
            roff += "\\-";
            break;
        case '\'':
            roff += "\\(aq";
            break;
        case '`':
            roff += "\\(ga";
            break;
        case '^':
            roff += "\\(ha";
            break;
        case '~':
            roff += "\\(ti";
            break;
        default:
            roff += c;
        }
    }
    return roff;
}

std::string Bold(std::string_view text) { return "\\fB" + Plain(text) + "\\fR"; }
std::string Italic(std::string_view text) { return "\\fI" + Plain(text) + "\\fR"; }

std::string Upper(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return text;
}

/// "orphia" or "orphia-render", with another sign between.
std::string NameOf(const CLI::App& app, char between) {
    return app.get_parent() == nullptr ? app.get_name()
                                       : app.get_parent()->get_name() + between + app.get_name();
}

std::vector<const CLI::Option*> OptionsOf(const CLI::App& app, bool arePositional) {
    return app.get_options([arePositional](const CLI::Option* option) {
        return !option->get_group().empty() && option->get_positional() == arePositional;
    });
}

/// "-o, --output FILE"
std::string OptionHead(const CLI::Option& option) {
    std::string head;
    const auto add = [&head](const std::string& name) { head += (head.empty() ? "" : ", ") + Bold(name); };
    for (const std::string& name : option.get_snames()) {
        add("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        add("--" + name);
    }
    // A set of values stands behind the name of their kind: "FORMAT:{16,24,float}".
    const std::string type = option.get_items_expected_max() > 0 ? option.get_type_name() : "";
    return head + (type.empty() ? "" : " " + Italic(type.substr(0, type.find(":{"))));
}

void AppendOptions(std::string& page, const CLI::App& app) {
    for (const CLI::Option* option : OptionsOf(app, true)) {
        page += fmt::format(".TP\n{}\n{}\n", Italic(option->get_name()), Plain(option->get_description()));
    }
    for (const CLI::Option* option : OptionsOf(app, false)) {
        page += fmt::format(".TP\n{}\n{}\n", OptionHead(*option), Plain(option->get_description()));
        for (const CLI::Option* needed : option->get_needs()) {
            page += fmt::format("(with {})\n", Bold(needed->get_name()));
        }
    }
}

void AppendSynopsis(std::string& page, const CLI::App& app) {
    page += fmt::format(".SH SYNOPSIS\n{} [\\fIOPTIONS\\fR]", Bold(NameOf(app, ' ')));
    for (const CLI::Option* option : OptionsOf(app, true)) {
        const bool areSeveral = option->get_expected_max() > 1;
        page += fmt::format(" [{}]{}", Italic(option->get_name()), areSeveral ? "..." : "");
    }
    page += app.get_require_subcommand_min() > 0 ? " \\fICOMMAND\\fR\n" : "\n";
}

void AppendCommands(std::string& page, const CLI::App& app) {
    const auto commands = app.get_subcommands({});
    page += commands.empty() ? "" : ".SH COMMANDS\n";
    for (const CLI::App* command : commands) {
        page += fmt::format(".TP\n\\fB{}\\fR(1)\n{}.\n", Plain(NameOf(*command, '-')),
                            Plain(command->get_description()));
    }
}

/// What stands in it before the first section is description, and left to the caller.
class Footer {
public:
    explicit Footer(const std::string& text) {
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            Add(line);
        }
        EndBlock();
    }

    const std::string& Introduction() const { return introduction; }
    const std::string& Sections() const { return sections; }

private:
    std::string& Target() { return sections.empty() ? introduction : sections; }
    void EndBlock() {
        Target() += isBlock ? ".EE\n" : "";
        isBlock = false;
    }
    void Add(const std::string& line) {
        const bool isIndented = line.starts_with(' ');
        if (!isIndented) {
            EndBlock();
        }
        if (isIndented) {
            Target() += isBlock ? "" : isUnderTitle ? ".EX\n" : ".PP\n.EX\n";
            isBlock = true;
            Target() += Plain(line.substr(line.find_first_not_of(' '))) + "\n";
        } else if (line.ends_with(':')) {
            sections += ".SH " + Upper(line.substr(0, line.size() - 1)) + "\n";
        } else if (!line.empty()) {
            Target() += (endsParagraph && !isUnderTitle ? ".PP\n" : "") + Plain(line) + "\n";
        }
        isUnderTitle = line.ends_with(':') && !isIndented;
        endsParagraph = line.empty() || isIndented;
    }

    std::string introduction;
    std::string sections;
    bool isBlock = false;
    bool isUnderTitle = false;
    bool endsParagraph = true;
};

void AppendOthers(std::string& page, const CLI::App& app) {
    const CLI::App& program = app.get_parent() != nullptr ? *app.get_parent() : app;
    std::string others = &program == &app ? "" : fmt::format("\\fB{}\\fR(1)", program.get_name());
    for (const CLI::App* command : program.get_subcommands({})) {
        if (command != &app) {
            others +=
                fmt::format("{}\\fB{}\\fR(1)", others.empty() ? "" : ",\n", Plain(NameOf(*command, '-')));
        }
    }
    page += others.empty() ? "" : ".SH SEE ALSO\n" + others + "\n";
}

} // namespace

std::string ManualPage(const CLI::App& app, const std::string& version, const std::string& date) {
    const std::string description = app.get_description();
    const Footer footer(app.get_footer());
    std::string page = fmt::format(".TH {} 1 {} \"Orphia VX {}\" \"User Commands\"\n",
                                   Upper(NameOf(app, '-')), date, version);
    page += fmt::format(".SH NAME\n{} \\- {}\n", Plain(NameOf(app, '-')), Plain(description));
    AppendSynopsis(page, app);
    page += fmt::format(".SH DESCRIPTION\n{}.\n{}", Plain(description), footer.Introduction());
    AppendCommands(page, app);
    page += ".SH OPTIONS\n";
    AppendOptions(page, app);
    page += footer.Sections();
    AppendOthers(page, app);
    return page;
}

void WriteManualPages(const CLI::App& program, const std::filesystem::path& folder,
                      const std::string& version, const std::string& date) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        throw host::FileError(fmt::format("{}: {}", host::TextOf(folder), error.message()));
    }
    std::vector<const CLI::App*> apps = program.get_subcommands({});
    apps.push_back(&program);
    for (const CLI::App* app : apps) {
        host::PendingFile file(folder / (NameOf(*app, '-') + ".1"));
        file.Write(ManualPage(*app, version, date));
        file.Commit();
    }
}

} // namespace orphia::tools
