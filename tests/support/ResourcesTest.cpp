// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/Resources.h"

#include "support/LogRecorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Velmora::LogLevel;
using Velmora::ResourceEnvironment;
using Velmora::Resources;

// A machine whose answers and files are made up, and which notes the paths that were asked for.
struct FakeMachine {
    std::optional<std::string> dataFolder = "C:\\Data\\All Users";
    std::string libraryPath = "C:/Plugins/Voice.vst3/Contents/x64/Voice.vst3";
    std::vector<std::string> files;
    std::vector<std::string> asked;

    ResourceEnvironment Environment() {
        ResourceEnvironment environment;
        environment.machineDataFolder = [this] { return dataFolder; };
        environment.libraryPath = [this] { return libraryPath; };
        environment.fileExists = [this](const std::string& path) {
            asked.push_back(path);
            return std::find(files.begin(), files.end(), path) != files.end();
        };
        environment.librarySuffix = ".dll";
        return environment;
    }
};

class ResourcesTest : public ::testing::Test {
protected:
    ResourcesTest() { recorder.log.SetThreshold("description", LogLevel::Debug); }

    std::string ProductOf(const std::string& path) {
        machine.libraryPath = path;
        return Resources(machine.Environment(), recorder.log).GetProductName();
    }

    FakeMachine machine;
    LogRecorder recorder;
};

TEST_F(ResourcesTest, TellsWhatItFoundInOrder) {
    machine.libraryPath = "c:\\Plugins\\Voice.dll";
    const Resources resources(machine.Environment(), recorder.log);
    EXPECT_EQ(resources.GetProgramDataPath(), "C:\\Data\\");
    EXPECT_EQ(resources.GetProductName(), "Voice");
    EXPECT_EQ(recorder.Tails(),
              (std::vector<std::string>{
                  "description |    info | [CONF] ProgramData Path : C:\\Data\\All Users",
                  "description |  notice | [CONF] GetDyLibFullPath filename:C:\\Plugins\\Voice.dll",
                  "description |  notice | [CONF] productname:Voice"}));
}

TEST_F(ResourcesTest, GoesOnWithEmptyPathsWhenTheSystemKnowsNone) {
    machine.dataFolder.reset();
    machine.libraryPath.clear();
    const Resources resources(machine.Environment(), recorder.log);
    EXPECT_EQ(resources.GetProgramDataPath(), "");
    EXPECT_EQ(resources.GetProductName(), "");
    EXPECT_EQ(recorder.Tails(),
              (std::vector<std::string>{"description |   error | [CONF] ProgramData not found - Path : ",
                                        "description |  notice | [CONF] GetDyLibFullPath filename:",
                                        "description |  notice | [CONF] DyLibFullPath not found - Path : "}));
}

TEST_F(ResourcesTest, TakesTheProductNameFromTheLibraryAndJoinsTheTwoLumenDesks) {
    EXPECT_EQ(ProductOf("/opt/Lumen Desk 3.so"), "Lumen Desk 4");
    EXPECT_EQ(ProductOf("C:\\x\\Lumen Desk 3.vst3"), "Lumen Desk 4");
    EXPECT_EQ(ProductOf("/opt/Lumen Desk 4.so"), "Lumen Desk 4");
    EXPECT_EQ(ProductOf("/opt/Lumen Desk 3 Pro.so"), "Lumen Desk 3 Pro");
    EXPECT_EQ(ProductOf("/opt/Lumen Desk 30.so"), "Lumen Desk 30");
    EXPECT_EQ(ProductOf("/opt/lumen desk 3.so"), "lumen desk 3");
    EXPECT_EQ(ProductOf("/opt/x.y/two.dots.so"), "two.dots");
    EXPECT_EQ(ProductOf("bare"), "bare");
}

TEST_F(ResourcesTest, LooksForALibraryInSixPlacesWithoutAResourcesFolder) {
    const Resources resources(machine.Environment(), recorder.log);
    try {
        resources.FindLibraryFolder("sound");
        ADD_FAILURE() << "found a library that is nowhere";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "ERROR : unable to find sound folder");
    }
    EXPECT_EQ(machine.asked,
              (std::vector<std::string>{"C:\\Data\\/Velmora/Shared/x64/sound.dll", "./sound.dll",
                                        "C:/Plugins/Voice.vst3/data/Shared/x64/sound.dll",
                                        "C:/Plugins/Voice.vst3/Shared/x64/sound.dll",
                                        "C:/Plugins/Voice.vst3/../../Shared/x64/sound.dll",
                                        "../../Shared/x64/sound.dll"}));
}

TEST_F(ResourcesTest, LooksAroundTheResourcesFolderOnceThereIsOne) {
    Resources resources(machine.Environment(), recorder.log);
    resources.SetResourcesFolder("/res/");
    EXPECT_THROW(resources.FindLibraryFolder("sound"), std::runtime_error);
    ASSERT_EQ(machine.asked.size(), 6U);
    EXPECT_EQ(machine.asked[2], "/res/../Shared/x64/sound.dll");
    EXPECT_EQ(machine.asked[5], "/res/../../Shared/x64/sound.dll");
}

TEST_F(ResourcesTest, AnswersWithTheFolderOfTheFirstFileFound) {
    Resources resources(machine.Environment(), recorder.log);
    resources.SetResourcesFolder("/res/");
    EXPECT_THROW(resources.FindLibraryFolder("s"), std::runtime_error);
    const auto places = machine.asked;
    // From the last place to the first: each place that gets the file outranks the later ones.
    for (std::size_t i = places.size(); i-- > 0;) {
        machine.files.push_back(places[i]);
        machine.asked.clear();
        const std::string folder = resources.FindLibraryFolder("s");
        EXPECT_EQ(folder + "s.dll", places[i]);
        EXPECT_EQ(machine.asked.size(), i + 1) << "later places were asked for after a find";
    }
    machine.files = {"./s.dll"};
    EXPECT_EQ(resources.FindLibraryFolder("s"), "./");
}

TEST_F(ResourcesTest, ComplainsAboutAMissingResourcesFolderOnly) {
    Resources resources(machine.Environment(), recorder.log);
    recorder.lines.clear();
    EXPECT_EQ(resources.GetResourcesFolder(), "");
    EXPECT_EQ(recorder.Tails(),
              std::vector<std::string>{"description |   error | Resources Folder not yet defined"});
    resources.SetResourcesFolder("/res/");
    EXPECT_EQ(resources.GetResourcesFolder(), "/res/");
    EXPECT_EQ(recorder.lines.size(), 1U);
}

TEST_F(ResourcesTest, KnowsTheRealLibraryThroughTheProcessWideInstance) {
    const auto& resources = Resources::GetInstance();
    EXPECT_EQ(&resources, &Resources::GetInstance());
    EXPECT_FALSE(resources.GetProductName().empty());
    EXPECT_NE(Velmora::Platform::LibraryPath().find(resources.GetProductName()), std::string::npos)
        << resources.GetProductName();
}

} // namespace
