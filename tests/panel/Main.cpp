// SPDX-License-Identifier: GPL-3.0-or-later
// orphia_panel_tests [of GoogleTest]; orphia_panel_tests --pictures FOLDER: a picture of each page;
// orphia_panel_tests --measure: what docs/panel.md tells of times.
#include "host/parameters/ParameterText.h"
#include "panel/DisplayAtoms.h"
#include "panel/PanelHands.h"
#include "panel/PanelRig.h"
#include "plugin/PluginRig.h"
#include "rigs/TestFiles.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {

double ThreadSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// Once all messages have come through.
std::size_t HeldBytes() {
    orphia::test::PanelHands::Wait(20);
    return mallinfo2().uordblks;
}

/// The longest time in which no message came through.
class Pulse final : public juce::Timer {
public:
    Pulse() { startTimer(1); }
    void timerCallback() override {
        const double now = juce::Time::getMillisecondCounterHiRes();
        longest = std::max(longest, now - std::exchange(last, now));
    }
    double longest = 0.0;

private:
    double last = juce::Time::getMillisecondCounterHiRes();
};

/// Ten minutes of stereo, dropped on a panel in a window, beside a time in which nothing is dropped.
void MeasureDrop() {
    const orphia::test::TemporaryFolder folder;
    orphia::test::WriteSound(folder / "long.flac", orphia::test::Sine(220.0, 600.0),
                             SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    orphia::test::PanelRig rig;
    orphia::test::PanelHands hands(rig.panel);
    hands.Wait(1000);
    for (int round = 0; round < 3; ++round) {
        std::array<double, 2> longest{};
        double seconds = 0.0;
        {
            const Pulse pulse;
            const double begin = juce::Time::getMillisecondCounterHiRes();
            hands.DragFile(rig.panel, {600.0F, 200.0F}, (folder / "long.flac").string());
            hands.DropFile();
            while (rig.instrument.IsLoading()) {
                hands.Wait(1);
            }
            seconds = 1e-3 * (juce::Time::getMillisecondCounterHiRes() - begin);
            hands.Wait(100);
            longest[0] = pulse.longest;
        }
        {
            const Pulse pulse;
            hands.Wait(juce::roundToInt(1000.0 * seconds) + 100);
            longest[1] = pulse.longest;
        }
        std::printf("ten minutes dropped: there in %.1f s, the longest pause %.0f ms; without, %.0f ms\n",
                    seconds, longest[0], longest[1]);
    }
}

/// What docs/panel.md tells: opening, and drawing in a window while the instrument plays speech.
int Measure() {
    orphia::plugin::PluginInstrument::Options options;
    options.library = ORPHIA_ENGINE_LIBRARY;
    orphia::plugin::PluginInstrument instrument(options);
    instrument.Activate(48000.0);
    std::vector<double> opening;
    std::size_t held = 0;
    constexpr std::size_t openings = 200;
    for (std::size_t n = 0; n < openings; ++n) {
        if (n == openings / 4) { // caches of fonts are filled by then
            held = HeldBytes();
        }
        const double begin = ThreadSeconds();
        orphia::panel::Panel panel(instrument, std::filesystem::path());
        panel.createComponentSnapshot(panel.getLocalBounds());
        opening.push_back(ThreadSeconds() - begin);
    }
    const auto left = static_cast<double>(HeldBytes()) - static_cast<double>(held);
    std::printf("opening with its first picture: the first %.0f ms, ", 1e3 * opening.front());
    const auto middle = opening.begin() + openings / 2;
    std::ranges::nth_element(opening, middle);
    std::printf("median of %zu %.0f ms; the last %zu left %.1f kB\n", openings, 1e3 * *middle,
                openings - openings / 4, left / 1024.0);
    orphia::test::PanelRig rig;
    const orphia::test::PanelHands hands(rig.panel);
    std::atomic<bool> ends{false};
    std::thread audio([&] {
        for (auto next = std::chrono::steady_clock::now(); !ends; next += std::chrono::milliseconds(32)) {
            rig.PlaySound(0.032);
            std::this_thread::sleep_until(next);
        }
    });
    for (std::size_t page = 0; page < rig.panel.PageCount(); ++page) {
        rig.panel.ShowPage(page);
        hands.Wait(500);
        const double begin = ThreadSeconds();
        hands.Wait(5000);
        std::printf("%s: %.1f %% of a core\n", rig.panel.PageTitle(page).toRawUTF8(),
                    100.0 * (ThreadSeconds() - begin) / 5.0);
    }
    ends = true;
    audio.join();
    MeasureDrop();
    return 0;
}

/// Some of all that can be seen.
void Furnish(orphia::plugin::PluginInstrument& instrument) {
    const auto& catalog = orphia::host::ParameterCatalog::OfInstrument();
    for (const char* const each :
         {"FX1_ModuleType=equalizer", "FX1_ParamEq_Gain1=-6 dB", "FX1_ParamEq_Gain3=7 dB", "FX1_ParamEq_Q3=2",
          "FX1_ParamEq_Gain5=4 dB", "FX2_ModuleType=delay", "FX2_Delay_DryWet=0.7", "FX2_Delay_Offset=0.15",
          "FX2_Delay_Feedback=0.6", "FX3_ModuleType=overdrive", "FX3_TS808_Bias=0.3", "FX3_Bypass=on",
          "Modulations_Dst5_Src2_Amount=0.2", "LFO_Enable=on", "BodeVocoder_PatchBay_Activated=on",
          "BodeVocoder_PatchBay_GainBand2=0.5", "BodeVocoder_PatchBay_GainBand14=0.2",
          "Modulations_Dst23_Src2_Amount=0.3", "Modulations_Dst21_Src7_Amount=-0.6"}) {
        instrument.Set(orphia::host::ParseAssignment(catalog, each));
    }
    for (unsigned band = 1; band <= 16; ++band) {
        const unsigned to = band < 5 ? band : band < 9 ? band + 4 : band < 13 ? band - 3 : band;
        instrument.Set(orphia::host::ParseAssignment(
            catalog, "BodeVocoder_PatchBay_Analysis" + std::to_string(band) + "_Synthesis" +
                         std::to_string(to) + (band % 3 == 0 ? "=0.4" : "=1")));
    }
    const std::filesystem::path sources = ORPHIA_EXAMPLES;
    {
        const orphia::test::TemporaryFolder folder;
        orphia::test::WriteSound(folder / "choir.wav", orphia::test::Sine(220.0, 0.1));
        orphia::test::LoadNow(instrument, {{0, sources / "voice.flac"},
                                           {1, sources / "../presets/samples/beat.flac"},
                                           {2, sources / "chord.flac"},
                                           {3, folder / "choir.wav"}});
    }
    // Without the last one, whose folder is gone.
    instrument.LoadState(instrument.SaveState());
    for (const char* const each :
         {"Modulator_Sampler_Sample1_TrimStart=0.06", "Modulator_Sampler_Sample1_TrimStop=0.93",
          "Modulator_Sample1_LoopOn=on", "Modulator_Sampler_Sample1_LoopStart=0.36",
          "Modulator_Sampler_Sample1_LoopStop=0.78"}) {
        instrument.Set(orphia::host::ParseAssignment(catalog, each));
    }
    instrument.AssignMacro(0, {"Brighter", {{catalog.Find("Osc1Shape").id, 0.0F, 1.0F}}});
    instrument.AssignMacro(1, {"Farther", {{catalog.Find("FX2_Delay_DryWet").id, 0.1F, 0.9F}}});
    instrument.SetPosition(orphia::plugin::PluginParameters::firstMacro + 1, 0.6F);
}

int WritePictures(const std::filesystem::path& folder) {
    orphia::test::PanelRig rig;
    std::filesystem::create_directories(folder);
    for (const unsigned key : {48U, 55U, 63U}) {
        rig.instrument.Play({0x90, static_cast<std::uint8_t>(key), 100});
    }
    Furnish(rig.instrument);
    rig.Play(1.2);
    const std::uint32_t liveVoice =
        orphia::host::ParameterCatalog::OfInstrument().Find("Modulator_ExternalInput").id;
    bool isDone = true;
    for (const bool isBright : {false, true}) {
        rig.panel.SetBright(isBright);
        for (std::size_t page = 0; page < rig.panel.PageCount(); ++page) {
            rig.panel.ShowPage(page);
            rig.Play(0.05);
            // Files are read beside it, and one of them plays.
            const bool isSamples = rig.panel.PageTitle(page) == "Samples";
            rig.instrument.SetPosition(liveVoice, isSamples ? 0.0F : 1.0F);
            if (isSamples) {
                std::this_thread::sleep_for(std::chrono::milliseconds(400));
                rig.instrument.Play({0x90, 36, 100});
                rig.Play(2.4);
                rig.instrument.Play({0x80, 36, 0});
            }
            const std::string name = rig.panel.PageTitle(page).toLowerCase().toStdString();
            const std::filesystem::path file = folder / (name + (isBright ? "-bright" : ""));
            isDone &= rig.WritePicture(file.string() + "-100.png", 1.0F);
            isDone &= isBright || rig.WritePicture(file.string() + "-200.png", 2.0F);
        }
    }
    return isDone ? 0 : 1;
}

} // namespace

int main(int count, char** words) {
    if (!orphia::test::MakeDisplayAtoms()) {
        std::puts("no display: skipped");
        return 77;
    }
    const juce::ScopedJuceInitialiser_GUI juce;
    if (count == 3 && std::string_view(words[1]) == "--pictures") {
        return WritePictures(words[2]);
    }
    if (count == 2 && std::string_view(words[1]) == "--measure") {
        return Measure();
    }
    testing::InitGoogleTest(&count, words);
    return RUN_ALL_TESTS();
}
