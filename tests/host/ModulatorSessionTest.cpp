// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/ModulatorSession.h"

#include "TestFiles.h"
#include "host/Errors.h"
#include "host/ParameterText.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace orphia::host {

namespace {

using test::Sound;

class ModulatorSessionTest : public testing::Test {
protected:
    static const ParameterCatalog& Catalog() {
        static const ParameterCatalog catalog(EngineTree::Modulator);
        return catalog;
    }

    static std::unique_ptr<ModulatorSession> Ready(const std::vector<const char*>& settings = {},
                                                   std::uint32_t seed = 1) {
        auto session = std::make_unique<ModulatorSession>(44100, seed);
        session->Apply(DefaultPreset(Catalog()));
        for (const char* each : settings) {
            session->Set(ParseAssignment(Catalog(), each));
        }
        return session;
    }

    static Sound Render(ModulatorSession& session, double seconds) {
        Sound sound;
        sound.samples.resize(2 * static_cast<std::size_t>(seconds * 44100.0));
        session.Process(sound.samples);
        return sound;
    }

    std::filesystem::path Write(const std::string& name, const Sound& sound) const {
        test::WriteSound(folder / name, sound);
        return folder / name;
    }

    test::TemporaryFolder folder;
};

TEST_F(ModulatorSessionTest, TheDefaultPresetPlaysTheSampleOfTheKeyAsItIsAndOnce) {
    EXPECT_EQ(Catalog().Parameters().size(), 372U);
    const auto session = Ready();
    session->LoadSample(0, Write("loud.wav", test::Sine(1000.0, 0.5, 44100, 2, 0.5)));
    session->LoadSample(11, Write("soft.wav", test::Sine(1000.0, 0.5, 44100, 1, 0.05)));
    EXPECT_FALSE(session->HasSample(5));
    EXPECT_EQ(Render(*session, 0.1).Rms(), 0.0) << "no key yet";
    for (const auto& [slot, level] : {std::pair{0U, 0.5}, {11U, 0.05}}) {
        session->NoteOn(session->KeyOf(slot));
        const Sound sound = Render(*session, 0.4);
        EXPECT_NEAR(sound.Rms(0.05) * std::sqrt(2.0) / level, 1.0, 0.01) << "slot " << slot;
        EXPECT_TRUE(session->IsPlaying());
        Render(*session, 0.2);
        EXPECT_FALSE(session->IsPlaying()) << "slot " << slot;
        EXPECT_EQ(Render(*session, 0.1).Rms(), 0.0);
        session->NoteOff(session->KeyOf(slot));
    }
}

TEST_F(ModulatorSessionTest, ALoopGoesOnUntilTheKeyIsReleased) {
    const auto session = Ready({"Sample1_LoopOn=on"});
    session->LoadSample(0, Write("short.wav", test::Sine(1000.0, 0.1)));
    session->NoteOn(session->KeyOf(0));
    EXPECT_GT(Render(*session, 2.0).Rms(1.9), 0.2);
    session->NoteOff(session->KeyOf(0));
    Render(*session, 0.2);
    EXPECT_FALSE(session->IsPlaying());
}

TEST_F(ModulatorSessionTest, LoadingAgainTakesTheNewFileAndAFailureLeavesTheSampleEmpty) {
    const auto session = Ready();
    const auto path = Write("voice.wav", test::Sine(1000.0, 0.5, 44100, 2, 0.05));
    session->LoadSample(0, path);
    Write("voice.wav", test::Sine(1000.0, 0.5));
    session->LoadSample(0, path);
    session->NoteOn(session->KeyOf(0));
    EXPECT_GT(Render(*session, 0.2).Rms(0.1), 0.2);
    test::WriteText(path, "no sound");
    EXPECT_THROW(session->LoadSample(0, path), FileError);
    EXPECT_FALSE(session->HasSample(0));
    EXPECT_THROW(session->LoadSample(0, folder / std::string(300, 'a')), FileError);
    EXPECT_THROW(session->LoadSample(ModulatorSession::sampleCount, path), FileError);
    EXPECT_THROW(session->LoadSample(0, ""), FileError);
}

TEST_F(ModulatorSessionTest, RandomStartsFollowTheSeed) {
    const auto path = Write("voice.wav", test::Syllables(1.0));
    const auto play = [&](std::uint32_t seed) {
        const auto session = Ready({"PhaseRetrigMode=on"}, seed);
        session->LoadSample(0, path);
        session->NoteOn(session->KeyOf(0));
        return Render(*session, 0.05).samples;
    };
    EXPECT_EQ(play(1), play(1));
    EXPECT_NE(play(1), play(2));
}

} // namespace

} // namespace orphia::host
