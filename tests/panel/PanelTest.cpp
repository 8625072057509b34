// SPDX-License-Identifier: GPL-3.0-or-later
// The panel in a window, worked by mouse and keys; what the engine then has.
#include "host/parameters/ParameterCatalog.h"
#include "panel/PanelHands.h"
#include "panel/PanelRig.h"
#include "plugin/panel/controls/ParameterControl.h"
#include "plugin/panel/controls/TextField.h"
#include "plugin/panel/frame/KeyStrip.h"
#include "plugin/panel/frame/MacroStrip.h"
#include "plugin/panel/model/EffectSlots.h"
#include "plugin/panel/pages/CircuitPage.h"
#include "plugin/panel/pages/EffectsPage.h"
#include "plugin/panel/pages/ModulationPage.h"
#include "plugin/panel/parts/CablesView.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

namespace orphia::test {

using namespace panel;

namespace {

const auto command = juce::ModifierKeys::commandModifier;

/// All components that are shown, the panel itself first.
std::vector<juce::Component*> ShownIn(juce::Component& top) {
    std::vector<juce::Component*> all{&top};
    for (std::size_t n = 0; n < all.size(); ++n) {
        for (juce::Component* const child : all[n]->getChildren()) {
            if (child->isVisible()) {
                all.push_back(child);
            }
        }
    }
    return all;
}

template <class C>
C& FirstOf(juce::Component& top) {
    for (juce::Component* const each : ShownIn(top)) {
        if (auto* const found = dynamic_cast<C*>(each)) {
            return *found;
        }
    }
    throw std::runtime_error("no such part is shown");
}

struct Desk {
    Desk() { rig.Play(0.05); }

    PanelRig rig;
    PanelHands hands{rig.panel};
};

} // namespace

TEST(Panel, TurnsAKnobFinelyAndCoarselyAndSetsItBack) {
    Desk desk;
    auto* const knob = desk.rig.ControlOf("BodeVocoder_AnalyzerRectifiers_Release");
    ASSERT_NE(knob, nullptr);
    const float before = desk.rig.Position("BodeVocoder_AnalyzerRectifiers_Release");
    desk.hands.Drag(*knob, {28.0F, 34.0F}, {28.0F, -2.0F});
    const float coarse = desk.rig.Position("BodeVocoder_AnalyzerRectifiers_Release") - before;
    EXPECT_NEAR(coarse, 33.0F / 180.0F, 0.03F);
    desk.hands.Drag(*knob, {28.0F, 34.0F}, {28.0F, -2.0F}, juce::ModifierKeys::shiftModifier);
    const float fine = desk.rig.Position("BodeVocoder_AnalyzerRectifiers_Release") - before - coarse;
    EXPECT_NEAR(fine, coarse / 10.0F, 0.005F);
    desk.rig.Play(0.05);
    EXPECT_NEAR(desk.rig.Position("BodeVocoder_AnalyzerRectifiers_Release"), before + coarse + fine, 1e-5F)
        << "the engine has it";
    desk.hands.DoubleClick(*knob, {28.0F, 34.0F});
    EXPECT_EQ(desk.rig.Position("BodeVocoder_AnalyzerRectifiers_Release"),
              dynamic_cast<ParameterControl&>(*knob).Model().start);
    for (int n = 0; n < 3; ++n) {
        desk.hands.Key('z', command);
    }
    EXPECT_EQ(desk.rig.Position("BodeVocoder_AnalyzerRectifiers_Release"), before);
    desk.hands.Key('z', juce::ModifierKeys(command | juce::ModifierKeys::shiftModifier));
    EXPECT_EQ(desk.rig.Position("BodeVocoder_AnalyzerRectifiers_Release"), before + coarse);
}

TEST(Panel, TakesTypedValuesAndKeepsTheFieldForWhatMakesNoSense) {
    Desk desk;
    auto& knob = dynamic_cast<ParameterControl&>(*desk.rig.ControlOf("MasterVolume"));
    const auto field = [&knob] { return dynamic_cast<juce::TextEditor*>(knob.getChildComponent(0)); };
    desk.hands.Click(knob, knob.getLocalBounds().removeFromBottom(16).toFloat().getCentre());
    ASSERT_NE(field(), nullptr);
    desk.hands.Type("loud");
    desk.hands.Key(juce::KeyPress::returnKey);
    ASSERT_NE(field(), nullptr);
    field()->selectAll();
    desk.hands.Type("-24 dB");
    desk.hands.Key(juce::KeyPress::returnKey);
    EXPECT_EQ(field(), nullptr);
    EXPECT_EQ(knob.Value(), "-24 dB");
    const auto& catalog = host::ParameterCatalog::OfInstrument();
    EXPECT_NEAR(catalog.ToValue(knob.Model().id, desk.rig.Position("MasterVolume")), -24.0F, 1e-3F);
    desk.hands.Type("-9");
    desk.hands.Key(juce::KeyPress::escapeKey);
    EXPECT_EQ(knob.Value(), "-24 dB");
}

TEST(Panel, IsMovedByWheelAndByKeys) {
    Desk desk;
    auto& knob = dynamic_cast<ParameterControl&>(*desk.rig.ControlOf("BodeVocoder_Wet"));
    desk.hands.Wheel(knob, -0.4F);
    EXPECT_NEAR(knob.Position(), 0.95F, 1e-4F);
    knob.grabKeyboardFocus();
    desk.hands.Key(juce::KeyPress::downKey);
    desk.hands.Key(juce::KeyPress::downKey, juce::ModifierKeys::shiftModifier);
    EXPECT_NEAR(desk.rig.Position("BodeVocoder_Wet"), 0.939F, 1e-4F);
    desk.hands.Key(juce::KeyPress::homeKey);
    EXPECT_EQ(desk.rig.Position("BodeVocoder_Wet"), 0.0F);
    desk.hands.Click(*desk.rig.ControlOf("BodeVocoder_PatchBay_SampleHold"));
    EXPECT_EQ(desk.rig.Position("BodeVocoder_PatchBay_SampleHold"), 1.0F);
    EXPECT_EQ(desk.rig.panel.PageTitle(1), "Modulation");
    desk.hands.Key(juce::KeyPress::F1Key + 1);
    EXPECT_NE(desk.rig.ControlOf("LFO_Fade"), nullptr);
}

TEST(Panel, PatchesACableWithItsAmountAndTakesItOut) {
    Desk desk;
    auto& cables = FirstOf<CablesView>(desk.rig.panel);
    desk.hands.Drag(cables, cables.Socket(false, 3), cables.Socket(true, 11));
    const char* const route = "BodeVocoder_PatchBay_Analysis4_Synthesis12";
    EXPECT_EQ(desk.rig.Position(route), 1.0F);
    EXPECT_EQ(desk.rig.Position("BodeVocoder_PatchBay_Activated"), 1.0F);
    const juce::Point<float> middle = (cables.Socket(false, 3) + cables.Socket(true, 11)) / 2.0F;
    desk.hands.Drag(cables, middle, middle.translated(0.0F, 45.0F));
    EXPECT_NEAR(desk.rig.Position(route), 0.75F, 0.02F);
    desk.rig.Play(0.1);
    EXPECT_NEAR(desk.rig.Position(route), 0.75F, 0.02F);
    desk.hands.DoubleClick(cables, middle);
    EXPECT_EQ(desk.rig.Position(route), 0.5F);
    desk.hands.Key('z', command);
    desk.hands.Key('z', command);
    desk.hands.Key('z', command);
    EXPECT_EQ(desk.rig.Position(route), 0.5F);
    EXPECT_EQ(desk.rig.Position("BodeVocoder_PatchBay_Activated"), 0.0F);
}

TEST(Panel, PlaysKeysThatTheInstrumentHolds) {
    Desk desk;
    auto& keys = FirstOf<Keyboard>(desk.rig.panel);
    const juce::Rectangle<float> key = keys.AreaOf(60);
    desk.hands.Press(desk.hands.PlaceOf(keys, key.getCentre().withY(key.getBottom() - 8.0F)));
    desk.rig.Play(0.05);
    EXPECT_TRUE(desk.rig.instrument.HeldKeys().held[60]);
    EXPECT_EQ(desk.rig.instrument.HeldKeys().held.count(), 1U);
    desk.hands.Release();
    desk.rig.Play(0.05);
    EXPECT_TRUE(desk.rig.instrument.HeldKeys().held.none());
}

TEST(Panel, LoadsAPresetAndTakesItBack) {
    Desk desk;
    const std::string before = desk.rig.instrument.SaveState();
    for (juce::Component* const each : ShownIn(desk.rig.panel)) {
        if (auto* const button = dynamic_cast<panel::Button*>(each);
            button != nullptr && button->getButtonText() == ">") {
            desk.hands.Click(*button);
        }
    }
    desk.rig.Play(0.05);
    EXPECT_EQ(desk.rig.instrument.CurrentProgram(), 1U);
    EXPECT_FALSE(desk.rig.instrument.SaveState() == before);
    desk.hands.Key('z', command);
    desk.rig.Play(0.05);
    EXPECT_TRUE(desk.rig.instrument.SaveState() == before);
}

TEST(Panel, ReachesEveryControlOfTheEngine) {
    Desk desk;
    std::size_t circuit = 0;
    while (desk.rig.panel.PageTitle(circuit) != "Circuit") {
        ++circuit;
    }
    desk.rig.panel.ShowPage(circuit);
    auto& page = FirstOf<CircuitPage>(desk.rig.panel);
    page.Search("sampler slot7 fine");
    PanelHands::Wait(20);
    auto* const slider = desk.rig.ControlOf("Modulator_Sampler_Slot7_Fine");
    ASSERT_NE(slider, nullptr);
    slider->grabKeyboardFocus();
    desk.hands.Key(juce::KeyPress::endKey);
    EXPECT_EQ(desk.rig.Position("Modulator_Sampler_Slot7_Fine"), 1.0F);
}

TEST(Panel, NamesAllThatTheKeyboardReachesAndCutsNothing) {
    Desk desk;
    for (std::size_t number = 0; number < desk.rig.panel.PageCount(); ++number) {
        desk.rig.panel.ShowPage(number);
        desk.rig.Play(0.05);
        std::size_t reached = 0;
        for (juce::Component* const each : ShownIn(desk.rig.panel)) {
            if (each->getWantsKeyboardFocus() && each->getParentComponent() != &desk.rig.panel) {
                ++reached;
                EXPECT_TRUE(each->getTitle().isNotEmpty() || each->getName().isNotEmpty()) << number;
                EXPECT_TRUE(each->getParentComponent()->getLocalBounds().contains(each->getBounds()) ||
                            each->findParentComponentOfClass<juce::Viewport>() != nullptr)
                    << each->getTitle() << " on page " << number;
            }
            if (auto* const control = dynamic_cast<ParameterControl*>(each)) {
                EXPECT_TRUE(control->getTooltip().isNotEmpty()) << control->getTitle();
                const juce::AccessibilityHandler* const access = control->getAccessibilityHandler();
                ASSERT_NE(access, nullptr);
                EXPECT_EQ(access->getValueInterface()->getCurrentValueAsString(), control->Value());
            }
        }
        EXPECT_GT(reached, 30U) << number;
    }
}

TEST(Panel, AssignsAMacroByTheMenuOfAControl) {
    Desk desk;
    auto& knob = dynamic_cast<ParameterControl&>(*desk.rig.ControlOf("BodeVocoder_Wet"));
    knob.SetPosition(0.25F);
    desk.hands.Press(desk.hands.PlaceOf(knob, {28.0F, 34.0F}), juce::ModifierKeys::rightButtonModifier);
    desk.hands.Release();
    PanelHands::Wait(100);
    // To "Assign to macro", into its list, to the second one.
    for (const int key : {juce::KeyPress::downKey, juce::KeyPress::downKey, juce::KeyPress::downKey,
                          juce::KeyPress::rightKey, juce::KeyPress::downKey, juce::KeyPress::returnKey}) {
        desk.hands.Key(key);
        PanelHands::Wait(50);
    }
    const plugin::Macro macro = desk.rig.instrument.MacroOf(1);
    ASSERT_EQ(macro.targets.size(), 1U);
    EXPECT_EQ(macro.targets.front(), (plugin::MacroTarget{knob.Model().id, 0.25F, 1.0F}));
    EXPECT_EQ(macro.name, "Mix");
    desk.hands.Key('z', command);
    EXPECT_TRUE(desk.rig.instrument.MacroOf(1).targets.empty());
}

TEST(Panel, LearnsAControllerByTheMenuOfAControl) {
    Desk desk;
    auto& knob = dynamic_cast<ParameterControl&>(*desk.rig.ControlOf("Carrier_MasterTune"));
    plugin::MidiLearn& controllers = desk.rig.instrument.Controllers();
    const auto choose = [&](int item) {
        knob.ShowMenu();
        PanelHands::Wait(100);
        for (int n = 0; n < item; ++n) {
            desk.hands.Key(juce::KeyPress::downKey);
        }
        desk.hands.Key(juce::KeyPress::returnKey);
        PanelHands::Wait(50);
    };
    choose(4);
    EXPECT_EQ(controllers.WaitsFor(), knob.Model().id);
    choose(4);
    EXPECT_FALSE(controllers.WaitsFor());
    controllers.Assign(74, knob.Model().id);
    choose(5);
    EXPECT_FALSE(controllers.ControllerOf(knob.Model().id));
}

TEST(Panel, MovesEffectsByMouseAndKeys) {
    Desk desk;
    for (unsigned slot = 0; slot < 3; ++slot) {
        desk.rig.instrument.SetPosition(EffectSlots::TypeId(slot), static_cast<float>(slot + 2) / 11.0F);
    }
    desk.rig.panel.ShowPage(2);
    desk.rig.Play(0.1);
    const auto order = [&] {
        std::vector<unsigned> types;
        for (unsigned slot = 0; slot < 3; ++slot) {
            types.push_back(EffectSlots::TypeIn(desk.rig.instrument, slot));
        }
        return types;
    };
    auto& first = FirstOf<EffectSlotView>(desk.rig.panel);
    desk.hands.Drag(first, {90.0F, 10.0F}, {900.0F, 200.0F});
    desk.rig.Play(0.1);
    EXPECT_EQ(order(), (std::vector<unsigned>{3, 4, 2}));
    EXPECT_NE(desk.rig.ControlOf("FX3_Delay_Time"), nullptr);
    first.FocusFirst();
    desk.hands.Key(juce::KeyPress::rightKey, juce::ModifierKeys::altModifier);
    EXPECT_EQ(order(), (std::vector<unsigned>{4, 3, 2}));
    desk.hands.Key(juce::KeyPress::rightKey, juce::ModifierKeys::altModifier);
    EXPECT_EQ(order(), (std::vector<unsigned>{4, 2, 3})) << "the focus goes along";
    for (int n = 0; n < 3; ++n) {
        desk.hands.Key('z', command);
    }
    EXPECT_EQ(order(), (std::vector<unsigned>{2, 3, 4}));
}

TEST(Panel, ModulatesByDraggingACellOfTheMatrix) {
    Desk desk;
    desk.rig.panel.ShowPage(1);
    auto& matrix = FirstOf<MatrixView>(desk.rig.panel);
    const unsigned mix =
        *Modulation(desk.rig.instrument)
             .DestinationOf(host::ParameterCatalog::OfInstrument().Find("BodeVocoder_Wet").id);
    matrix.ShowDestination(mix);
    const std::string amount = "Modulations_Dst" + std::to_string(mix + 1) + "_Src7_Amount";
    auto* const cell = desk.rig.ControlOf(amount);
    ASSERT_NE(cell, nullptr);
    const juce::Point<float> middle = cell->getLocalBounds().toFloat().getCentre();
    desk.hands.Drag(*cell, middle, middle.translated(0.0F, 35.0F));
    desk.rig.Play(0.05);
    // Behind the few points that make a drag of a click.
    EXPECT_NEAR(desk.rig.Position(amount), 0.5F - 32.0F / 120.0F, 0.03F);
}

TEST(Panel, ShowsWhatWasTypedAlsoInTheOtherColours) {
    Desk desk;
    desk.rig.panel.SetBright(false);
    std::size_t presets = 0;
    while (desk.rig.panel.PageTitle(presets) != "Presets") {
        ++presets;
    }
    desk.rig.panel.ShowPage(presets);
    auto& field = FirstOf<TextField>(desk.rig.panel);
    field.setText("MMMM");
    for (const bool isBright : {true, false}) {
        desk.rig.panel.SetBright(isBright);
        const juce::Image picture = field.createComponentSnapshot(field.getLocalBounds());
        const float behind = picture.getPixelAt(picture.getWidth() - 20, 11).getBrightness();
        float farthest = 0.0F;
        for (int x = 3; x < 60; ++x) {
            farthest = std::max(farthest, std::fabs(picture.getPixelAt(x, 11).getBrightness() - behind));
        }
        EXPECT_GT(farthest, 0.5F) << isBright;
    }
}

/// The system's own events, which come through the display.
TEST(Panel, HearsTheMouseAndTheKeysOfTheDisplay) {
    if (std::system("command -v xdotool >/dev/null") != 0) {
        GTEST_SKIP() << "no xdotool";
    }
    Desk desk;
    const auto run = [](const juce::String& words) {
        EXPECT_EQ(std::system(("xdotool " + words).toRawUTF8()), 0);
        PanelHands::Wait(150);
    };
    auto* const freeze = desk.rig.ControlOf("BodeVocoder_PatchBay_SampleHold");
    const juce::Point<int> place = freeze->getScreenBounds().getCentre();
    run("mousemove " + juce::String(place.x) + " " + juce::String(place.y));
    run("click 1");
    EXPECT_EQ(desk.rig.Position("BodeVocoder_PatchBay_SampleHold"), 1.0F);
    run("keydown a");
    desk.rig.Play(0.05);
    EXPECT_TRUE(desk.rig.instrument.HeldKeys().held[60]);
    run("keyup a");
    desk.rig.Play(0.05);
    EXPECT_TRUE(desk.rig.instrument.HeldKeys().held.none());
    // One whose end goes elsewhere.
    run("keydown s");
    desk.rig.Play(0.05);
    EXPECT_TRUE(desk.rig.instrument.HeldKeys().held[62]);
    juce::Component::unfocusAllComponents();
    desk.rig.Play(0.1);
    EXPECT_TRUE(desk.rig.instrument.HeldKeys().held.none());
    run("keyup s");
}

TEST(Panel, OpensAndClosesTwoHundredTimesWithoutALeak) {
    PanelRig rig;
    const auto open = [&rig](int times) {
        for (int n = 0; n < times; ++n) {
            Panel another(rig.instrument, std::filesystem::path());
            another.ShowPage(static_cast<std::size_t>(n) % another.PageCount());
            another.Tick(0.03);
            another.createComponentSnapshot(another.getLocalBounds());
        }
        PanelHands::Wait(5);
        return static_cast<std::size_t>(mallinfo2().uordblks);
    };
    const std::size_t before = open(30);
    const std::size_t after = open(200);
    // Caches of fonts and glyphs still fill; a panel alone has some megabytes.
    EXPECT_LT(after, before + 200 * 1024);
}

TEST(Panel, AssignsAMacroThatMovesTheControl) {
    Desk desk;
    desk.rig.instrument.AssignMacro(
        0, {"Bright", {{host::ParameterCatalog::OfInstrument().Find("BodeVocoder_Wet").id, 1.0F, 0.0F}}});
    for (int n = 0; n < 20; ++n) {
        desk.rig.panel.Tick(0.03);
    }
    auto& strip = FirstOf<MacroStrip>(desk.rig.panel);
    auto& macro = FirstOf<ParameterControl>(strip);
    EXPECT_EQ(macro.getTitle(), "Bright");
    macro.grabKeyboardFocus();
    desk.hands.Key(juce::KeyPress::endKey);
    desk.rig.Play(0.05);
    EXPECT_EQ(desk.rig.Position("BodeVocoder_Wet"), 0.0F);
}

} // namespace orphia::test
