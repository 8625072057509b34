// SPDX-License-Identifier: GPL-3.0-or-later
// What the command refuses: refusals.txt has a line of status, arguments and a part of the message for each.
#include "rigs/MidiSong.h"
#include "tools/CommandTest.h"

#include <algorithm>
#include <fstream>

namespace orphia::test {

namespace {

TEST_F(CommandTest, RefusesInOneLineWithTheReasonAndLeavesNothing) {
    WriteSound(folder / "voice.wav", Syllables(0.5));
    WriteSound(folder / "tone.wav", Sine(440.0, 0.5));
    WriteSound(folder / "cut.flac", Chord(3.0), SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    std::filesystem::resize_file(folder / "cut.flac",
                                 std::filesystem::file_size(folder / "cut.flac") / 4 * 3);
    WriteText(folder / "song.mid", Text(Song(0, 480, {At(0, {0x90, 69, 100}) + End(96)})));
    WriteText(folder / "cut.mid", ReadText(folder / "song.mid").substr(0, 26));
    WriteText(folder / "text.wav", "no audio at all, but long enough to look at");
    WriteText(folder / "broken.json", "{\n\"format\": ");
    std::filesystem::create_directory(folder / "folder.wav");
    std::filesystem::create_symlink("voice.wav", folder / "link.wav");
    WriteText(folder / "empty.wav", "");
    WriteSound(folder / "silent.wav", {44100, 2, {}});
    WriteSound(folder / "six.wav", Sine(300.0, 0.01, 44100, 6));
    WriteSound(folder / "slow.wav", Sine(3.0, 1.0, 100));
    const std::pair<std::string, std::string> files[] = {
        {"moves.csv", "render --midi song.mid --monitor carrier -o out.wav --automation "},
        {"own.json", "vocode voice.wav tone.wav -o out.wav --preset "}};
    std::ifstream lines(std::filesystem::path(ORPHIA_EXAMPLES) / "../tests/tools/refusals.txt");
    int count = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line.starts_with('#')) {
            continue;
        }
        SCOPED_TRACE(line);
        const std::size_t first = line.find(" | ");
        const std::size_t second = line.find(" | ", first + 3);
        ASSERT_NE(second, std::string::npos);
        std::string arguments = line.substr(first + 3, second - first - 3);
        for (const auto& [file, command] : files) {
            if (arguments.starts_with(file + ": ")) {
                std::replace(arguments.begin(), arguments.end(), ';', '\n');
                WriteText(folder / file, arguments.substr(file.size() + 2));
                arguments = command + file;
            }
        }
        const std::vector<std::string> before = folder.Names();
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(outcome.status, line[0] - '0') << outcome.err;
        EXPECT_EQ(outcome.out, "");
        EXPECT_TRUE(outcome.err.starts_with("orphia: "));
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        EXPECT_PRED2(Has, outcome.err, line.substr(second + 3));
        EXPECT_LT(outcome.err.size(), 500U);
        EXPECT_EQ(folder.Names(), before) << "files are left";
        ++count;
    }
    EXPECT_GE(count, 146);
}

} // namespace

} // namespace orphia::test
