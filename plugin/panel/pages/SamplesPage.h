// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/Button.h"
#include "plugin/panel/model/samples/SampleShelf.h"
#include "plugin/panel/model/samples/SampleSlots.h"
#include "plugin/panel/pages/Page.h"
#include "plugin/panel/parts/SampleRow.h"
#include "plugin/panel/parts/SectionView.h"
#include "plugin/panel/parts/WaveView.h"

#include <array>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

namespace orphia::panel {

/// The twelve samples: a list, and the chosen one large. Files and folders are dropped on either.
class SamplesPage final : public Page, public juce::FileDragAndDropTarget {
public:
    explicit SamplesPage(PanelModel& panel);
    ~SamplesPage() override;

    void Choose(std::uint32_t sample);
    /// As the file chooser does.
    void TakeFound(const std::filesystem::path& path);

    void Refresh() override;
    void paintOverChildren(juce::Graphics& g) override;

    bool isInterestedInFileDrag(const juce::StringArray& files) override { return !files.isEmpty(); }
    void fileDragMove(const juce::StringArray& files, int x, int y) override;
    void fileDragExit(const juce::StringArray& files) override;
    void filesDropped(const juce::StringArray& files, int x, int y) override;

private:
    static constexpr std::uint32_t count = SampleSlots::count;

    std::uint32_t SampleAt(int x, int y) const;
    void MakeOwn();
    /// Asks the instrument which files it has.
    void Look();
    void ShowAll();
    void Clear();
    void ChooseFiles(bool isMissing);
    void Take(const std::vector<std::filesystem::path>& files, std::uint32_t sample);
    void SeekRoot();
    void FollowRoot();
    void Sound(bool isDown);

    PanelModel& panel;
    SampleSlots slots;
    SampleShelf shelf;
    SectionView list;
    SectionView picture;
    WaveView wave;
    SectionView common;
    std::array<std::unique_ptr<SampleRow>, count> rows;
    Button play;
    Button open;
    Button clear;
    Button find;
    Button root;
    std::unique_ptr<SectionView> own;
    std::unique_ptr<juce::FileChooser> chooser;

    struct File {
        std::filesystem::path path;
        bool isLoaded = false;
        /// By the instrument.
        bool isLoading = false;
        std::shared_ptr<const SampleShelf::Sound> sound;

        bool IsMissing() const { return !path.empty() && !isLoaded && !isLoading; }
    };
    std::array<File, count> sounds;
    /// That of the panel, as it is shown.
    std::uint32_t chosen;
    std::optional<std::uint32_t> target;
    /// Whose pitch is sought.
    std::optional<std::pair<std::uint32_t, std::filesystem::path>> sought;
    std::optional<std::uint8_t> pressedKey;
    std::optional<std::uint32_t> playing;
    juce::String rootText;
    juce::String title;
    juce::String facts;
    std::uint32_t shownSample = 0;
    int untilAsked = 0;
};

} // namespace orphia::panel
