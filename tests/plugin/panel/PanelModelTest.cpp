// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/PanelModel.h"

#include "host/parameters/ModulationRoutes.h"
#include "host/parameters/ParameterCatalog.h"
#include "plugin/PluginRig.h"
#include "plugin/panel/model/ControlModel.h"
#include "plugin/panel/model/EffectSlots.h"
#include "plugin/panel/model/Meters.h"
#include "plugin/panel/model/Search.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>

namespace orphia::test {

using namespace panel;
using host::ParameterCatalog;

namespace {

/// Where everything is that a player sets, and how far the macros reach.
std::vector<float> AllOf(PluginInstrument& plugin) {
    std::vector<float> all;
    for (const host::ParameterInfo& info : ParameterCatalog::OfInstrument().Parameters()) {
        if (info.role == host::ParameterRole::Control || info.role == host::ParameterRole::Route) {
            all.push_back(plugin.Position(info.id));
        }
    }
    for (unsigned n = 0; n < plugin::PluginParameters::macroCount; ++n) {
        all.push_back(plugin.Position(plugin::PluginParameters::firstMacro + n));
        for (const plugin::MacroTarget& target : plugin.MacroOf(n).targets) {
            all.push_back(target.to);
        }
    }
    return all;
}

/// Something that a player does, of every kind that can be undone.
void DoSomething(PanelModel& model, std::mt19937& random) {
    const auto id = static_cast<std::uint32_t>(IdOf("BodeVocoder_AnalyzerRectifiers_Attack") + random() % 2);
    const float position = static_cast<float>(random() % 1000) / 999.0F;
    switch (random() % 6) {
    case 0:
        model.history.Set(id, position);
        break;
    case 1: {
        const Gesture gesture(model.history, "two");
        model.history.Set(IdOf("MasterVolume"), position);
        model.history.Set(id, position);
        break;
    }
    case 2:
        model.patchBay.Connect(static_cast<unsigned>(random() % 16), static_cast<unsigned>(random() % 16),
                               position);
        break;
    case 3:
        model.history.SetMacro(static_cast<unsigned>(random() % 16),
                               {"mine", {{IdOf("Attack"), 0.1F, position}}});
        break;
    case 4:
        model.history.Set(plugin::PluginParameters::firstMacro + static_cast<std::uint32_t>(random() % 16),
                          position);
        break;
    default:
        model.LoadProgram(static_cast<std::uint32_t>(random() % 5));
    }
}

} // namespace

TEST(PanelHistory, UndoesAndDoesAgainWhateverWasDone) {
    const auto plugin = Plugin();
    plugin->Activate(pluginRate);
    double now = 0.0;
    PanelModel model(*plugin, {}, [&now] { return now += 10.0; });
    std::mt19937 random(11);
    std::vector<std::vector<float>> places = {AllOf(*plugin)};
    while (places.size() < 60) {
        DoSomething(model, random);
        WaitForLoads(*plugin);
        Play(*plugin, 2000);
        if (std::vector<float> next = AllOf(*plugin); next != places.back()) {
            places.push_back(std::move(next));
        }
    }
    for (std::size_t n = places.size() - 1; n-- > 0;) {
        const std::vector<float> before = AllOf(*plugin);
        while (model.history.CanUndo() && AllOf(*plugin) == before) {
            model.history.Undo();
            WaitForLoads(*plugin);
            Play(*plugin, 2000);
        }
        ASSERT_TRUE(AllOf(*plugin) == places[n]) << "undo to " << n;
    }
    while (model.history.CanRedo()) {
        model.history.Redo();
        WaitForLoads(*plugin);
        Play(*plugin, 2000);
    }
    EXPECT_TRUE(AllOf(*plugin) == places.back());
}

TEST(PanelHistory, MergesAWheelThatIsTurnedAndKeepsGesturesApart) {
    const auto plugin = Plugin();
    double now = 0.0;
    History history(*plugin, [&now] { return now; });
    const std::uint32_t volume = IdOf("MasterVolume");
    const float start = plugin->Position(volume);
    for (const float position : {0.1F, 0.2F, 0.3F}) {
        history.Set(volume, position);
        now += 0.5 * History::mergeSeconds;
    }
    now += History::mergeSeconds;
    history.Set(volume, 0.4F);
    history.Set(IdOf("Attack"), 0.9F);
    {
        const Gesture gesture(history, "drag");
        history.Set(volume, 0.6F);
        history.Set(volume, 0.7F);
    }
    {
        const Gesture gesture(history, "there and back");
        history.Set(volume, 0.1F);
        history.Set(volume, 0.7F);
    }
    EXPECT_TRUE(history.IsModified());
    for (const float expected : {0.4F, 0.4F, 0.3F, start}) {
        history.Undo();
        EXPECT_EQ(plugin->Position(volume), expected);
    }
    EXPECT_FALSE(history.CanUndo());
    EXPECT_FALSE(history.IsModified());
    history.Redo();
    history.MarkSaved();
    history.Undo();
    history.Set(volume, 0.05F);
    EXPECT_FALSE(history.CanRedo());
    EXPECT_TRUE(history.IsModified()) << "what was saved cannot be reached any more";
}

TEST(PanelControl, ReadsBackWhatItShowsAndStaysOnItsSteps) {
    for (const host::ParameterInfo& info : ParameterCatalog::OfInstrument().Parameters()) {
        if (info.role != host::ParameterRole::Control) {
            continue;
        }
        const ControlModel model = Describe(info.id);
        EXPECT_FALSE(model.label.empty()) << info.name;
        for (const float wanted : {0.0F, 0.2F, 0.5F, 0.83F, 1.0F}) {
            const float position = model.Snap(wanted);
            EXPECT_EQ(model.Snap(position), position) << info.name;
            const std::string text = ValueText(info.id, position);
            EXPECT_LE(text.size(), 14U) << info.name << ": " << text;
            const auto read = ReadValue(info.id, text);
            ASSERT_TRUE(read) << info.name << ": " << text;
            // A shown value is rounded; where a curve is flat a rounding is a long way of the knob.
            const float real = ParameterCatalog::OfInstrument().ToValue(info.id, position);
            const float again = ParameterCatalog::OfInstrument().ToValue(info.id, *read);
            const float unit = info.unit == host::ParameterUnit::Second ? 0.0005F : 0.051F;
            EXPECT_NEAR(again, real, std::max(unit, 0.006F * std::fabs(real))) << info.name << ": " << text;
        }
    }
    EXPECT_EQ(ReadValue(IdOf("MasterVolume"), " -12 dB "), ReadValue(IdOf("MasterVolume"), "-12"));
    EXPECT_FALSE(ReadValue(IdOf("MasterVolume"), "loud"));
    EXPECT_EQ(ValueText(IdOf("LFO_RateSynced"), *ReadValue(IdOf("LFO_RateSynced"), "1/8")), "1/8");
}

TEST(PanelControl, IsDrawnFromTheMiddleWhereThatIsNeutral) {
    for (const char* const name :
         {"Modulator_Sampler_Coarse", "Carrier_Oscillators_Osc2Fine", "FX2_StereoPan_Pan",
          "FX2_StereoPan_Width", "Modulator_Sampler_Slot3_Pan"}) {
        EXPECT_TRUE(Describe(name).isBipolar) << name;
    }
    for (const char* const name :
         {"MasterVolume", "FX1_Delay_Width", "FX1_Delay_Mode", "FX1_Bypass", "Attack"}) {
        EXPECT_FALSE(Describe(name).isBipolar) << name;
    }
}

TEST(PanelModulation, NamesAndMovesWhatTheEngineDoes) {
    const auto plugin = Plugin();
    plugin->Activate(pluginRate);
    PanelModel model(*plugin, {});
    using host::ModulationRoutes;
    ASSERT_EQ(ModulationRoutes::Sources().size(), Modulation::sourceCount);
    ASSERT_EQ(ModulationRoutes::Destinations().size(), Modulation::destinationCount);
    for (unsigned source = 0; source < Modulation::sourceCount; ++source) {
        for (unsigned to = 0; to < Modulation::destinationCount; ++to) {
            const auto& info =
                ParameterCatalog::OfInstrument().Parameters()[ModulationRoutes::AmountId(source, to)];
            EXPECT_EQ(info.description, "how much " + std::string(ModulationRoutes::Sources()[source]) +
                                            " moves " + std::string(ModulationRoutes::Destinations()[to]));
        }
    }
    const unsigned wheel = 6;
    const unsigned mix = *model.modulation.DestinationOf(IdOf("BodeVocoder_Wet"));
    plugin->SetPosition(IdOf("BodeVocoder_Wet"), 0.5F);
    plugin->SetPosition(IdOf("Controls_Enable"), 1.0F);
    model.modulation.Update(0.0F);
    EXPECT_FALSE(model.modulation.ModulatedPosition(IdOf("BodeVocoder_Wet")));
    plugin->SetPosition(ModulationRoutes::AmountId(wheel, mix), 0.25F);
    plugin->Play({0xB0, 1, 127});
    Play(*plugin, 4800);
    // A source a picture.
    for (unsigned n = 0; n < Modulation::sourceCount; ++n) {
        model.modulation.Update(0.0F);
    }
    ASSERT_TRUE(model.modulation.ModulatedPosition(IdOf("BodeVocoder_Wet")));
    EXPECT_NEAR(*model.modulation.ModulatedPosition(IdOf("BodeVocoder_Wet")), 0.0F, 1e-4F);
}

TEST(PanelBands, ShowWhereTheCablesLeadAndWhatIsHeld) {
    const auto plugin = Plugin();
    plugin->Activate(pluginRate);
    PanelModel model(*plugin, {});
    BandPicture::Levels heard{};
    heard[2] = 0.8F;
    heard[5] = 0.4F;
    model.bands.Update(*plugin, heard, 0.03);
    EXPECT_NEAR(model.bands.Synthesis()[2], 0.8F, 1e-3F);
    model.patchBay.Connect(2, 9, 0.5F);
    EXPECT_EQ(model.patchBay.Cables(), (std::vector<PatchBay::Cable>{{2, 9, 0.5F}}));
    for (int n = 0; n < 100; ++n) {
        model.bands.Update(*plugin, heard, 0.03);
    }
    for (unsigned band = 0; band < BandPicture::bandCount; ++band) {
        EXPECT_NEAR(model.bands.Synthesis()[band], band == 9 ? 0.4F : 0.0F, 1e-3F) << band;
    }
    plugin->SetPosition(PatchBay::HoldId(), 1.0F);
    for (int n = 0; n < 100; ++n) {
        model.bands.Update(*plugin, {}, 0.03);
    }
    EXPECT_NEAR(model.bands.Synthesis()[9], 0.4F, 1e-3F);
    EXPECT_NEAR(model.bands.Analysis()[2], 0.0F, 1e-3F);
    EXPECT_EQ(BandPicture::Height(1.0F), 1.0F);
    EXPECT_NEAR(BandPicture::Height(0.0316F), 0.5F, 0.001F);
    EXPECT_EQ(BandPicture::Height(0.0F), 0.0F);
}

TEST(PanelMeter, HoldsItsPeakAndItsClipLight) {
    Meter meter;
    meter.Update(1.2F, 0.03);
    EXPECT_TRUE(meter.HasClipped());
    EXPECT_EQ(meter.Level(), 1.0F);
    for (int n = 0; n < 30; ++n) {
        meter.Update(0.0F, 0.03);
    }
    EXPECT_LT(meter.Level(), 0.7F);
    EXPECT_EQ(meter.Peak(), 1.0F);
    for (int n = 0; n < 200; ++n) {
        meter.Update(0.0F, 0.03);
    }
    EXPECT_EQ(meter.Peak(), 0.0F);
    EXPECT_TRUE(meter.HasClipped());
    meter.Unclip();
    EXPECT_FALSE(meter.HasClipped());
}

TEST(PanelSearch, FindsByBeginningsOfWords) {
    EXPECT_TRUE(Matches("Classic Robot", "rob cla"));
    EXPECT_TRUE(Matches("FX1_Delay_DryWet", "delay drywet"));
    EXPECT_TRUE(Matches("anything", ""));
    EXPECT_FALSE(Matches("Classic Robot", "obot"));
    const std::vector<PluginInstrument::Program> programs = {{"a", "Choir", "a robot that sings", true},
                                                             {"b", "Robot", "", true},
                                                             {"c", "Bells", "", true, {"metal"}}};
    EXPECT_EQ(FindPrograms(programs, "robot"), (std::vector<std::uint32_t>{1, 0}));
    EXPECT_EQ(FindPrograms(programs, "bel met"), (std::vector<std::uint32_t>{2}));
    const auto all = FindParameters("", false);
    const std::set<std::uint32_t> found(all.begin(), all.end());
    for (const host::ParameterInfo& info : ParameterCatalog::OfInstrument().Parameters()) {
        EXPECT_EQ(found.contains(info.id), info.role == host::ParameterRole::Control) << info.name;
    }
    EXPECT_EQ(FindParameters("fx2 delay feedback", false), (std::vector{IdOf("FX2_Delay_Feedback")}));
}

TEST(PanelPresets, AreFoundSavedComparedAndCarriedByFiles) {
    const TemporaryFolder folder;
    const auto plugin = Plugin(folder.Path() / "presets");
    plugin->Activate(pluginRate);
    PanelModel model(*plugin, {});
    Presets& presets = model.presets;
    const std::size_t count = presets.Find("", Presets::Show::All).size();
    EXPECT_TRUE(presets.Find("", Presets::Show::Own).empty());
    const auto first = plugin->Programs()[1];
    presets.ToggleFavourite(first.id);
    EXPECT_EQ(presets.Find("", Presets::Show::Favourites), (std::vector<std::uint32_t>{1}));
    model.history.Set(IdOf("MasterVolume"), 0.25F);
    EXPECT_FALSE(presets.Save(" -- "));
    EXPECT_TRUE(presets.Save("Mine, all mine!"));
    EXPECT_FALSE(model.history.IsModified());
    EXPECT_TRUE(presets.Save(first.id)) << "beside the factory's";
    EXPECT_EQ(plugin->Programs()[1].name, first.name);
    EXPECT_EQ(presets.Find("", Presets::Show::Own).size(), 2U);
    EXPECT_EQ(presets.Find("", Presets::Show::All).size(), count + 2);
    EXPECT_EQ(plugin->Programs()[presets.Find("mine", Presets::Show::Own).at(0)].id, "mine-all-mine");
    model.LoadProgram(1);
    EXPECT_TRUE(presets.Save("Tagged"));
    EXPECT_EQ(plugin->Programs()[presets.Find("tagged", Presets::Show::Own).at(0)].tags, first.tags);
    EXPECT_FALSE(first.tags.empty());
    model.history.Undo();

    ASSERT_TRUE(presets.Export(folder.Path() / "sound.json"));
    presets.Compare();
    model.history.Set(IdOf("MasterVolume"), 0.75F);
    presets.Compare();
    EXPECT_NEAR(plugin->Position(IdOf("MasterVolume")), 0.25F, 1e-6F);
    presets.Compare();
    EXPECT_NEAR(plugin->Position(IdOf("MasterVolume")), 0.75F, 1e-6F);
    ASSERT_TRUE(presets.Import(folder.Path() / "sound.json"));
    EXPECT_NEAR(plugin->Position(IdOf("MasterVolume")), 0.25F, 1e-6F);
    model.history.Undo();
    EXPECT_NEAR(plugin->Position(IdOf("MasterVolume")), 0.75F, 1e-6F);
    WriteText(folder.Path() / "other.json", "no preset");
    EXPECT_FALSE(presets.Import(folder.Path() / "other.json"));
    EXPECT_FALSE(presets.Export(folder.Path() / "none" / "sound.json"));
}

TEST(PanelEffects, KnowTheControlsOfEveryType) {
    std::set<std::uint32_t> all;
    for (unsigned slot = 0; slot < EffectSlots::slotCount; ++slot) {
        const unsigned types = Describe(EffectSlots::TypeId(slot)).stepCount;
        for (unsigned type = 1; type < types; ++type) {
            const auto controls = EffectSlots::Controls(slot, type);
            EXPECT_GT(controls.size(), 5U);
            EXPECT_EQ(std::ranges::count(controls, *EffectSlots::MixId(slot, type)), 1) << type;
            all.insert(controls.begin(), controls.end());
        }
    }
    EXPECT_TRUE(EffectSlots::Controls(0, 0).empty());
    constexpr unsigned equalizer = 10;
    std::string bands;
    for (const std::uint32_t id : EffectSlots::Controls(1, equalizer)) {
        bands += EffectSlots::LabelWithin(id) + ", ";
    }
    EXPECT_EQ(bands.substr(0, bands.find("On 2")),
              "Stereo, Scale, Smooth On, On 1, Mode 1, Gain 1, Cutoff 1, Q 1, ");
    for (const host::ParameterInfo& info : ParameterCatalog::OfInstrument().Parameters()) {
        const bool isOfEffect = info.name.starts_with("FX") && info.name.find('_', 4) != std::string::npos &&
                                info.role == host::ParameterRole::Control &&
                                !info.name.ends_with("_Dry_Wet") &&
                                info.name.find("LFOSimple") == std::string::npos;
        EXPECT_TRUE(!isOfEffect || all.contains(info.id)) << info.name;
    }
}

TEST(PanelWatch, SeesKeysWheelsAndLevelsWhileSomebodyWatches) {
    const auto plugin = Plugin();
    plugin->Activate(pluginRate);
    const std::uint32_t wheel = IdOf("VST3_CtrlModWheel");
    plugin->Play({0xB0, 1, 127});
    Play(*plugin, 4800);
    EXPECT_EQ(plugin->TakeLevels().output[0], 0.0F) << "nobody watches";
    PanelModel model(*plugin, {});
    plugin->Play({0x90, 60, 127});
    plugin->Play({0x90, 64, 50});
    plugin->Play({0x80, 60, 0});
    PluginSong song;
    song.loop = song.frames;
    Play(*plugin, song);
    model.Tick(0.1);
    EXPECT_FALSE(model.keys.held[60]);
    EXPECT_TRUE(model.keys.held[64]);
    EXPECT_EQ(model.keys.newest, 64U);
    EXPECT_EQ(plugin->Position(wheel), 1.0F);
    EXPECT_GT(model.voice.Level(), 0.0F);
    EXPECT_GT(model.left.Level(), 0.0F);
    plugin->AllNotesOff();
    Play(*plugin, 480);
    EXPECT_TRUE(plugin->HeldKeys().held.none());
    std::size_t taken = 0;
    while (plugin->Play({0xB0, 1, 0}) && taken < 10000) {
        ++taken;
    }
    EXPECT_EQ(taken, 256U);
}

TEST(PanelSettings, AreReadBackAndSurviveAnythingInTheFile) {
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.Path() / "deep" / "panel.json";
    PanelSettings settings;
    settings.scale = 1.5F;
    settings.isBright = true;
    settings.favourites = {"one", "two"};
    ASSERT_TRUE(settings.Write(file));
    const PanelSettings read = PanelSettings::Read(file);
    EXPECT_EQ(read.scale, 1.5F);
    EXPECT_TRUE(read.isBright);
    EXPECT_EQ(read.favourites, settings.favourites);
    for (const char* const text : {"", "[]", "{\"scale\": \"wide\"}", "{\"scale\": 99"}) {
        WriteText(file, text);
        EXPECT_EQ(PanelSettings::Read(file).scale, 1.0F) << text;
    }
    EXPECT_FALSE(settings.Write("/proc/none/panel.json"));
}

} // namespace orphia::test
