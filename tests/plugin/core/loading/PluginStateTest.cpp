// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/PluginRig.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace orphia::test {

namespace {

using plugin::PluginParameters;

std::unique_ptr<PluginInstrument> Sounding(const std::string& state, double rate = pluginRate) {
    auto plugin = Plugin();
    EXPECT_TRUE(plugin->LoadState(state));
    plugin->Activate(rate);
    return plugin;
}

/// A sound of its own: a program, parameters in and out of the lists, a macro and a sample.
std::unique_ptr<PluginInstrument> Personal(const TemporaryFolder& folder) {
    WriteSound(folder / "beat.wav", Syllables(0.5));
    auto plugin = Plugin();
    EXPECT_TRUE(plugin->LoadProgram(3));
    plugin->Activate(pluginRate);
    EXPECT_TRUE(LoadNow(*plugin, {{2, folder / "beat.wav"}}));
    plugin->AssignMacro(15,
                        {"All", {{IdOf("Dst11_Src2_Amount"), 0.5F, 1.0F}, {IdOf("Osc1Coarse"), 0.4F, 0.6F}}});
    plugin->SetPosition(PluginParameters::firstMacro + 15, 0.3F);
    plugin->SetPosition(IdOf("Release"), 0.123F);
    plugin->SetPosition(IdOf("PatchBay_Analysis3_Synthesis5"), 0.7F);
    return plugin;
}

TEST(PluginState, ComesBackExactlyHoweverItWasSavedAndLoaded) {
    const TemporaryFolder folder;
    auto plugin = Personal(folder);
    const std::string state = plugin->SaveState();
    const std::vector<float> expected = Play(*Sounding(state), Notes());
    ASSERT_GT(Loudest(expected), 0.01F);
    // The one that it was saved from, which has not sounded yet; saved again before and after activation.
    EXPECT_TRUE(Play(*plugin, Notes()) == expected);
    EXPECT_EQ(Sounding(state)->SaveState(), state);
    EXPECT_EQ(plugin->SaveState(), state);
    auto fresh = Plugin();
    ASSERT_TRUE(fresh->LoadState(state));
    EXPECT_TRUE(Play(*Sounding(fresh->SaveState()), Notes()) == expected);
    // Loaded when active, and again at another rate and back.
    auto active = Plugin();
    active->Activate(44100.0);
    ASSERT_TRUE(active->LoadState(state));
    active->Activate(pluginRate);
    EXPECT_TRUE(Play(*active, Notes()) == expected);
    // While another sound plays: when that has faded, there is nothing else.
    auto other = Plugin();
    other->Activate(pluginRate);
    Play(*other, 48 * 64);
    ASSERT_TRUE(other->LoadState(state));
    PluginSong silence;
    silence.frames = 48 * 100;
    silence.voice.samples.assign(silence.voice.samples.size(), 0.0F);
    const auto alone = Sounding(state);
    const auto there = Play(*alone, silence), here = Play(*other, silence);
    EXPECT_TRUE(std::equal(there.begin() + 2 * 2000, there.end(), here.begin() + 2 * 2000));
    EXPECT_TRUE(Play(*alone, Notes()) == Play(*other, Notes()));
}

TEST(PluginState, ThatNoBlockHasTakenGivesWayToTheOneBehindIt) {
    auto plugin = Plugin();
    plugin->Activate(pluginRate);
    plugin->LoadProgram(7);
    const std::string last = plugin->SaveState();
    plugin->LoadProgram(5);
    plugin->Deactivate();
    ASSERT_TRUE(plugin->LoadState(last));
    plugin->Activate(pluginRate);
    plugin->SetPosition(IdOf("MasterVolume"), 0.5F);
    const auto alone = Sounding(last);
    alone->SetPosition(IdOf("MasterVolume"), 0.5F);
    EXPECT_TRUE(Play(*alone, Notes()) == Play(*plugin, Notes()));
    EXPECT_EQ(plugin->SaveState(), alone->SaveState());
}

TEST(PluginState, IsSavedWhileItLoadsAndWhileItSoundsAndWaitsForNothingLong) {
    auto plugin = Plugin();
    plugin->Activate(pluginRate);
    const std::string first = plugin->SaveState();
    plugin->LoadProgram(5);
    const std::string second = plugin->SaveState();
    std::atomic<bool> ends{false};
    std::thread audio([&] {
        while (!ends) {
            Play(*plugin, 480);
        }
    });
    std::thread loads([&] {
        for (unsigned round = 0; round < 6; ++round) {
            EXPECT_TRUE(plugin->LoadState(round % 2 == 0 ? first : second));
        }
        ends = true;
    });
    while (!ends) {
        const auto start = std::chrono::steady_clock::now();
        const std::string saved = plugin->SaveState();
        EXPECT_TRUE(saved == first || saved == second);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    }
    loads.join();
    audio.join();
    EXPECT_EQ(plugin->SaveState(), second);
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    const auto at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

TEST(PluginState, OfOtherVersionsGivesWhatIsKnownAndOfNonsenseNothing) {
    const TemporaryFolder folder;
    const std::string state = Personal(folder)->SaveState();
    struct Case {
        std::string text;
        bool isTaken;
        const char* said;
    };
    const std::string newer = Replaced(state, "\"version\": 1", "\"version\": 7");
    const Case cases[] = {
        {newer, true, "version 7"},
        {Replaced(newer, "\"Release\": \"", "\"Release\": \"1 furlong "), true, "Release"},
        {Replaced(newer, "\"tags\": [", "\"tags\": [5, "), true, "version 7"},
        {Replaced(newer, "\"Release\": ", "\"Hyperdrive\": true, \"Release\": "), true, "Hyperdrive"},
        {Replaced(state, "\"plugin\"", "\"other\""), true, ""},
        {Replaced(state, "Dst11_Src2_Amount\",\n", "Dst11_Src2_Hue\",\n"), true, "macro 16"},
        {Replaced(state, (folder / "beat.wav").string(), "/nowhere/beat.wav"), true, "/nowhere/beat.wav"},
        {"", false, "line 1"},
        {"[]", false, "no preset"},
        {state.substr(0, state.size() / 2), false, "line"},
    };
    for (const Case& each : cases) {
        auto plugin = Plugin();
        plugin->Activate(pluginRate);
        const std::string before = plugin->SaveState();
        EXPECT_EQ(plugin->LoadState(each.text), each.isTaken);
        std::string said;
        for (const std::string& message : plugin->TakeMessages()) {
            said += message + "\n";
        }
        EXPECT_PRED2(Has, said, each.said);
        EXPECT_EQ(plugin->SaveState() == before, !each.isTaken);
        EXPECT_TRUE(!each.isTaken || plugin->Position(IdOf("Osc1Coarse")) != 0.5F);
    }
}

TEST(PluginState, AMissingSampleKeepsItsPathAndPathsGoThroughTheHost) {
    const TemporaryFolder folder;
    const std::string path = (folder / "beat.wav").string();
    auto plugin = Personal(folder);
    const plugin::PathMapping mapping{
        [](const std::filesystem::path& file) { return "x:" + file.filename().string(); },
        [&](const std::string& text) { return folder / text.substr(2); }};
    const std::string mapped = plugin->SaveState(mapping), plain = plugin->SaveState();
    EXPECT_PRED2(Has, mapped, "x:beat.wav");
    EXPECT_FALSE(Has(mapped, path));
    auto other = Plugin();
    other->Activate(pluginRate);
    EXPECT_TRUE(other->LoadState(mapped, mapping));
    EXPECT_EQ(other->SaveState(), plain);
    std::filesystem::rename(folder / "beat.wav", folder / "gone.wav");
    auto missing = Sounding(plain);
    EXPECT_EQ(missing->SaveState(), plain);
    EXPECT_EQ(missing->SamplePath(2), path);
    EXPECT_FALSE(LoadNow(*missing, {{3, folder / "none.wav"}}));
    EXPECT_EQ(missing->SaveState(), plain);
    EXPECT_FALSE(LoadNow(*missing, {{5, folder / "none.wav"}, {6, folder / "gone.wav"}}));
    EXPECT_EQ(missing->Position(IdOf("Modulator_Sample6_Loaded")), 0.0F);
    EXPECT_EQ(missing->Position(IdOf("Modulator_Sample7_Loaded")), 1.0F);
    EXPECT_TRUE(LoadNow(*missing, {{2, folder / "gone.wav"}, {5, {}}, {6, {}}}));
    EXPECT_EQ(missing->SamplePath(2), folder / "gone.wav");
    EXPECT_TRUE(missing->SamplePath(6).empty());
    // What comes with the program needs neither path nor host.
    const std::vector<PluginInstrument::Program> programs = other->Programs();
    const auto drums = std::find_if(programs.begin(), programs.end(),
                                    [](const auto& each) { return each.id == "drummed-chords"; });
    EXPECT_TRUE(other->LoadProgram(static_cast<std::uint32_t>(drums - programs.begin())));
    const std::string shipped = other->SaveState(mapping);
    EXPECT_PRED2(Has, shipped, "\"factory:presets/samples/beat.flac\"");
    EXPECT_TRUE(missing->LoadState(shipped, mapping));
    EXPECT_TRUE(std::filesystem::exists(missing->SamplePath(0)));
}

TEST(PluginControllers, MoveWhatTheyWereTaughtAreToldToTheHostAndKeptInTheState) {
    const std::uint32_t wet = IdOf("BodeVocoder_Wet"), macro = PluginParameters::firstMacro + 4;
    auto plugin = Plugin();
    plugin->Activate(pluginRate);
    plugin::MidiLearn& learn = plugin->Controllers();
    PluginSong song;
    song.frames = 4800;
    const auto move = [&](std::uint8_t controller, std::uint8_t value) {
        song.events = {{100, host::MidiMessage{0xB3, controller, value}}};
        plugin->TakeChangedParameters();
        Play(*plugin, song);
        return plugin->TakeChangedParameters();
    };
    const auto has = [](const std::vector<std::uint32_t>& ids, std::uint32_t id) {
        return std::find(ids.begin(), ids.end(), id) != ids.end();
    };
    // Banks and registered parameters are passed over, lights cannot be moved.
    EXPECT_FALSE(learn.Wait(IdOf("BodeVocoder_HissLED")));
    EXPECT_FALSE(learn.Wait(PluginParameters::bypass));
    EXPECT_TRUE(learn.Wait(wet));
    for (const int taken : {0, 6, 32, 38, 98, 101, 121}) {
        move(static_cast<std::uint8_t>(taken), 0);
        EXPECT_EQ(learn.WaitsFor(), wet) << taken;
    }
    EXPECT_TRUE(has(move(21, 127), wet));
    EXPECT_EQ(learn.WaitsFor(), std::nullopt);
    EXPECT_EQ(plugin->Position(wet), 1.0F);
    EXPECT_TRUE(has(move(21, 0), wet));
    EXPECT_EQ(plugin->Position(wet), 0.0F);
    // Another controller takes its place; one for a macro moves what that moves.
    EXPECT_TRUE(learn.Wait(wet));
    move(22, 64);
    EXPECT_FALSE(has(move(21, 127), wet));
    plugin->AssignMacro(4, {"", {{IdOf("Release"), 0.0F, 0.5F}}});
    EXPECT_TRUE(learn.Wait(macro));
    EXPECT_TRUE(has(move(1, 127), macro));
    EXPECT_EQ(plugin->Position(IdOf("Release")), 0.5F);
    const plugin::MidiLearn::Assignments taught = {{1, macro}, {22, wet}};
    EXPECT_EQ(learn.All(), taught);
    // They come back with the state; a preset leaves them.
    const std::string state = plugin->SaveState();
    auto other = Sounding(state);
    EXPECT_EQ(other->Controllers().All(), taught);
    EXPECT_TRUE(other->LoadProgram(4));
    EXPECT_EQ(other->Controllers().All(), taught);
    EXPECT_TRUE(other->LoadState(Plugin()->SaveState()));
    EXPECT_TRUE(other->Controllers().All().empty());
    EXPECT_TRUE(other->LoadState(Replaced(state, "\"22\"", "\"32\"")));
    EXPECT_EQ(other->Controllers().ControllerOf(wet), std::nullopt);
    EXPECT_EQ(other->Controllers().ControllerOf(macro), 1U);
    learn.Forget(22);
    EXPECT_FALSE(has(move(22, 0), wet));
}

/// The largest step from sample to sample.
float Roughness(const std::vector<float>& sound, std::size_t from, std::size_t to) {
    float largest = 0.0F;
    for (std::size_t n = from; n < std::min(to, sound.size() - 2); ++n) {
        largest = std::max(largest, std::abs(sound[n + 2] - sound[n]));
    }
    return largest;
}

TEST(PluginPrograms, ChangeByMessageWithBanksWithoutClickOrHangAndOfflineAtTheirFrame) {
    const TemporaryFolder folder;
    auto writer = Plugin(folder.Path());
    writer->SetPosition(IdOf("Osc1Coarse"), 0.25F);
    EXPECT_FALSE(writer->SaveProgram("../mine", "No"));
    ASSERT_TRUE(writer->SaveProgram("mine", "My own"));
    for (const bool isOffline : {false, true}) {
        auto plugin = Plugin(folder.Path());
        const auto programs = plugin->Programs();
        EXPECT_EQ(programs.back().name, "My own");
        plugin->SetOffline(isOffline);
        plugin->Activate(pluginRate);
        PluginSong song = Notes();
        song.events = {song.events[0],
                       song.events[1],
                       {12000, host::MidiMessage{0xB0, 32, 1}},
                       {12000, host::MidiMessage{0xC0, 0, 0}}};
        const auto sound = Play(*plugin, song);
        for (int wait = 0; wait < 200 && !plugin->TakeProgramChange(); ++wait) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        EXPECT_EQ(plugin->CurrentProgram(), programs.size() - 1);
        EXPECT_EQ(plugin->Position(IdOf("Osc1Coarse")), 0.25F);
        const auto changes = plugin->TakeChangedParameters();
        EXPECT_NE(std::find(changes.begin(), changes.end(), IdOf("Osc1Coarse")), changes.end());
        // The keys that were down are forgotten, and the sound goes down evenly.
        PluginSong later;
        later.voice.samples.assign(later.voice.samples.size(), 0.0F);
        auto after = sound;
        const auto more = Play(*plugin, later);
        after.insert(after.end(), more.begin(), more.end());
        EXPECT_LT(Roughness(after, 2 * 11000, after.size()), 1.2F * Roughness(after, 0, 2 * 11000));
        EXPECT_LT(Loudest({after.end() - 2000, after.end()}), 1e-4F);
        if (isOffline) {
            auto again = Plugin(folder.Path());
            again->SetOffline(true);
            again->Activate(pluginRate);
            EXPECT_TRUE(Play(*again, song, 4096) == sound);
        }
    }
}

TEST(PluginMacros, MoveWhatTheyAreAssignedToAndTellTheHost) {
    auto plugin = Plugin();
    plugin->Activate(pluginRate);
    Play(*plugin, 64);
    plugin->TakeChangedParameters();
    plugin->AssignMacro(0, {"", {{IdOf("Release"), 1.0F, 0.0F}, {IdOf("Dst11_Src2_Amount"), 0.5F, 1.0F}}});
    PluginSong song;
    song.frames = 9600;
    // The host's own moves are not told; a message that moves a parameter is.
    song.events = {Turn(0, IdOf("Attack"), 0.3F),
                   Turn(100, PluginParameters::firstMacro, 0.25F),
                   {200, host::MidiMessage{0xB0, 101, 0}},
                   {200, host::MidiMessage{0xB0, 100, 0}},
                   {200, host::MidiMessage{0xB0, 6, 12}}};
    Play(*plugin, song);
    EXPECT_EQ(plugin->Position(IdOf("Release")), 0.75F);
    EXPECT_EQ(plugin->Position(IdOf("Dst11_Src2_Amount")), 0.625F);
    EXPECT_EQ(PluginParameters::Get().Text(IdOf("PitchBendRange"), plugin->Position(IdOf("PitchBendRange"))),
              "12 st");
    EXPECT_EQ(plugin->TakeChangedParameters(),
              (std::vector<std::uint32_t>{IdOf("Release"), IdOf("PitchBendRange")}));
    plugin->SetPosition(PluginParameters::firstMacro, 1.0F);
    Play(*plugin, 64);
    EXPECT_EQ(plugin->Position(IdOf("Release")), 0.0F);
}

} // namespace

} // namespace orphia::test
