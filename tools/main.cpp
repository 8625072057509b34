// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/common/Errors.h"
#include "host/common/Files.h"
#include "support/platform/Process.h"
#include "tools/help/Completion.h"
#include "tools/help/ManualPages.h"
#include "tools/help/ToldOptions.h"
#include "tools/lists/ListCommands.h"
#include "tools/sample/SampleCommand.h"
#include "tools/songs/PlayCommand.h"
#include "tools/songs/RenderCommand.h"
#include "tools/terminal/Command.h"
#include "tools/terminal/Terminal.h"
#include "tools/vocode/VocodeCommand.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace orphia;

constexpr int fileStatus = 1;
constexpr int usageStatus = 2;
constexpr int signalStatus = 128;
constexpr std::uintmax_t longestTold = 1U << 20U;

constexpr std::string_view footer =
    "A parameter is named by its full path or by any ending of it that is clear: Wet, ProgramLevel, "
    "GainBand3. A value\n"
    "has its unit, \"-12 dB\", \"5 ms\", \"1.2 kHz\", 1/8, on, or is a knob position, \"40 %\" or @0.4.\n"
    "orphia COMMAND --help tells the options of a command.\n\n"
    "Example:\n"
    "  orphia render --voice voice.wav --midi song.mid --preset talking-pad -o out.wav\n\n"
    "Exit status:\n"
    "  0     done\n"
    "  1     a file could not be read or written\n"
    "  2     the command line was wrong\n"
    "  128+  a signal ended the run\n\n"
    "Environment:\n"
    "  ORPHIA_ENGINE  the engine's library, where --engine names none\n"
    "  XDG_DATA_HOME  in place of ~/.local/share, for presets of your own\n\n"
    "Files:\n"
    "  ~/.local/share/Velmora/Orphia VX/Presets   presets of your own";
constexpr std::string_view batchFooter =
    "It is done by the Python package orphia, whose options orphia batch --help tells.\n\n"
    "Example:\n"
    "  orphia batch corpus/ -o results/ --preset talking-pad --midi song.mid --jobs 2";

int Fail(std::string_view message, int status) {
    fmt::print(stderr, "orphia: {}\n", tools::LineOf(message));
    return status;
}

int FailWith(const std::exception& error) {
    if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) {
        return Fail("out of memory", fileStatus);
    }
    const bool isUsage = dynamic_cast<const host::UsageError*>(&error) != nullptr;
    return Fail(error.what(), isUsage ? usageStatus : fileStatus);
}

int RunChosen(const std::vector<std::unique_ptr<tools::Command>>& commands) {
    try {
        for (const auto& command : commands) {
            if (command->Line().parsed()) {
                command->Run();
            }
        }
        if (std::fflush(stdout) != 0) {
            return tools::StopSignal() != 0 ? signalStatus + tools::StopSignal()
                                            : Fail("the standard output cannot be written", fileStatus);
        }
        return 0;
    } catch (const std::exception& error) {
        // A read that was interrupted, or printing into a closed pipe: the signal says it all.
        return tools::StopSignal() != 0 ? signalStatus + tools::StopSignal() : FailWith(error);
    }
}

/// Whole folders are the work of the Python package, which is there or not. Returns only when it cannot.
int RunBatch(const std::vector<std::string>& words) {
    const std::string program =
        "import sys\n"
        "try:\n"
        "    from orphia.__main__ import main\n"
        "except ImportError as error:\n"
        "    print(f'orphia: batch needs the Python package (python3-orphia, or scripts/python): '\n"
        "          f'{error}', file=sys.stderr)\n"
        "    sys.exit(1)\n"
        "sys.exit(main())\n";
    std::vector<std::string> command{"python3", "-c", program};
    command.insert(command.end(), words.begin(), words.end());
    Velmora::Platform::ReplaceByProgram(std::move(command));
    return Fail("batch needs python3", fileStatus);
}

/// What the build and the scripts of the shells ask for, and nobody else: the folder and the date of the
/// manual, with what the Python package tells of batch, and words to complete. Nothing when it is neither.
std::optional<int> RunHidden(CLI::App& program, const std::vector<std::unique_ptr<tools::Command>>& commands,
                             const std::vector<std::string>& words) {
    try {
        if (words.size() >= 3 && words.size() <= 4 && words[0] == "manual") {
            if (words.size() == 4) {
                tools::DeclareAsTold(*program.get_subcommand("batch"),
                                     host::ReadWholeFile(words[3], longestTold, "list of options"));
            }
            tools::WriteManualPages(program, words[1], ORPHIA_VERSION, words[2]);
            return 0;
        }
        if (!words.empty() && words[0] == "complete") {
            tools::PrintCompletion(tools::Complete(program, commands, std::span(words).subspan(1)));
            return 0;
        }
        return std::nullopt;
    } catch (const std::exception& error) {
        return FailWith(error);
    }
}

/// Also what completes a word behind it.
bool IsBatch(std::span<const std::string> words) {
    return !words.empty() &&
           (words[0] == "batch" || (words.size() > 2 && words[0] == "complete" && words[1] == "batch"));
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> words = Velmora::Platform::Arguments(argc, argv);
    words.erase(words.begin(), words.begin() + (words.empty() ? 0 : 1));
    if (IsBatch(words)) {
        return RunBatch(words);
    }
    Velmora::Platform::WatchStopSignals();
    CLI::App app{"Orphia VX, a sixteen-band vocoder instrument", "orphia"};
    app.set_version_flag("--version", "orphia " ORPHIA_VERSION);
    app.require_subcommand(1);
    app.footer(std::string(footer));
    std::vector<std::unique_ptr<tools::Command>> commands;
    commands.push_back(std::make_unique<tools::RenderCommand>(app));
    commands.push_back(std::make_unique<tools::VocodeCommand>(app));
    commands.push_back(std::make_unique<tools::PlayCommand>(app));
    commands.push_back(std::make_unique<tools::SampleCommand>(app));
    commands.push_back(std::make_unique<tools::ParamsCommand>(app));
    commands.push_back(std::make_unique<tools::PresetsCommand>(app));
    commands.push_back(std::make_unique<tools::InfoCommand>(app));
    // For the lists; it has run above.
    app.add_subcommand("batch", "Render whole folders")->footer(std::string(batchFooter));
    if (const auto status = RunHidden(app, commands, words)) {
        return *status;
    }
    const auto isNamed = [&words](const CLI::App* command) { return command->check_name(words.front()); };
    if (!words.empty() && !words.front().starts_with('-') && app.get_subcommands(isNamed).empty()) {
        return Fail(fmt::format("unknown command '{}'; see orphia --help", host::Excerpt(words.front())),
                    usageStatus);
    }
    try {
        // The parser takes them from the end.
        app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error); // prints help or version
        }
        return Fail(std::string(error.what()) + "; see orphia --help", usageStatus);
    }
    return RunChosen(commands);
}
