// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/EngineLibrary.h"

#include "TestFiles.h"
#include "host/Errors.h"
#include "support/platform/Platform.h"

#include <gtest/gtest.h>

#include <string>

namespace orphia::host {

namespace {

std::string Refusal(const std::filesystem::path& path) {
    try {
        EngineLibrary::Load(path);
        return "taken";
    } catch (const EngineError& error) {
        return error.what();
    }
}

TEST(EngineLibrary, TellsWhatItIs) {
    const auto library = EngineLibrary::Load(ORPHIA_ENGINE_LIBRARY);
    EXPECT_EQ(library->Vendor(), "Velmora");
    EXPECT_EQ(library->Name(), "Orphia VX");
    EXPECT_FALSE(library->Version().empty());
    EXPECT_EQ(library->InterfaceVersion(), 8U);
    EXPECT_EQ(library->Path().filename(), EngineLibrary::FileName());
}

TEST(EngineLibrary, RefusesWhatIsNoEngineWithTheReason) {
    const test::TemporaryFolder folder;
    test::WriteText(folder / "text.so", "no library");
    const std::pair<std::filesystem::path, const char*> cases[] = {
        {folder / "missing.so", "no such file"},
        {folder.Path(), "no such file"},
        {folder / "text.so", "text.so"},
        {std::filesystem::path(ORPHIA_TEST_TUNING) / "complete.so", "does not export GetProcessorFactory"}};
    for (const auto& [path, reason] : cases) {
        EXPECT_NE(Refusal(path).find(reason), std::string::npos) << Refusal(path);
        EXPECT_NE(Refusal(path).find("cannot be used as the engine"), std::string::npos) << Refusal(path);
    }
}

TEST(EngineLibrary, TheEnvironmentNamesItsPlaceOverAllOthers) {
    Velmora::Platform::SetEnvironment(EngineLibrary::pathVariable, ORPHIA_ENGINE_LIBRARY);
    EXPECT_EQ(EngineLibrary::Load()->Path(), std::filesystem::path(ORPHIA_ENGINE_LIBRARY));
    Velmora::Platform::SetEnvironment(EngineLibrary::pathVariable, "/no/such/engine.so");
    EXPECT_NE(Refusal({}).find("/no/such/engine.so"), std::string::npos) << Refusal({});
    Velmora::Platform::SetEnvironment(EngineLibrary::pathVariable, "");
    const auto places = EngineLibrary::SearchedPlaces();
    ASSERT_EQ(places.size(), 2U);
    EXPECT_EQ(places[0].parent_path(), std::filesystem::path(Velmora::Platform::LibraryPath()).parent_path());
    EXPECT_EQ(places[1].parent_path().filename(), "lib");
}

} // namespace

} // namespace orphia::host
