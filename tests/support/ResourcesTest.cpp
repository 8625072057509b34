// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/Resources.h"

#include "rigs/LogRecorder.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>

namespace Velmora {
namespace {

TEST(Resources, SearchesSixPlacesAndAnswersWithTheFolderOfTheFirstFileFound) {
    LogRecorder recorder;
    std::set<std::string> files;
    Resources resources({.machineDataFolder = [] { return "C:\\Data\\All Users"; },
                         .libraryPath = [] { return "c:\\Plugins/Voice.vst3/Contents/x64/Voice.dll"; },
                         .fileExists = [&](const std::string& file) { return files.contains(file); },
                         .librarySuffix = ".dll"},
                        recorder.log);
    EXPECT_EQ(resources.GetProductName(), "Voice");
    for (const std::string folder : {"", "/res/"}) {
        resources.SetResourcesFolder(folder);
        const std::string places[] = {"C:\\Data\\/Velmora/Shared/x64/s.dll",
                                      "./s.dll",
                                      (folder.empty() ? "C:\\Plugins/Voice.vst3/data/" : folder + "../") +
                                          "Shared/x64/s.dll",
                                      "C:\\Plugins/Voice.vst3/Shared/x64/s.dll",
                                      "C:\\Plugins/Voice.vst3/../../Shared/x64/s.dll",
                                      folder + "../../Shared/x64/s.dll"};
        files.clear();
        EXPECT_THROW(resources.FindLibraryFolder("s"), std::runtime_error);
        // From the last place to the first: each place that gets the file outranks the later ones.
        for (std::size_t i = std::size(places); i-- > 0;) {
            files.insert(places[i]);
            EXPECT_EQ(resources.FindLibraryFolder("s") + "s.dll", places[i]);
        }
    }
}

} // namespace
} // namespace Velmora
