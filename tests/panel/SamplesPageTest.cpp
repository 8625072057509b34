// SPDX-License-Identifier: GPL-3.0-or-later
// The page of samples in a window: dropped files, the picture's handles, what is missing.
#include "plugin/panel/pages/SamplesPage.h"

#include "host/parameters/ParameterCatalog.h"
#include "panel/PanelHands.h"
#include "panel/PanelRig.h"
#include "plugin/HeldResources.h"
#include "plugin/PluginRig.h"
#include "plugin/panel/frame/Header.h"
#include "plugin/panel/frame/Notice.h"
#include "plugin/panel/model/samples/SampleSlots.h"
#include "plugin/panel/parts/SlotsView.h"
#include "rigs/TestFiles.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace orphia::test {

using namespace panel;

namespace {

const auto command = juce::ModifierKeys::commandModifier;
const juce::Point middle(590.0F, 400.0F);

juce::Component* FindIn(juce::Component& top, const std::function<bool(juce::Component&)>& isIt) {
    std::vector<juce::Component*> all{&top};
    for (std::size_t n = 0; n < all.size(); ++n) {
        if (isIt(*all[n])) {
            return all[n];
        }
        for (juce::Component* const child : all[n]->getChildren()) {
            if (child->isVisible()) {
                all.push_back(child);
            }
        }
    }
    return nullptr;
}

/// A panel that shows the page, and files.
struct SampleDesk {
    SampleDesk() {
        while (rig.panel.PageTitle(number) != "Samples") {
            ++number;
        }
        rig.panel.ShowPage(number);
        rig.Play(0.05);
    }

    template <class C>
    C& Part() {
        auto* const found = dynamic_cast<C*>(
            FindIn(rig.panel, [](juce::Component& each) { return dynamic_cast<C*>(&each) != nullptr; }));
        if (found == nullptr) {
            throw std::runtime_error("no such part is shown");
        }
        return *found;
    }
    juce::Button* ButtonOf(const juce::String& text) {
        return dynamic_cast<juce::Button*>(FindIn(rig.panel, [&text](juce::Component& each) {
            auto* const button = dynamic_cast<juce::Button*>(&each);
            return button != nullptr && (button->getButtonText() == text || button->getTitle() == text);
        }));
    }
    WaveView& Wave() { return Part<WaveView>(); }
    juce::String Told() {
        rig.panel.Tick(0.03);
        const juce::Component* const notice =
            FindIn(rig.panel, [](juce::Component& each) { return dynamic_cast<Notice*>(&each) != nullptr; });
        return notice == nullptr ? juce::String() : notice->getTitle();
    }
    void Drop(juce::Component& onto, const std::filesystem::path& path) {
        hands.DragFile(onto, onto.getLocalBounds().toFloat().getCentre(), path.string());
        hands.DropFile();
        Settle();
    }
    /// Lets messages come through and files be read.
    void Settle() {
        while (rig.instrument.IsLoading()) {
            PanelHands::Wait(5);
        }
        for (int n = 0; n < 8; ++n) {
            PanelHands::Wait(20);
            rig.Play(0.1);
        }
    }
    static std::string Name(const std::string& key) { return "Modulator_Sampler_Sample" + key; }

    TemporaryFolder folder;
    PanelRig rig;
    PanelHands hands{rig.panel};
    std::size_t number = 0;
};

} // namespace

TEST(SamplesPage, DropsASoundAndTrimsItWithTheMouse) {
    SampleDesk desk;
    WriteSound(desk.folder / "voice.wav", Syllables(1.5));
    desk.Drop(*desk.ButtonOf("Sample 3, empty"), desk.folder / "voice.wav");
    EXPECT_EQ(desk.rig.instrument.SamplePath(2), desk.folder / "voice.wav");
    EXPECT_EQ(desk.rig.Position("Modulator_Sample3_Loaded"), 1.0F);
    EXPECT_NE(desk.ButtonOf("Sample 3, voice.wav"), nullptr);
    WaveView& wave = desk.Wave();
    ASSERT_EQ(wave.Sample(), 2U);
    const auto width = static_cast<float>(wave.getWidth());
    const juce::Point<float> start = wave.HandleOf(SampleEdges::TrimStart).translated(2.0F, 0.0F);
    desk.hands.Drag(wave, start, start.translated(0.25F * width, 0.0F));
    desk.rig.Play(0.05);
    EXPECT_NEAR(desk.rig.Position(desk.Name("3_TrimStart")), 0.25F, 0.005F);
    const juce::Point<float> stop = wave.HandleOf(SampleEdges::TrimStop).translated(-2.0F, 0.0F);
    desk.hands.Drag(wave, stop, stop.translated(-0.5F * width, 0.0F), juce::ModifierKeys::shiftModifier);
    EXPECT_NEAR(desk.rig.Position(desk.Name("3_TrimStop")), 0.95F, 0.005F) << "finely";
    desk.hands.DoubleClick(wave, wave.HandleOf(SampleEdges::TrimStop).translated(-2.0F, 0.0F));
    EXPECT_EQ(desk.rig.Position(desk.Name("3_TrimStop")), 1.0F);
    for (int n = 0; n < 3; ++n) {
        desk.hands.Key('z', command);
    }
    EXPECT_EQ(desk.rig.Position(desk.Name("3_TrimStart")), 0.0F);
    desk.hands.Key('z', command);
    desk.Settle();
    EXPECT_TRUE(desk.rig.instrument.SamplePath(2).empty());
    EXPECT_NE(desk.ButtonOf("Sample 3, empty"), nullptr);
    desk.hands.Key('z', juce::ModifierKeys(command | juce::ModifierKeys::shiftModifier));
    desk.hands.Key('z', juce::ModifierKeys(command | juce::ModifierKeys::shiftModifier));
    desk.Settle();
    EXPECT_NEAR(desk.rig.Position(desk.Name("3_TrimStart")), 0.25F, 0.005F);
    EXPECT_NE(desk.ButtonOf("Sample 3, voice.wav"), nullptr);
}

TEST(SamplesPage, MovesTheLoopByMouseAndKeysOnceItIsOn) {
    SampleDesk desk;
    WriteSound(desk.folder / "voice.wav", Syllables(1.5));
    desk.Drop(desk.Wave(), desk.folder / "voice.wav");
    WaveView& wave = desk.Wave();
    const auto width = static_cast<float>(wave.getWidth());
    const auto drag = [&](SampleEdges::Edge edge, float way) {
        const float inward = edge == SampleEdges::LoopStop ? -2.0F : 2.0F;
        const juce::Point<float> from = wave.HandleOf(edge).translated(inward, 0.0F);
        desk.hands.Drag(wave, from, from.translated(way * width, 0.0F));
    };
    drag(SampleEdges::LoopStart, 0.3F);
    EXPECT_EQ(desk.rig.Position(desk.Name("1_LoopStart")), 0.0F) << "no loop, no handle";
    EXPECT_NEAR(desk.rig.Position(desk.Name("1_TrimStart")), 0.3F, 0.005F);
    desk.hands.Key('z', command);
    desk.hands.Click(*desk.rig.ControlOf("Modulator_Sample1_LoopOn"));
    desk.rig.Play(0.05);
    ASSERT_EQ(desk.rig.Position("Modulator_Sample1_LoopOn"), 1.0F);
    drag(SampleEdges::LoopStart, 0.5F);
    drag(SampleEdges::LoopStop, -0.1F);
    drag(SampleEdges::CrossFade, 0.1F);
    EXPECT_NEAR(desk.rig.Position(desk.Name("1_LoopStart")), 0.5F, 0.005F);
    EXPECT_NEAR(desk.rig.Position(desk.Name("1_LoopStop")), 0.9F, 0.005F);
    EXPECT_NEAR(desk.rig.Position(desk.Name("1_CrossFade")), 0.25F, 0.02F);
    wave.grabKeyboardFocus();
    desk.hands.Key(juce::KeyPress::upKey);
    EXPECT_EQ(wave.Chosen(), SampleEdges::LoopStop);
    desk.hands.Key(juce::KeyPress::leftKey);
    desk.hands.Key(juce::KeyPress::leftKey, juce::ModifierKeys::shiftModifier);
    EXPECT_NEAR(desk.rig.Position(desk.Name("1_LoopStop")), 0.889F, 0.005F);
    EXPECT_TRUE(wave.getAccessibilityHandler()->getValueInterface()->getCurrentValueAsString().startsWith(
        "Loop to 0.8"));
    desk.hands.Key(juce::KeyPress::deleteKey);
    EXPECT_EQ(desk.rig.Position(desk.Name("1_LoopStop")), 1.0F);
}

TEST(SamplesPage, FillsFromAFolderAndFindsWhatIsMissing) {
    SampleDesk desk;
    for (const char* const name : {"old/a.wav", "old/b.wav", "old/c.wav"}) {
        std::filesystem::create_directories(desk.folder / "old");
        WriteSound(desk.folder / name, Syllables(0.2));
    }
    desk.Drop(desk.Wave(), desk.folder / "old");
    EXPECT_EQ(desk.rig.instrument.SamplePath(2), desk.folder / "old/c.wav");
    const std::string state = desk.rig.instrument.SaveState();
    std::filesystem::rename(desk.folder / "old", desk.folder / "new");
    desk.rig.instrument.LoadState(state);
    desk.Settle();
    EXPECT_NE(desk.ButtonOf("Sample 2, b.wav, missing"), nullptr);
    EXPECT_NE(desk.ButtonOf("Find..."), nullptr);
    desk.hands.Click(*desk.ButtonOf("Sample 2, b.wav, missing"));
    desk.Part<SamplesPage>().TakeFound(desk.folder / "new/b.wav");
    desk.Settle();
    EXPECT_EQ(desk.ButtonOf("Find..."), nullptr);
    EXPECT_EQ(desk.rig.instrument.SamplePath(0), desk.folder / "new/a.wav");
    EXPECT_EQ(desk.rig.Position("Modulator_Sample3_Loaded"), 1.0F);
    desk.ButtonOf("Sample 2, b.wav")->grabKeyboardFocus();
    desk.hands.Key(juce::KeyPress::downKey);
    desk.hands.Key(juce::KeyPress::deleteKey);
    desk.Settle();
    EXPECT_TRUE(desk.rig.instrument.SamplePath(2).empty());
    EXPECT_FALSE(desk.rig.instrument.SamplePath(1).empty());
}

TEST(SamplesPage, IsNotNeededToDropSoundsOnAnyPageWhichTellsWhereTheyWent) {
    SampleDesk desk;
    std::filesystem::create_directories(desk.folder / "more");
    for (const char* const name : {"a.wav", "more/b.wav", "more/c.wav", "z.wav"}) {
        WriteSound(desk.folder / name, Syllables(0.1));
    }
    std::uint32_t next = 4;
    desk.Part<SamplesPage>().Choose(next);
    for (std::size_t page = 0; page < desk.rig.panel.PageCount(); ++page) {
        // On the page of samples itself the frame is the rest of the panel.
        desk.rig.panel.ShowPage(page);
        desk.hands.DragFile(desk.rig.panel, page == desk.number ? juce::Point(600.0F, 20.0F) : middle,
                            (desk.folder / "a.wav").string());
        EXPECT_EQ(desk.Told(), "Drop it to load sample " + juce::String(next + 1)) << page;
        desk.hands.DropFile();
        desk.Settle();
        EXPECT_EQ(desk.rig.instrument.SamplePath(next), desk.folder / "a.wav") << page;
        ++next;
        EXPECT_EQ(desk.Told(), "Sample " + juce::String(next) + " is a.wav") << page;
    }
    desk.rig.panel.ShowPage(0);
    auto& cells = desk.Part<SlotsView>();
    const juce::Point<float> second(0.25F * static_cast<float>(cells.getWidth()), 6.0F);
    desk.hands.DragFile(cells, second, (desk.folder / "more").string());
    desk.hands.DropFile();
    desk.Settle();
    EXPECT_EQ(desk.Told(), "Samples 2 to 3 are loaded");
    EXPECT_EQ(desk.rig.instrument.SamplePath(2), desk.folder / "more/c.wav");
    desk.hands.DragFile(cells, second, (desk.folder / "z.wav").string());
    EXPECT_EQ(desk.Told(), "Drop it to load sample 2");
    desk.hands.DropFile();
    desk.Settle();
    EXPECT_EQ(desk.rig.instrument.SamplePath(1), desk.folder / "z.wav") << "it is dropped on that one";
    desk.rig.panel.ShowPage(desk.number);
    desk.rig.panel.Tick(0.03);
    EXPECT_EQ(desk.Wave().Sample(), 1U);
    desk.hands.Key('z', command);
    desk.hands.Key('z', command);
    EXPECT_TRUE(desk.rig.instrument.SamplePath(1).empty());
    for (int n = 0; n < 3; ++n) {
        desk.Drop(desk.Part<Header>(), desk.folder.Path());
        desk.Drop(desk.Part<Header>(), desk.folder / "more");
    }
    EXPECT_EQ(desk.Told(), "All twelve samples are taken: drop a file on the one that it shall replace");
    const std::string full = desk.rig.instrument.SaveState();
    desk.Drop(desk.Part<Header>(), desk.folder / "a.wav");
    EXPECT_EQ(desk.rig.instrument.SaveState(), full);
    desk.rig.panel.Tick(10.0);
    EXPECT_EQ(desk.Told(), "");
}

TEST(SamplesPage, LoadsALongSoundWhileAllElseGoesOn) {
    SampleDesk desk;
    WriteSound(desk.folder / "long.wav", Sine(220.0, 60.0));
    const auto drop = [&] {
        const juce::Component& row = *desk.ButtonOf("Sample 1, empty");
        desk.hands.DragFile(desk.Wave(), row.getLocalBounds().toFloat().getCentre(),
                            (desk.folder / "long.wav").string());
        desk.hands.DropFile();
        EXPECT_NE(desk.ButtonOf("Sample 1, long.wav, loading"), nullptr);
        EXPECT_EQ(desk.Told(), "Reading long.wav");
    };
    drop();
    desk.hands.Key('z', command);
    desk.Settle();
    EXPECT_NE(desk.ButtonOf("Sample 1, empty"), nullptr);
    drop();
    EXPECT_EQ(desk.rig.Position("Modulator_Sample1_Loaded"), 0.0F);
    desk.Settle();
    EXPECT_NE(desk.ButtonOf("Sample 1, long.wav"), nullptr);
    EXPECT_EQ(desk.rig.Position("Modulator_Sample1_Loaded"), 1.0F);
}

/// Who reads a pipe waits until somebody writes to it: a panel that waited too would never get on.
TEST(SamplesPage, ReadsFilesBesideThePanelWhichMayBeClosedMeanwhile) {
    SampleDesk desk;
    const std::filesystem::path file = desk.folder / "long.wav";
    WriteSound(file, Syllables(0.2));
    LoadNow(desk.rig.instrument, {{0, file}});
    std::filesystem::remove(file);
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    const auto open = [&](int times) {
        for (int n = 0; n < times; ++n) {
            std::optional<Panel> another(std::in_place, desk.rig.instrument, std::filesystem::path());
            another->ShowPage(desk.number);
            another->Tick(0.03);
            const auto isRow = [](juce::Component& each) { return each.getTitle() == "Sample 1, long.wav"; };
            EXPECT_NE(FindIn(*another, isRow), nullptr);
            const std::jthread writer([&file](const std::stop_token& ends) {
                while (!ends.stop_requested()) {
                    close(::open(file.c_str(), O_RDWR | O_CLOEXEC));
                    std::this_thread::sleep_for(std::chrono::milliseconds(2));
                }
            });
            another.reset();
        }
        PanelHands::Wait(5);
    };
    open(20);
    const HeldResources before;
    open(40);
    before.ExpectNoMoreNow();
}

TEST(SamplesPage, PlaysWhileTheMouseIsDownAndTakesTheRootFromThePitch) {
    SampleDesk desk;
    desk.rig.instrument.SetPosition(host::ParameterCatalog::OfInstrument().Find("Modulator_ExternalInput").id,
                                    0.0F);
    WriteSound(desk.folder / "a.wav", Sine(220.0, 2.0));
    desk.Drop(desk.Wave(), desk.folder / "a.wav");
    juce::Button& play = *desk.ButtonOf("Plays this sample as its key does");
    const juce::Image before = desk.Wave().createComponentSnapshot(desk.Wave().getLocalBounds());
    desk.hands.Press(desk.hands.PlaceOf(play, play.getLocalBounds().toFloat().getCentre()));
    desk.rig.Play(0.5);
    EXPECT_EQ(desk.rig.Position("Modulator_IsPlayingSample"), 1.0F);
    const float place = desk.rig.Position("Modulator_Sampler_PlayheadPosition");
    EXPECT_GT(place, 0.1F);
    const juce::Image during = desk.Wave().createComponentSnapshot(desk.Wave().getLocalBounds());
    const int x = juce::roundToInt(place * static_cast<float>(desk.Wave().getWidth()));
    EXPECT_NE(before.getPixelAt(x, 4), during.getPixelAt(x, 4)) << "the playhead";
    desk.hands.Release();
    desk.rig.Play(0.05);
    EXPECT_TRUE(desk.rig.instrument.HeldKeys().held.none());
    desk.hands.Click(*desk.ButtonOf("Root from pitch"));
    const std::string root = "Modulator_Sampler_Slot1_RootNote";
    const auto& catalog = host::ParameterCatalog::OfInstrument();
    for (int n = 0;
         n < 1000 && desk.rig.Position(root) == desk.rig.Position("Modulator_Sampler_Slot2_RootNote"); ++n) {
        PanelHands::Wait(10);
        desk.rig.Play(0.02);
    }
    EXPECT_NEAR(catalog.ToValue(catalog.Find(root).id, desk.rig.Position(root)), 220.0F, 1.0F);
}

} // namespace orphia::test
