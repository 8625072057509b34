// SPDX-License-Identifier: GPL-3.0-or-later
// Short scenes against what was measured of them when somebody last listened; see README.md.
#include "golden/FeatureFile.h"
#include "golden/Features.h"
#include "golden/Scene.h"
#include "golden/ScenePlayer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace orphia::test {

namespace {

const std::filesystem::path folder = ORPHIA_GOLDEN;

std::filesystem::path FileOf(const Scene& scene) { return folder / (std::string(scene.name) + ".txt"); }

/// Scenes are only written, as scripts/accept-golden wants it.
bool IsAccepting() { return std::getenv("ORPHIA_ACCEPT_GOLDEN") != nullptr; }

class GoldenRender : public testing::TestWithParam<Scene> {};

TEST_P(GoldenRender, SoundsAsItDid) {
    const Scene& scene = GetParam();
    const std::vector<Feature> got = Measure(scene, Play(scene));
    FeatureFile file = ParseFeatures(ReadText(FileOf(scene)));
    if (IsAccepting()) {
        file.features = got;
        WriteText(FileOf(scene), FormatFeatures(scene, file));
        GTEST_SKIP() << "written";
    }
    const std::vector<std::string> differences = Differences(file, got);
    constexpr std::size_t mostShown = 12;
    std::string told;
    for (std::size_t i = 0; i < std::min(differences.size(), mostShown); ++i) {
        told += "  " + std::string(scene.name) + ": " + differences[i] + "\n";
    }
    EXPECT_TRUE(differences.empty()) << scene.what << "; " << differences.size() << " differences:\n"
                                     << told << "If it is meant: scripts/accept-golden " << scene.name;
}

std::string CaseName(const testing::TestParamInfo<Scene>& info) {
    std::string name = info.param.name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(All, GoldenRender, testing::ValuesIn(Scenes().begin(), Scenes().end()), CaseName);

TEST(GoldenFiles, BelongToScenes) {
    if (IsAccepting()) {
        GTEST_SKIP() << "while they are written";
    }
    std::set<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == ".txt") {
            files.insert(entry.path());
        }
    }
    for (const Scene& scene : Scenes()) {
        EXPECT_EQ(files.erase(FileOf(scene)), 1U) << scene.name << " has no file";
    }
    EXPECT_TRUE(files.empty()) << *files.begin() << " is of no scene";
}

} // namespace

} // namespace orphia::test
