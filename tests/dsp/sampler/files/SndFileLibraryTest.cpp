// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/files/SndFileLibrary.h"

#include "rigs/LogRecorder.h"
#include "support/Resources.h"
#include "support/platform/Platform.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

namespace {

using Velmora::dsp::SndFileLibrary;

TEST(SndFileLibrary, IsTheProductsOwnOrElseTheSystems) {
    LogRecorder recorder;
    bool isInstalled = true;
    Velmora::ResourceEnvironment environment;
    environment.machineDataFolder = [] { return "/shared/data/"; };
    environment.fileExists = [&](const std::string& path) {
        return isInstalled && path.find("/Velmora/Shared/x64/libsndfile-2.end") != std::string::npos;
    };
    environment.librarySuffix = ".end";
    const Velmora::Resources resources(environment, recorder.log);
    const std::string suffix(Velmora::Platform::LibrarySuffix());
    EXPECT_EQ(SndFileLibrary::Locate(resources), "/shared/data//Velmora/Shared/x64/libsndfile-2" + suffix);
    isInstalled = false;
    EXPECT_EQ(SndFileLibrary::Locate(resources), Velmora::Platform::SystemSoundFileLibrary());
    EXPECT_TRUE(SndFileLibrary::GetInstance().sfReadfFloat);
}

TEST(SndFileLibrary, TellsWhichLibraryCouldNotBeLoadedAndRaisesWhereItLacksACall) {
    try {
        const SndFileLibrary absent("/no/such/libsndfile.so");
        FAIL() << "loaded";
    } catch (const std::runtime_error& error) {
        const std::string text = error.what();
        EXPECT_EQ(text.rfind("ERROR : unable to load libsndfile at /no/such/libsndfile.so: ", 0), 0U) << text;
    }
    SF_INFO info;
    EXPECT_THROW(SndFileLibrary("libm.so.6").OpenForReading("a.wav", info), std::bad_function_call);
}

TEST(SndFileLibrary, OpensByTheWideNameWhereThereIsSuchAFunction) {
    SndFileLibrary library(Velmora::Platform::SystemSoundFileLibrary());
    std::wstring opened;
    int framesBefore = -1;
    library.sfWcharOpen = [&](const wchar_t* path, int, SF_INFO* info) -> SNDFILE* {
        opened = path;
        framesBefore = static_cast<int>(info->frames);
        return nullptr;
    };
    SF_INFO info;
    info.frames = 77;
    EXPECT_EQ(library.OpenForReading("/folder/a sound.wav", info), nullptr);
    EXPECT_EQ(opened, L"/folder/a sound.wav");
    EXPECT_EQ(framesBefore, 0) << "what the caller left is passed on";
}

} // namespace
