// SPDX-License-Identifier: GPL-3.0-or-later
// What of the page of samples needs no screen.
#include "dsp/sampler/PlayRange.h"
#include "host/parts/SampleReport.h"
#include "plugin/PluginRig.h"
#include "plugin/panel/model/PanelModel.h"
#include "plugin/panel/model/samples/PeakTable.h"
#include "plugin/panel/model/samples/SampleEdges.h"
#include "plugin/panel/model/samples/SampleFiles.h"
#include "plugin/panel/model/samples/SampleLayout.h"
#include "plugin/panel/model/samples/SampleShelf.h"
#include "plugin/panel/model/samples/SampleSlots.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <random>
#include <thread>

namespace orphia::test {

using namespace panel;

namespace {

/// Waits for a thread that reads.
template <class F>
auto Until(F&& ask) {
    auto answer = ask();
    for (int n = 0; n < 20000 && !answer; ++n) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        answer = ask();
    }
    return answer;
}

void WriteBeats(const TemporaryFolder& folder, const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        std::filesystem::create_directories((folder / name).parent_path());
        WriteSound(folder / name, Syllables(0.1));
    }
}

SampleEdges RandomEdges(std::mt19937& random) {
    std::uniform_real_distribution<float> place(0.0F, 1.0F);
    SampleEdges edges;
    for (float& value : edges.values) {
        value = place(random);
    }
    if (edges.values[0] > edges.values[1]) {
        std::swap(edges.values[0], edges.values[1]);
    }
    edges.isLooped = true;
    edges.isReversed = random() % 2 == 0;
    edges.turnsRound = random() % 2 == 0;
    return edges;
}

} // namespace

TEST(PeakTable, HoldsWhatSoundsAndLittleMoreHoweverLongAndHoweverItComes) {
    std::mt19937 random(3);
    std::uniform_real_distribution<float> white(-1.0F, 1.0F);
    for (const std::size_t frames : {1U, 7U, 4095U, 4096U, 4097U, 12289U, 100003U}) {
        std::vector<float> samples(2 * frames);
        std::ranges::generate(samples, [&] { return white(random); });
        PeakTable table;
        for (std::size_t at = 0; at < frames;) {
            const std::size_t count = std::min<std::size_t>(frames - at, 1 + random() % 5000);
            table.Add(samples.data() + 2 * at, count);
            at += count;
        }
        table.Finish();
        ASSERT_EQ(table.Frames(), frames);
        EXPECT_LE(table.Pieces(), PeakTable::mostPieces);
        EXPECT_GE(table.Pieces(), std::min(frames, PeakTable::mostPieces / 2));
        const auto highest = [&](std::size_t from, std::size_t to) {
            return *std::max_element(samples.begin() + static_cast<std::ptrdiff_t>(2 * from),
                                     samples.begin() + static_cast<std::ptrdiff_t>(2 * std::min(to, frames)));
        };
        const std::size_t piece = frames / (PeakTable::mostPieces / 2) + 1;
        const auto whole = static_cast<double>(frames);
        for (int n = 0; n < 300; ++n) {
            const std::size_t from = random() % frames;
            const std::size_t to = std::min(frames, from + 1 + random() % (5 * piece));
            const float high =
                table.Between(static_cast<double>(from) / whole, static_cast<double>(to) / whole).high;
            EXPECT_LE(high, highest(from - std::min(from, piece), to + piece));
            if (to > from + 2 * piece) {
                EXPECT_GE(high, highest(from, to - piece));
            }
        }
    }
}

/// The engine rounds to frames, and nothing of it gets shorter than a millisecond.
TEST(SampleEdges, ShowWhatTheEnginePlays) {
    std::mt19937 random(5);
    constexpr Velmora::u32 frames = 1000000;
    const Velmora::dsp::SampleData sample(std::vector<float>(frames), 44100.0F, {});
    for (int n = 0; n < 2000; ++n) {
        const SampleEdges edges = RandomEdges(random);
        const auto& value = edges.values;
        Velmora::dsp::PlayRange range;
        range.turnsRound = edges.turnsRound;
        const Velmora::dsp::PlayRange::Controls controls{value[0], value[1], value[2], value[3], value[4]};
        range.SetTrim(sample, controls, 48000.0F);
        range.SetLoop(controls, edges.isReversed);
        const auto near = [](Velmora::u32 engine, float shown) {
            EXPECT_NEAR(static_cast<double>(engine) / frames, static_cast<double>(shown), 1e-4);
        };
        near(range.trimStart, edges.First());
        near(range.trimStop, edges.Last());
        near(range.loopStart, edges.LoopFirst());
        near(range.loopStop, edges.LoopLast());
        EXPECT_NEAR(static_cast<double>(range.crossFadeLength) / frames,
                    static_cast<double>(edges.FadeLength()), 2e-4);
    }
}

TEST(SampleEdges, AreTakenWhereTheyAreShownAndNeverPassEachOther) {
    std::mt19937 random(8);
    std::uniform_real_distribution<float> place(-0.3F, 1.3F);
    constexpr float width = 868.0F;
    constexpr float height = 190.0F;
    for (int n = 0; n < 2000; ++n) {
        SampleEdges edges = RandomEdges(random);
        for (int move = 0; move < 20; ++move) {
            const auto edge = static_cast<SampleEdges::Edge>(random() % SampleEdges::Count);
            edges.values.at(edge) = edges.Moved(edge, place(random));
            EXPECT_LE(edges.values[SampleEdges::TrimStart], edges.values[SampleEdges::TrimStop]);
            EXPECT_LE(edges.LoopFirst(), edges.LoopLast());
        }
        for (std::size_t each = 0; each < SampleEdges::Count; ++each) {
            const auto edge = static_cast<SampleEdges::Edge>(each);
            const SampleEdges::Place at = edges.PlaceOf(edge, width, height);
            bool isAlone = true;
            for (std::size_t other = 0; other < SampleEdges::Count; ++other) {
                const float x = edges.PlaceOf(static_cast<SampleEdges::Edge>(other), width, height).x;
                isAlone &= other == each || std::fabs(x - at.x) > 2.5F * SampleEdges::reach;
            }
            if (isAlone) {
                EXPECT_EQ(edges.At(at, width, height), edge);
                const float wanted = edges.PlaceAlong(edge);
                EXPECT_NEAR(edges.Moved(edge, wanted), edges.values.at(edge),
                            edge == SampleEdges::CrossFade ? 1e-3F : 1.0F);
            }
        }
        edges.isLooped = false;
        const auto below = edges.At(edges.PlaceOf(SampleEdges::LoopStart, width, height), width, height);
        EXPECT_TRUE(!below || *below <= SampleEdges::TrimStop);
    }
    // Both at one place: each is pulled away to its own side.
    SampleEdges closed;
    closed.values = {0.5F, 0.5F, 0.0F, 1.0F, 0.0F};
    EXPECT_EQ(closed.At({width / 2.0F - 3.0F, 5.0F}, width, height), SampleEdges::TrimStart);
    EXPECT_EQ(closed.At({width / 2.0F + 3.0F, 5.0F}, width, height), SampleEdges::TrimStop);
    EXPECT_EQ(closed.At({width / 4.0F, 5.0F}, width, height), std::nullopt);
}

TEST(SampleFiles, OfAFolderFillWhatIsFreeInOrderOfName) {
    const TemporaryFolder folder;
    WriteBeats(folder, {"take 10.wav", "take 2.wav", "Take 1.WAV", "below/deep.wav", "b/x.flac"});
    WriteText(folder / "notes.txt", "no sound");
    const auto fill = FillWith({folder.Path()}, 0, {1});
    EXPECT_EQ(
        fill.paths,
        (SamplePaths{{0, folder / "Take 1.WAV"}, {2, folder / "take 2.wav"}, {3, folder / "take 10.wav"}}));
    EXPECT_EQ(fill.leftOut, 0U);
    std::set<std::uint32_t> taken;
    for (std::uint32_t n = 0; n < 11; ++n) {
        taken.insert(n);
    }
    const auto crowded = FillWith({folder / "b", folder.Path()}, 4, taken);
    EXPECT_EQ(crowded.paths, (SamplePaths{{11, folder / "b/x.flac"}}));
    EXPECT_EQ(crowded.leftOut, 3U);
    const auto several =
        FillWith({folder / "take 2.wav", folder / "notes.txt", folder / "take 10.wav"}, 11, {0});
    EXPECT_EQ(several.paths, (SamplePaths{{11, folder / "take 2.wav"}, {1, folder / "take 10.wav"}}));
    EXPECT_EQ(FillWith({folder / "take 2.wav"}, 5, {5}).paths, (SamplePaths{{5, folder / "take 2.wav"}}));
    EXPECT_TRUE(FillWith({folder / "none"}, 5, {}).paths.contains(5)) << "what is wrong with it is told";
}

TEST(SampleFiles, ThatAreMissingAreFoundBesideOneThatWasFound) {
    const TemporaryFolder folder;
    WriteBeats(folder, {"new/kit/renamed.wav", "new/kit/b.wav", "new/hats/c.wav", "new/kit/d.wav"});
    const SamplePaths missing{{1, "/old/kit/a.wav"},
                              {2, "/old/kit/b.wav"},
                              {4, "/old/hats/c.wav"},
                              {6, "/elsewhere/d.wav"},
                              {7, "/old/kit/e.wav"}};
    EXPECT_EQ(FindMissing(1, folder / "new/kit/renamed.wav", missing),
              (SamplePaths{{1, folder / "new/kit/renamed.wav"},
                           {2, folder / "new/kit/b.wav"},
                           {4, folder / "new/hats/c.wav"},
                           {6, folder / "new/kit/d.wav"}}));
}

TEST(SampleShelf, ReadsInItsOwnTimeAndAgainWhatHasChanged) {
    const TemporaryFolder folder;
    WriteSound(folder / "a.wav", Sine(220.0, 1.0));
    WriteText(folder / "b.wav", "no sound");
    SampleShelf shelf;
    const auto find = [&](const char* name) { return Until([&] { return shelf.Find(folder / name); }); };
    const auto sound = find("a.wav");
    ASSERT_NE(sound, nullptr);
    EXPECT_EQ(sound->Seconds(), 1.0);
    EXPECT_NEAR(sound->peaks.Between(0.0, 1.0).high, 0.5F, 1e-3F);
    EXPECT_EQ(shelf.Find(folder / "a.wav"), sound) << "is kept";
    EXPECT_FALSE(find("b.wav")->problem.empty());
    EXPECT_FALSE(find("none.wav")->problem.empty());
    const auto pitch = Until([&] { return shelf.FindPitch(folder / "a.wav"); });
    ASSERT_TRUE(pitch && *pitch);
    EXPECT_NEAR(**pitch, 220.0, 1.0);
    EXPECT_FALSE(*Until([&] { return shelf.FindPitch(folder / "b.wav"); }));
    WriteSound(folder / "a.wav", Sine(220.0, 2.0));
    EXPECT_EQ(find("a.wav")->Seconds(), 2.0);
}

TEST(SampleShelf, LeavesWhatIsStillReadWhenItGoes) {
    struct Endless final : host::AudioSource {
        std::uint32_t SampleRate() const override { return 48000; }
        std::uint64_t ExpectedFrames() const override { return endless; }
        std::size_t Read(std::span<float> samples) override {
            EXPECT_LT(++reads, 5);
            std::ranges::fill(samples, 0.25F);
            return reads < 100 ? samples.size() / channelCount : 0;
        }
        int reads = 0;
    };
    const auto threeTimes = [left = 3]() mutable { return left-- > 0; };
    Endless picture;
    EXPECT_FALSE(PeakTable().Read(picture, threeTimes));
    Endless pitch;
    EXPECT_FALSE(host::FindPitch(pitch, threeTimes));
    EXPECT_EQ(pitch.reads, 3);
}

/// A panel's model and its samples.
struct SampleShow {
    SampleShow() { plugin->Activate(pluginRate); }

    /// What is told when all is there.
    std::string Told() {
        WaitForLoads(*plugin);
        model.Tick(0.01);
        return model.notice;
    }
    std::string Drop(const std::vector<std::filesystem::path>& files, std::uint32_t sample) {
        slots.Drop(files, sample);
        return Told();
    }
    void Undo() {
        model.Undo();
        WaitForLoads(*plugin);
    }
    float Edge(std::uint32_t sample, SampleEdges::Edge edge) const {
        return slots.EdgesOf(sample).values.at(edge);
    }

    std::unique_ptr<PluginInstrument> plugin = Plugin();
    PanelModel model{*plugin, {}};
    SampleSlots slots{*plugin, model.history};
};

TEST(SampleSlots, LoadWholeMoveAndAreTakenBack) {
    const TemporaryFolder folder;
    WriteBeats(folder, {"1.wav", "2.wav"});
    WriteText(folder / "no.wav", "no sound");
    SampleShow show;
    SampleSlots& slots = show.slots;
    const std::string empty = show.plugin->SaveState();
    EXPECT_PRED2(Has, show.Drop({folder / "no.wav"}, 3), "no.wav: ");
    EXPECT_FALSE(show.model.history.CanUndo());
    slots.Move(3, SampleEdges::TrimStart, 0.25F);
    EXPECT_EQ(slots.Drop({folder / "1.wav"}, 3).line, "Reading 1.wav");
    EXPECT_EQ(show.Told(), "Sample 4 is 1.wav");
    EXPECT_TRUE(slots.IsLoaded(3));
    EXPECT_EQ(show.Edge(3, SampleEdges::TrimStart), 0.0F) << "of the sound before";
    EXPECT_EQ(show.Drop({folder.Path()}, 3),
              "Samples 5 to 6 are loaded; " + show.Drop({folder / "no.wav"}, 0));
    EXPECT_EQ(slots.Taken(), (std::set<std::uint32_t>{3, 4, 5}));
    slots.Move(4, SampleEdges::LoopStop, 0.5F);
    Play(*show.plugin, 2000);
    EXPECT_EQ(show.Edge(4, SampleEdges::LoopStop), 0.5F);
    ASSERT_TRUE(slots.SetRoot(4, 440.0));
    EXPECT_NEAR(plugin::PluginParameters::Get().ToValue(SampleSlots::RootId(4),
                                                        show.plugin->Position(SampleSlots::RootId(4))),
                440.0F, 0.01F);
    slots.Clear(4);
    EXPECT_EQ(show.Told(), "Sample 5 is empty");
    EXPECT_FALSE(slots.IsLoaded(4));
    show.Undo();
    EXPECT_TRUE(slots.IsLoaded(4));
    EXPECT_EQ(show.Edge(4, SampleEdges::LoopStop), 0.5F);
    while (show.model.history.CanUndo()) {
        show.Undo();
    }
    EXPECT_EQ(show.plugin->SaveState(), empty);
}

TEST(SampleSlots, ComeInTheirOwnTimeWhateverIsDoneMeanwhile) {
    const TemporaryFolder folder;
    WriteSound(folder / "long.wav", Sine(220.0, 60.0));
    WriteBeats(folder, {"a.wav", "b.wav"});
    SampleShow show;
    SampleSlots& slots = show.slots;
    Play(*show.plugin, 2000);
    slots.Load({{0, folder / "long.wav"}});
    slots.Load({{1, folder / "a.wav"}});
    EXPECT_TRUE(show.plugin->IsLoading());
    EXPECT_FALSE(slots.IsLoaded(0));
    EXPECT_TRUE(slots.Missing().empty()) << "nobody knows yet";
    EXPECT_EQ(slots.FreeFrom(0), 2U);
    show.model.history.Set(IdOf("MasterVolume"), 0.25F);
    Play(*show.plugin, 2000);
    EXPECT_EQ(show.Told(), "Sample 2 is a.wav");
    EXPECT_TRUE(slots.IsLoaded(0) && slots.IsLoaded(1));
    Play(*show.plugin, 2000);
    EXPECT_EQ(show.plugin->Position(IdOf("MasterVolume")), 0.25F) << "turned meanwhile";

    // Undo leaves what is being read, and nothing else.
    slots.Load({{2, folder / "long.wav"}});
    show.model.Undo();
    EXPECT_TRUE(slots.PathOf(2).empty() && show.plugin->OrderedSamples().empty());
    show.Told();
    EXPECT_FALSE(slots.IsLoaded(2));
    EXPECT_TRUE(slots.IsLoaded(1));
    EXPECT_EQ(show.model.history.UndoName(), "Sample 2");

    // A preset keeps the samples on their way, a whole state makes them void.
    slots.Load({{2, folder / "long.wav"}});
    show.model.LoadProgram(1);
    show.Told();
    EXPECT_TRUE(slots.IsLoaded(0) && slots.IsLoaded(2));
    EXPECT_EQ(show.plugin->CurrentProgram(), 1U);
    show.Undo();
    EXPECT_FALSE(slots.IsLoaded(2));
    EXPECT_EQ(show.plugin->CurrentProgram(), 1U);
    const std::string state = show.plugin->SaveState();
    slots.Load({{3, folder / "b.wav"}});
    show.plugin->LoadState(state);
    EXPECT_PRED2(Has, show.Told(), "not loaded");
    EXPECT_EQ(show.plugin->SaveState(), state);

    // So does a preset with samples of its own, also those that have not begun.
    slots.Load({{3, folder / "long.wav"}});
    slots.Load({{4, folder / "b.wav"}});
    const auto& programs = *show.model.programs;
    const auto own = std::ranges::find(programs, "slow-speech", &PluginInstrument::Program::id);
    ASSERT_TRUE(show.model.LoadProgram(static_cast<std::uint32_t>(own - programs.begin())));
    EXPECT_PRED2(Has, show.Told(), "not loaded");
    EXPECT_FALSE(slots.IsLoaded(3) || slots.IsLoaded(4));
    EXPECT_EQ(show.model.history.UndoName(), "Preset");
}

TEST(SampleSlots, ComeWhenThePanelOrAllIsClosedBeforeTheyAreThere) {
    const TemporaryFolder folder;
    WriteSound(folder / "long.wav", Sine(220.0, 60.0));
    auto plugin = Plugin();
    plugin->Activate(pluginRate);
    {
        PanelModel model(*plugin, {});
        SampleSlots(*plugin, model.history).Load({{0, folder / "long.wav"}});
    }
    WaitForLoads(*plugin);
    PanelModel model(*plugin, {});
    SampleSlots slots(*plugin, model.history);
    EXPECT_TRUE(slots.IsLoaded(0));
    model.Tick(0.01);
    EXPECT_FALSE(model.history.CanUndo()) << "of the panel before";
    slots.Load({{1, folder / "long.wav"}, {2, folder / "long.wav"}});
    plugin->Deactivate();
    plugin->Activate(44100.0);
    WaitForLoads(*plugin);
    EXPECT_TRUE(slots.IsLoaded(0) && slots.IsLoaded(1) && slots.IsLoaded(2));
    EXPECT_GT(Loudest(Play(*plugin, Notes())), 0.01F);
    slots.Load({{3, folder / "long.wav"}});
}

TEST(SampleSlots, ThatAreMissingAreFoundTogether) {
    const TemporaryFolder folder;
    WriteBeats(folder, {"old/a.wav", "old/b.wav"});
    SampleShow show;
    SampleSlots& slots = show.slots;
    slots.Load({{0, folder / "old/a.wav"}, {7, folder / "old/b.wav"}});
    show.Told();
    slots.Move(7, SampleEdges::TrimStart, 0.25F);
    const std::string state = show.plugin->SaveState();
    std::filesystem::rename(folder / "old", folder / "new");
    show.plugin->LoadState(state);
    EXPECT_EQ(slots.Missing().size(), 2U);
    EXPECT_EQ(slots.Found(0, folder / "new/a.wav").line, "Reading 2 sounds");
    EXPECT_EQ(show.Told(), "2 samples from 1 to 8 are loaded");
    EXPECT_TRUE(slots.Missing().empty());
    EXPECT_EQ(show.Edge(7, SampleEdges::TrimStart), 0.25F) << "it is the same sound";
    show.Undo();
    EXPECT_EQ(slots.Missing().size(), 2U);
}

TEST(SampleSlots, TellWhichOnePlaysAndWhere) {
    const TemporaryFolder folder;
    WriteSound(folder / "a.wav", Syllables(2.0, 48000));
    const auto plugin = Plugin();
    plugin->Activate(pluginRate);
    plugin->SetWatched(true);
    plugin->SetPosition(IdOf("Modulator_ExternalInput"), 0.0F);
    History history(*plugin);
    SampleSlots slots(*plugin, history);
    slots.Load({{5, folder / "a.wav"}});
    WaitForLoads(*plugin);
    Play(*plugin, 4800);
    EXPECT_FALSE(slots.Playhead());
    const auto key = slots.KeyOf(5);
    ASSERT_TRUE(key);
    plugin->Play({0x90, *key, 100});
    PluginSong quiet;
    quiet.frames = 24000;
    Play(*plugin, quiet);
    const auto head = slots.Playhead();
    ASSERT_TRUE(head);
    EXPECT_EQ(head->sample, 5U);
    EXPECT_NEAR(head->place, 0.25F, 0.02F);
    plugin->SetPosition(IdOf("Modulator_ExternalInput"), 1.0F);
    EXPECT_FALSE(slots.Playhead()) << "a live voice is heard";
    plugin->SetPosition(IdOf("Modulator_SamplerPlayMode"), 1.0F);
    EXPECT_FALSE(slots.KeyOf(5)) << "keys do not choose";
}

TEST(SampleLayout, HasItsOwnControlsForEachSampleWithinTheirSection) {
    for (std::uint32_t sample = 0; sample < SampleSlots::count; ++sample) {
        const Section& section = SampleLayout::Own(sample);
        const std::vector<PlacedControl> placed = Place(section);
        const std::string number = std::to_string(sample + 1) + "_";
        for (const PlacedControl& control : placed) {
            EXPECT_PRED2(Has, control.model.name, number);
            EXPECT_TRUE((Area{0, 0, section.area.width, section.area.height}).Contains(control.area));
        }
        EXPECT_EQ(placed.size(), 18U);
    }
}

TEST(NoteName, IsThatOfTheNearestKey) {
    EXPECT_EQ(NoteName(440.0), "A4");
    EXPECT_EQ(NoteName(261.62558), "C4");
    EXPECT_EQ(NoteName(450.0), "A4 +39 ct");
    EXPECT_EQ(NoteName(8.1758), "C-1");
    EXPECT_EQ(NoteName(0.01), "");
}

} // namespace orphia::test
