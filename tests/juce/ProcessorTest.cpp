// SPDX-License-Identifier: GPL-3.0-or-later
// What JUCE's wrappers hold, as they use it.
#include "plugin/juce/Processor.h"

#include "host/engine/EngineLibrary.h"
#include "host/presets/Preset.h"
#include "panel/DisplayAtoms.h"
#include "panel/PanelHands.h"
#include "plugin/HeldResources.h"
#include "plugin/PluginRig.h"
#include "realtime/CallTrap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <random>
#include <thread>

namespace orphia::test {

namespace {

using Kind = PluginInstrument::Kind;
using plugin::Processor;

class ProcessorTest : public testing::Test {
protected:
    static std::unique_ptr<Processor> Make(Kind kind = Kind::Effect) {
        setenv("ORPHIA_ENGINE", ORPHIA_ENGINE_LIBRARY, 1);
        return std::make_unique<Processor>(kind);
    }

    /// Once, in front of all that JUCE asks of it.
    static bool HasDisplay() {
        static const bool isThere = MakeDisplayAtoms();
        return isThere;
    }

    const bool hasDisplay = HasDisplay();
    const juce::ScopedJuceInitialiser_GUI juce;
};

/// Where the host is in the song, as VST3 tells it.
struct LoopingHost final : juce::AudioPlayHead {
    juce::Optional<PositionInfo> getPosition() const override {
        PositionInfo info;
        info.setBpm(exactTempo);
        info.setTimeInSamples(frame);
        if (tellsBeat) {
            info.setPpqPosition(static_cast<double>(frame) / framesPerExactBeat);
        }
        info.setIsPlaying(true);
        return info;
    }
    std::int64_t frame = 0;
    bool tellsBeat = true;
};

/// As Play does on the core; with a block of 0 they have any lengths, and the host tells no beat.
std::vector<float> PlayProcessor(Processor& processor, const PluginSong& song, std::size_t block) {
    std::mt19937 random(1);
    LoopingHost host;
    host.tellsBeat = block > 0;
    processor.setPlayHead(&host);
    std::vector<float> result;
    std::size_t next = 0;
    juce::MidiBuffer messages;
    for (std::size_t at = 0; at < song.frames;) {
        const std::size_t count =
            std::min({block > 0 ? block : random() % 200, song.frames - at, song.loop - at % song.loop});
        juce::AudioBuffer<float> sound(2, static_cast<int>(count));
        for (std::size_t n = 0; n < 2 * count; ++n) {
            const std::size_t from = 2 * at + n;
            sound.setSample(static_cast<int>(n % 2), static_cast<int>(n / 2),
                            from < song.voice.samples.size() ? song.voice.samples[from] : 0.0F);
        }
        for (; next < song.events.size() && song.events[next].frame < at + count; ++next) {
            const auto& message = std::get<host::MidiMessage>(song.events[next].what);
            messages.addEvent(juce::MidiMessage(message.status, message.data1, message.data2),
                              static_cast<int>(song.events[next].frame - at));
        }
        host.frame = static_cast<std::int64_t>(at % song.loop);
        processor.processBlock(sound, messages);
        for (std::size_t n = 0; n < 2 * count; ++n) {
            result.push_back(sound.getSample(static_cast<int>(n % 2), static_cast<int>(n / 2)));
        }
        at += count;
    }
    processor.setPlayHead(nullptr);
    return result;
}

/// Rendered offline, a program comes at its frame, too.
TEST_F(ProcessorTest, SoundsAsTheCoreInBlocksOfAnyLengthWithMessagesAtTheirFramesAndTheHostsLoop) {
    const auto core = Plugin({}, Kind::Effect);
    // A gate that follows the beat.
    const auto programs = core->Programs();
    const auto gate = std::find_if(programs.begin(), programs.end(),
                                   [](const auto& program) { return program.id == "rhythm-gate"; });
    ASSERT_TRUE(core->LoadProgram(static_cast<std::uint32_t>(gate - programs.begin())));
    const std::string state = core->SaveState();
    core->SetOffline(true);
    core->Activate(pluginRate);
    const auto latency = static_cast<int>(core->LatencyFrames());
    PluginSong song = Notes();
    song.loop = 7000;
    song.events.insert(song.events.begin() + 2, {9001, host::MidiMessage{0xC0, 5, 0}});
    const std::vector<float> expected = Play(*core, song, 500);
    EXPECT_GT(Loudest({expected.begin() + 2 * 12000, expected.end()}), 0.01F);
    for (const std::size_t block : {500U, 0U, 1U, 63U, 4096U}) {
        const auto processor = Make();
        processor->setStateInformation(state.data(), static_cast<int>(state.size()));
        processor->setNonRealtime(true);
        processor->setRateAndBufferSizeDetails(pluginRate, 512);
        processor->prepareToPlay(pluginRate, 512);
        EXPECT_EQ(processor->getLatencySamples(), latency);
        EXPECT_TRUE(PlayProcessor(*processor, song, block) == expected) << block;
        EXPECT_EQ(processor->getCurrentProgram(), 5);
    }
}

TEST_F(ProcessorTest, ALatencyThatChangesIsToldToTheHost) {
    const auto processor = Make();
    processor->prepareToPlay(pluginRate, 512);
    const int before = processor->getLatencySamples();
    for (juce::AudioProcessorParameter* const parameter : processor->getParameters()) {
        if (parameter->getName(100) == "FX1 Type") {
            parameter->setValue(parameter->getValueForText("crusher"));
        }
    }
    PluginSong song = Notes();
    song.frames = 4800;
    PlayProcessor(*processor, song, 64);
    juce::Timer::callAfterDelay(300, [] { juce::MessageManager::getInstance()->stopDispatchLoop(); });
    juce::MessageManager::getInstance()->runDispatchLoop();
    EXPECT_GT(processor->getLatencySamples(), before);
    // That of a state at once.
    juce::MemoryBlock state;
    processor->getStateInformation(state);
    const auto other = Make();
    other->prepareToPlay(pluginRate, 512);
    other->setStateInformation(state.getData(), static_cast<int>(state.getSize()));
    EXPECT_EQ(other->getLatencySamples(), processor->getLatencySamples());
}

TEST_F(ProcessorTest, IdsAreTheEnginesAndTextsTheCoresThereAndBack) {
    const auto processor = Make();
    const auto& all = plugin::PluginParameters::Get().All();
    std::vector<juce::uint32> hashes;
    for (juce::AudioProcessorParameter* const parameter : processor->getParameters()) {
        auto& ours = dynamic_cast<juce::AudioProcessorParameterWithID&>(*parameter);
        const auto* const listed = plugin::PluginParameters::Get().Find(
            static_cast<std::uint32_t>(ours.paramID.substring(1).getIntValue()));
        ASSERT_NE(listed, nullptr) << ours.paramID;
        EXPECT_EQ(ours.getValueForText(ours.getText(listed->start, 100)),
                  plugin::PluginParameters::Get()
                      .PositionOf(listed->id, plugin::PluginParameters::Get().Text(listed->id, listed->start))
                      .value_or(-1.0F))
            << listed->symbol;
        // So a VST3 knows them.
        hashes.push_back(static_cast<juce::uint32>(ours.paramID.hashCode()));
    }
    std::sort(hashes.begin(), hashes.end());
    EXPECT_EQ(hashes.size(), all.size());
    EXPECT_EQ(std::unique(hashes.begin(), hashes.end()), hashes.end());
}

/// Descriptions of an LV2 have them by their addresses.
TEST_F(ProcessorTest, GroupsLieInMemoryInTheirOrder) {
    const auto processor = Make();
    const auto groups = processor->getParameterTree().getSubgroups(false);
    EXPECT_GT(groups.size(), 5);
    EXPECT_TRUE(std::is_sorted(groups.begin(), groups.end()));
}

/// A host hears of what others moved, and not of what it set itself.
TEST_F(ProcessorTest, TellsTheHostWhatItDoesNotKnow) {
    struct Ears final : juce::AudioProcessorParameter::Listener {
        void parameterValueChanged(int, float value) override { heard.push_back(value); }
        void parameterGestureChanged(int, bool) override {}
        std::vector<float> heard;
    } ears;
    const auto core = Plugin();
    plugin::HostParameter parameter(*core, plugin::PluginParameters::Get().All().front());
    parameter.addListener(&ears);
    parameter.setValue(0.25F);
    parameter.TellHost(false);
    EXPECT_TRUE(ears.heard.empty());
    core->SetPosition(plugin::PluginParameters::Get().All().front().id, 0.75F);
    parameter.TellHost(true);
    parameter.TellHost(true);
    EXPECT_EQ(ears.heard, std::vector<float>{0.75F});
    parameter.removeListener(&ears);
}

/// Plays with both traps by turns, on the thread that calls, until it may end. Returns how many blocks there
/// were.
int PlayTrapped(Processor& processor, const std::function<bool(int)>& goesOn) {
    const bool isTold = SystemCallTrap::Prepare();
    LoopingHost host;
    processor.setPlayHead(&host);
    juce::AudioBuffer<float> sound(2, 512);
    juce::MidiBuffer messages;
    messages.ensureSize(4096);
    int round = 0;
    for (; goesOn(round); ++round) {
        messages.addEvent(juce::MidiMessage::noteOn(1, 40 + round % 40, 0.8F), round % 40);
        sound.setSize(2, round % 4 == 0 ? 1 : 512, false, false, true);
        const auto process = [&] {
            processor.getParameters()[round % 40]->setValue(0.3F);
            processor.processBlock(sound, messages);
        };
        const bool isTrappedBySystem = isTold && round % 2 == 1;
        long systemCall = SystemCallTrap::none;
        std::size_t calls = 0;
        std::string first;
        if (isTrappedBySystem) {
            const SystemCallTrap trap;
            process();
            systemCall = trap.FirstCall();
        } else {
            const CallTrap trap;
            process();
            calls = trap.Count();
            first = trap.FirstCall();
        }
        EXPECT_EQ(calls, 0U) << first;
        EXPECT_EQ(systemCall, SystemCallTrap::none);
    }
    processor.setPlayHead(nullptr);
    return round;
}

TEST_F(ProcessorTest, AudioThreadCallsNothingOfTheSystem) {
    const auto processor = Make();
    processor->setRateAndBufferSizeDetails(pluginRate, 512);
    processor->prepareToPlay(pluginRate, 512);
    PlayTrapped(*processor, [](int round) { return round < 40; });
}

/// Each page is shown and worked meanwhile, so that the audio thread has to tell all that a panel shows.
TEST_F(ProcessorTest, AudioThreadCallsNothingOfTheSystemWhileTheEditorIsOpen) {
    if (!hasDisplay) {
        GTEST_SKIP() << "no display";
    }
    const auto processor = Make();
    processor->setRateAndBufferSizeDetails(pluginRate, 512);
    processor->prepareToPlay(pluginRate, 512);
    const std::unique_ptr<juce::AudioProcessorEditor> editor(processor->createEditorIfNeeded());
    ASSERT_NE(editor, nullptr);
    std::atomic<bool> isDone{false};
    int blocks = 0;
    std::thread audio([&] {
        blocks = PlayTrapped(*processor, [&isDone](int) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            return !isDone;
        });
    });
    {
        PanelHands hands(*editor);
        EXPECT_TRUE(editor->isShowing());
        const juce::Rectangle<float> all = editor->getLocalBounds().toFloat();
        for (int page = 0; page < 8; ++page) {
            hands.Key(juce::KeyPress::F1Key + page);
            for (const float y : {0.2F, 0.4F, 0.6F, 0.95F}) {
                const juce::Point<float> place = all.getRelativePoint(0.1F * static_cast<float>(page + 1), y);
                hands.Drag(*editor, place, place.translated(0.0F, -20.0F));
            }
            hands.Key('a', {}, 'a');
            PanelHands::Wait(150);
        }
    }
    isDone = true;
    audio.join();
    EXPECT_GT(blocks, 40);
}

TEST_F(ProcessorTest, TwoHundredClosedInstancesLeaveNoThreadNoFileAndNoMemory) {
    const auto open = [](unsigned count) {
        double seconds = 0.0;
        for (unsigned n = 0; n < count; ++n) {
            const auto start = std::chrono::steady_clock::now();
            const auto processor = Make(n % 2 == 0 ? Kind::Instrument : Kind::Effect);
            processor->prepareToPlay(pluginRate, 512);
            seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            juce::MemoryBlock state;
            processor->getStateInformation(state);
        }
        return seconds / count;
    };
    open(10);
    const HeldResources before;
    const double seconds = open(200);
    before.ExpectNoMoreNow();
    std::printf("VST3 and LV2 with the panel: %.0f ms to create and activate\n", 1000.0 * seconds);
}

/// Told, not judged: the processor time that a tenth of a second of a chord costs, by turns, the engine
/// alone, the core and JUCE's processor; the medians of the ratios.
TEST_F(ProcessorTest, CostBesideTheEngineAlone) {
    constexpr std::size_t frames = 4800, rounds = 400;
    const Sound voice = Syllables(0.5, 48000);
    const host::MidiMessage chord[] = {{0x90, 48, 100}, {0x90, 55, 100}, {0x90, 60, 100}};
    std::array<std::vector<float>, 2> sides{std::vector<float>(64), std::vector<float>(64)};
    float* const pointers[] = {sides[0].data(), sides[1].data()};
    const auto time = [&](std::size_t block, const auto& process) {
        const std::clock_t start = std::clock();
        for (std::size_t at = 0; at < frames; at += block) {
            for (std::size_t n = 0; n < 2 * block; ++n) {
                sides[n % 2][n / 2] = voice.samples[2 * at + n];
            }
            process();
        }
        return static_cast<double>(std::clock() - start);
    };
    for (const std::size_t block : {std::size_t{64}, std::size_t{16}}) {
        host::Instrument engine(host::EngineLibrary::Load(ORPHIA_ENGINE_LIBRARY), 48000, 1);
        engine.SetLimiter(true);
        engine.LoadPreset(host::DefaultPreset(host::ParameterCatalog::OfInstrument()));
        auto core = Plugin({}, Kind::Effect);
        const auto processor = Make();
        core->Activate(pluginRate);
        processor->setRateAndBufferSizeDetails(pluginRate, 512);
        processor->prepareToPlay(pluginRate, 512);
        juce::AudioBuffer<float> sound(pointers, 2, static_cast<int>(block));
        juce::MidiBuffer messages;
        std::vector<host::TimedEvent> events;
        for (const host::MidiMessage& key : chord) {
            engine.Send(key);
            events.push_back({0, key});
            messages.addEvent(juce::MidiMessage(key.status, key.data1, key.data2), 0);
        }
        std::array<std::vector<double>, 2> ratios;
        for (std::size_t round = 0; round < rounds; ++round) {
            const double alone =
                time(engine.FramesPerBlock(), [&] { engine.ProcessBlock(pointers, 2, pointers); });
            ratios[0].push_back(time(block,
                                     [&] {
                                         core->Process({pointers, 2, pointers,
                                                        static_cast<std::uint32_t>(block), events, nullptr});
                                         events.clear();
                                     }) /
                                alone);
            ratios[1].push_back(time(block, [&] { processor->processBlock(sound, messages); }) / alone);
        }
        for (std::vector<double>& each : ratios) {
            std::nth_element(each.begin(), each.begin() + rounds / 2, each.end());
            EXPECT_GT(each[rounds / 2], 0.0);
        }
        std::printf("blocks of %zu beside the engine alone: the core %+.1f %%, JUCE's processor %+.1f %%\n",
                    block, 100.0 * (ratios[0][rounds / 2] - 1.0), 100.0 * (ratios[1][rounds / 2] - 1.0));
    }
}

} // namespace

} // namespace orphia::test
