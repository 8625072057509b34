// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/platform/Platform.h"

#include "support/platform/DynamicLibrary.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>

namespace {

namespace Platform = Velmora::Platform;

TEST(Platform, TakesTheFirstExistingDataFolderWithASeparatorAtItsEnd) {
    const char* variable = std::getenv("XDG_DATA_DIRS");
    const std::string former = variable != nullptr ? variable : "/usr/share";
    const std::string existing = std::filesystem::path(::testing::TempDir()).parent_path();
    setenv("XDG_DATA_DIRS", ("relative:/no/such/folder:" + existing + ":/usr").c_str(), 1);
    EXPECT_EQ(Platform::MachineDataFolder(), existing + "/");
    setenv("XDG_DATA_DIRS", "/no/such/folder", 1);
    EXPECT_EQ(Platform::MachineDataFolder(), "/usr/local/share/");
    setenv("XDG_DATA_DIRS", former.c_str(), 1);
}

TEST(Platform, KnowsItsOwnFileByAFullPath) {
    const std::string path = Platform::LibraryPath();
    EXPECT_TRUE(std::filesystem::path(path).is_absolute()) << path;
    EXPECT_TRUE(Platform::FileExists(path)) << path;
    EXPECT_FALSE(Platform::FileExists(path + ".absent"));
}

TEST(DynamicLibrary, FindsFunctionsAndTellsWhyALibraryIsNotThere) {
    Platform::DynamicLibrary library("libm.so.6");
    Platform::DynamicLibrary owner = std::move(library);
    // NOLINTNEXTLINE(bugprone-use-after-move,clang-analyzer-cplusplus.Move): a moved-from library is closed
    EXPECT_EQ(library.FindFunction<double(double)>("cbrt"), nullptr) << "found without a library";
    ASSERT_TRUE(owner.IsOpen()) << owner.GetError();
    auto* cubeRoot = owner.FindFunction<double(double)>("cbrt");
    ASSERT_NE(cubeRoot, nullptr);
    EXPECT_DOUBLE_EQ(cubeRoot(27.0), 3.0);
    EXPECT_EQ(owner.FindFunction<void()>("no_such_function"), nullptr);
    const Platform::DynamicLibrary absent("/no/such/library.so");
    EXPECT_FALSE(absent.IsOpen());
    EXPECT_NE(absent.GetError().find("/no/such/library.so"), std::string::npos) << absent.GetError();
}

} // namespace
