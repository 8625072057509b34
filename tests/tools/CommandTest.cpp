// SPDX-License-Identifier: GPL-3.0-or-later
// What the command does and what it refuses, as a user would see it: runs.txt and refusals.txt have a line
// for each.
#include "rigs/MidiSong.h"
#include "rigs/SoundChecks.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <random>

namespace orphia::test {

namespace {

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

class CommandTest : public testing::Test {
protected:
    /// Files of which many lines speak. A tick of the song is a millisecond.
    CommandTest() {
        WriteSound(folder / "voice.wav", Syllables(0.5));
        WriteSound(folder / "tone.wav", Sine(440.0, 0.5));
        WriteSound(folder / "slow.wav", Sine(3.0, 1.0, 100));
        WriteSound(folder / "six.wav", Sine(440.0, 0.1, 44100, 6));
        WriteText(folder / "text.wav", "no audio at all, but long enough to look at");
        WriteText(folder / "song.mid", Text(Song(0, 500, {"on57 +800 off57 end"})));
    }

    /// Runs a shell line in the folder of the test, in which orphia is $ORPHIA and the example of a host
    /// $HOST.
    Outcome Shell(const std::string& command) const {
        const std::string line = "cd '" + folder.Path().string() + "' && ORPHIA='" + ORPHIA_COMMAND +
                                 "' HOST='" + ORPHIA_MINIMAL_HOST + "' ENGINE='" + ORPHIA_ENGINE_LIBRARY +
                                 "' EXAMPLES='" + ORPHIA_EXAMPLES + "'\n(" + command +
                                 "\n) >out.txt 2>err.txt </dev/null";
        const int result = std::system(line.c_str());
        Outcome outcome{WIFEXITED(result) ? WEXITSTATUS(result) : -1, ReadText(folder / "out.txt"),
                        ReadText(folder / "err.txt")};
        std::filesystem::remove(folder / "out.txt");
        std::filesystem::remove(folder / "err.txt");
        return outcome;
    }

    TemporaryFolder folder;
};

TEST_F(CommandTest, RunsDoAndTellWhatIsAskedFor) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> white(-0.5, 0.5);
    const double flat = 220.0 * std::exp2(-0.2 / 12.0);
    WriteSound(folder / "chord.wav", Chord(0.3));
    WriteSound(folder / "mono.flac", Sine(500.0, 0.5, 22050, 1), SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    WriteSound(folder / "fast.wav", Chord(0.5, 96000));
    WriteSound(folder / "low.flac", Sine(flat, 1.0, 96000, 1, 0.25), SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    WriteSound(folder / "noise.wav", Generate(1.0, 44100, 1, [&](double) { return white(random); }));
    WriteSound(folder / "click.wav", Sine(440.0, 0.0009));
    WriteSound(folder / "none.wav", Generate(0.1, 44100, 1, [](double) { return NAN; }));
    WriteSound(folder / "gap.wav", Generate(0.1, 44100, 2, [](double t) { return t < 0.01 ? NAN : 0.5; }));
    const auto rows = Table("tools/runs.txt");
    EXPECT_EQ(rows.size(), 86U);
    for (const auto& row : rows) {
        SCOPED_TRACE(row[1]);
        if (row[0] == "song") {
            WriteText(folder / row[1], Text(Song(0, 500, {row[2]})));
            continue;
        }
        const Outcome outcome = Shell("rm -f pipe.* out.wav; mkfifo pipe.wav pipe.json\n" + row[1]);
        EXPECT_EQ(outcome.status, std::stoi(row[0])) << outcome.err;
        if (const std::string checks = row.size() > 2 ? row[2] : ""; checks == "none") {
            EXPECT_FALSE(std::filesystem::exists(folder / "out.wav"));
        } else if (!checks.empty()) {
            const auto name = checks.substr(0, checks.find(' '));
            ExpectSound(ReadSound(folder / name), checks.substr(name.size()));
        }
        bool warns = false;
        for (const std::string& part : Split(row.size() > 3 ? row[3] : "", " ; ")) {
            const bool isInverted = part.starts_with('!');
            warns = warns || part.starts_with('~');
            const std::string text = isInverted || part.starts_with('~') ? part.substr(1) : part;
            EXPECT_EQ(Has(part.starts_with('~') ? outcome.err : outcome.out, text), !isInverted)
                << part << "\n"
                << outcome.out;
        }
        EXPECT_EQ(outcome.err.empty(), !warns) << outcome.err;
    }
}

TEST_F(CommandTest, WhatIsRefusedTellsTheReasonInOneLineAndLeavesNothing) {
    WriteSound(folder / "cut.flac", Chord(3.0), SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    std::filesystem::resize_file(folder / "cut.flac",
                                 std::filesystem::file_size(folder / "cut.flac") / 4 * 3);
    WriteText(folder / "cut.mid", ReadText(folder / "song.mid").substr(0, 26));
    WriteText(folder / "broken.json", "{\n\"format\": ");
    std::filesystem::create_directory(folder / "folder.wav");
    std::filesystem::create_symlink("voice.wav", folder / "link.wav");
    WriteText(folder / "empty.wav", "");
    WriteSound(folder / "silent.wav", {44100, 2, {}});
    const std::pair<std::string, std::string> files[] = {
        {"moves.csv", "render --midi song.mid --monitor carrier -o out.wav --automation "},
        {"own.json", "vocode voice.wav tone.wav -o out.wav --preset "}};
    const auto rows = Table("tools/refusals.txt");
    EXPECT_EQ(rows.size(), 152U);
    for (const auto& row : rows) {
        SCOPED_TRACE(row[1]);
        std::string arguments = row[1];
        for (const auto& [file, command] : files) {
            if (arguments.starts_with(file + ": ")) {
                std::replace(arguments.begin(), arguments.end(), ';', '\n');
                WriteText(folder / file, arguments.substr(file.size() + 2));
                arguments = command + file;
            }
        }
        const std::vector<std::string> before = folder.Names();
        const Outcome outcome = Shell("$ORPHIA " + arguments);
        EXPECT_EQ(outcome.status, std::stoi(row[0])) << outcome.err;
        EXPECT_EQ(outcome.out, "");
        EXPECT_TRUE(outcome.err.starts_with("orphia: ") && outcome.err.size() < 500);
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        EXPECT_PRED2(Has, outcome.err, row[2]);
        EXPECT_EQ(folder.Names(), before) << "files are left";
    }
}

} // namespace

} // namespace orphia::test
