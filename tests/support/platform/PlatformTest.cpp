// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/platform/Platform.h"

#include "support/platform/DynamicLibrary.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>

namespace {

namespace Platform = Velmora::Platform;

// Sets the search list of data folders and puts the former one back.
class DataFoldersSetting {
public:
    explicit DataFoldersSetting(const std::string& value) {
        if (const char* old = std::getenv(name)) {
            former = old;
        }
        setenv(name, value.c_str(), 1);
    }
    ~DataFoldersSetting() {
        if (former.empty()) {
            unsetenv(name);
        } else {
            setenv(name, former.c_str(), 1);
        }
    }

private:
    static constexpr const char* name = "XDG_DATA_DIRS";
    std::string former;
};

TEST(Platform, TakesTheFirstExistingDataFolderWithASeparatorAtItsEnd) {
    const std::string existing = std::filesystem::path(::testing::TempDir()).parent_path();
    {
        const DataFoldersSetting setting("relative:/no/such/folder:" + existing + ":/usr");
        EXPECT_EQ(Platform::MachineDataFolder(), existing + "/");
    }
    {
        const DataFoldersSetting setting("/no/such/folder");
        EXPECT_EQ(Platform::MachineDataFolder(), "/usr/local/share/");
    }
}

TEST(Platform, KnowsItsOwnFileByAFullPath) {
    const std::string path = Platform::LibraryPath();
    EXPECT_TRUE(std::filesystem::path(path).is_absolute()) << path;
    EXPECT_TRUE(Platform::FileExists(path)) << path;
    EXPECT_FALSE(Platform::FileExists(path + ".absent"));
}

TEST(Platform, GivesEachThreadItsOwnNumber) {
    const auto here = Platform::CurrentThreadId();
    auto there = here;
    std::thread([&] { there = Platform::CurrentThreadId(); }).join();
    EXPECT_NE(here, there);
    EXPECT_EQ(here, Platform::CurrentThreadId());
}

TEST(DynamicLibrary, FindsFunctionsUntilItIsClosed) {
    Platform::DynamicLibrary library("libm.so.6");
    ASSERT_TRUE(library.IsOpen()) << library.GetError();
    Platform::DynamicLibrary owner = std::move(library);
    // NOLINTBEGIN(bugprone-use-after-move,clang-analyzer-cplusplus.Move): a moved-from library is closed
    EXPECT_FALSE(library.IsOpen());
    EXPECT_EQ(library.FindFunction<double(double)>("cbrt"), nullptr) << "found without a library";
    // NOLINTEND(bugprone-use-after-move,clang-analyzer-cplusplus.Move)

    auto* cubeRoot = owner.FindFunction<double(double)>("cbrt");
    ASSERT_NE(cubeRoot, nullptr);
    EXPECT_DOUBLE_EQ(cubeRoot(27.0), 3.0);
    EXPECT_EQ(owner.FindFunction<void()>("no_such_function"), nullptr);
    owner.Close();
    EXPECT_FALSE(owner.IsOpen());
}

TEST(DynamicLibrary, TellsWhyALibraryIsNotThere) {
    const Platform::DynamicLibrary library("/no/such/library.so");
    EXPECT_FALSE(library.IsOpen());
    EXPECT_NE(library.GetError().find("/no/such/library.so"), std::string::npos) << library.GetError();
}

} // namespace
