// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/pages/SamplesPage.h"

#include "plugin/panel/controls/DroppedFiles.h"
#include "plugin/panel/model/samples/SampleDrop.h"
#include "plugin/panel/model/samples/SampleLayout.h"

#include <initializer_list>

namespace orphia::panel {

namespace {

constexpr int picturesBetween = 8;
constexpr int sampleHeight = 40;
constexpr int titleWidth = 84;

juce::String NameOf(const std::filesystem::path& path) {
    return juce::String::fromUTF8(path.filename().string().c_str());
}

/// The place of the root note beside the controls of a sample, within the page.
juce::Rectangle<int> RootArea() {
    juce::Rectangle<int> area = ToJuce(SampleLayout::own).reduced(Grid::padding, 0);
    area.removeFromLeft(area.getWidth() * SampleLayout::firstFreeColumn / SampleLayout::columns);
    return area.withTrimmedTop(Grid::titleHeight + Grid::knobHeight).withHeight(Grid::knobHeight);
}

} // namespace

SamplesPage::SamplesPage(PanelModel& ofPanel)
    : panel(ofPanel), slots(panel.instrument, panel.history), list("Samples"), picture("Sample 1"),
      wave(panel, slots), common(panel, SampleLayout::Common()),
      play(
          "Play", [] {}, "Plays this sample as its key does"),
      open(
          "Open...", [this] { ChooseFiles(false); }, "Loads sound files"),
      clear(
          "Clear", [this] { Clear(); }, "Empties this sample"),
      find(
          "Find...", [this] { ChooseFiles(true); }, "Finds this file, and beside it others that are missing"),
      root(
          "Root from pitch", [this] { SeekRoot(); }, "Listens to the sample for its root note"),
      chosen(panel.chosenSample) {
    list.setBounds(ToJuce(SampleLayout::list));
    picture.setBounds(ToJuce(SampleLayout::picture));
    for (juce::Component* const part : std::initializer_list<juce::Component*>{&list, &picture, &common}) {
        addAndMakeVisible(part);
    }
    juce::Rectangle<int> area =
        list.getLocalBounds().reduced(Grid::padding, 0).withTrimmedTop(Grid::titleHeight);
    for (std::uint32_t sample = 0; sample < count; ++sample) {
        rows[sample] = std::make_unique<SampleRow>(sample, [this, sample] { Choose(sample); });
        rows[sample]->onStep = [this, sample](int step) {
            const std::uint32_t next = (sample + count + static_cast<std::uint32_t>(step)) % count;
            Choose(next);
            rows[next]->grabKeyboardFocus();
        };
        rows[sample]->onClear = [this, sample] {
            Choose(sample);
            Clear();
        };
        rows[sample]->setBounds(area.removeFromTop(sampleHeight));
        list.addAndMakeVisible(*rows[sample]);
    }
    area = picture.getLocalBounds().reduced(Grid::padding, 0).withTrimmedBottom(Grid::padding);
    juce::Rectangle<int> top = area.removeFromTop(Grid::titleHeight + 4).withTrimmedTop(1);
    for (Button* const button : {&clear, &open, &play}) {
        button->setBounds(top.removeFromRight(64).withHeight(Grid::buttonHeight));
        top.removeFromRight(Grid::gap / 2);
        picture.addAndMakeVisible(*button);
    }
    wave.setBounds(area);
    picture.addAndMakeVisible(wave);
    find.setBounds(area.withSizeKeepingCentre(80, Grid::buttonHeight).translated(0, 34));
    picture.addChildComponent(find);
    root.setBounds(RootArea().withTrimmedLeft(92).withWidth(124).withSizeKeepingCentre(124, 24));
    addAndMakeVisible(root);
    play.onStateChange = [this] { Sound(play.isDown()); };
    MakeOwn();
    Look();
}

SamplesPage::~SamplesPage() { Sound(false); }

void SamplesPage::MakeOwn() {
    own = std::make_unique<SectionView>(panel, SampleLayout::Own(chosen));
    addAndMakeVisible(*own, 0);
}

void SamplesPage::Choose(std::uint32_t sample) {
    if (sample != chosen) {
        Sound(false);
        chosen = panel.chosenSample = sample;
        MakeOwn();
        ShowAll();
    }
}

void SamplesPage::Look() {
    untilAsked = picturesBetween;
    const bool isLoading = panel.instrument.IsLoading();
    const SamplePaths ordered = panel.instrument.OrderedSamples();
    for (std::uint32_t sample = 0; sample < count; ++sample) {
        File& file = sounds[sample];
        const auto found = ordered.find(sample);
        const bool isOrdered = found != ordered.end();
        std::filesystem::path path = isOrdered ? found->second : slots.PathOf(sample);
        const bool isLoaded = !isOrdered && slots.IsLoaded(sample);
        if (path != file.path || isLoaded != file.isLoaded) {
            file = {std::move(path), isLoaded, false, nullptr};
        }
        file.isLoading = !isLoaded && isLoading && !file.path.empty();
        if (file.sound == nullptr && isLoaded && !file.path.empty()) {
            file.sound = shelf.Find(file.path);
        }
    }
    ShowAll();
}

void SamplesPage::ShowAll() {
    for (std::uint32_t sample = 0; sample < count; ++sample) {
        const File& file = sounds[sample];
        rows[sample]->Show({NameOf(file.path), file.sound, file.IsMissing(), file.isLoading, sample == chosen,
                            playing == sample, target == sample});
    }
    const File& file = sounds[chosen];
    const bool isMissing = file.IsMissing();
    juce::String text = "Loading...";
    if (file.path.empty()) {
        text = "Drop a sound here, or a folder of sounds for all samples that are free";
    } else if (isMissing) {
        text = NameOf(file.path) + " is missing in " +
               juce::String::fromUTF8(file.path.parent_path().string().c_str());
    }
    wave.Show(chosen, file.isLoaded ? file.sound : nullptr, text);
    find.setVisible(isMissing);
    clear.setEnabled(!file.path.empty());
    play.setEnabled(file.isLoaded && slots.KeyOf(chosen).has_value());
    root.setEnabled(file.isLoaded && !sought);
    root.setButtonText(sought ? "Listening..." : "Root from pitch");
    picture.setName("Sample " + juce::String(chosen + 1));
    picture.setTitle(picture.getName());
    juce::String nextFacts;
    if (file.sound != nullptr) {
        nextFacts = file.sound->problem.empty()
                        ? juce::String(file.sound->Seconds(), 2) + " s, " +
                              juce::String(file.sound->sampleRate / 1000.0, 1) + " kHz"
                        : juce::String(file.sound->problem);
    }
    if (title != NameOf(file.path) || facts != nextFacts || shownSample != chosen) {
        title = NameOf(file.path);
        facts = nextFacts;
        shownSample = chosen;
        repaint();
    }
}

void SamplesPage::Refresh() {
    Choose(panel.chosenSample);
    const auto head = slots.Playhead();
    const auto plays = head ? std::optional(head->sample) : std::nullopt;
    if (plays != playing || untilAsked-- <= 0) {
        playing = plays;
        Look();
    }
    FollowRoot();
    RefreshChildren(*this);
    wave.Refresh();
    const std::uint32_t id = SampleSlots::RootId(chosen);
    const juce::String text =
        NoteName(plugin::PluginParameters::Get().ToValue(id, panel.instrument.Position(id)));
    if (text != rootText) {
        rootText = text;
        repaint(RootArea());
    }
}

void SamplesPage::Take(const std::vector<std::filesystem::path>& files, std::uint32_t sample) {
    DropSamples(panel, files, sample);
    Choose(panel.chosenSample);
    Look();
}

void SamplesPage::TakeFound(const std::filesystem::path& path) {
    panel.Tell(slots.Found(chosen, path).line);
    Look();
}

void SamplesPage::Clear() {
    Sound(false);
    slots.Clear(chosen);
    Look();
}

void SamplesPage::ChooseFiles(bool isMissing) {
    const std::filesystem::path& path = sounds[chosen].path;
    chooser = std::make_unique<juce::FileChooser>(
        isMissing ? "Find " + NameOf(path) : juce::String("Open sounds"),
        juce::File(juce::String::fromUTF8(path.parent_path().string().c_str())));
    const int dialog = juce::FileBrowserComponent::openMode | juce::FileBrowserComponent::canSelectFiles |
                       (isMissing ? 0 : juce::FileBrowserComponent::canSelectMultipleItems);
    chooser->launchAsync(dialog, [this, isMissing](const juce::FileChooser& made) {
        std::vector<std::filesystem::path> paths;
        for (const juce::File& file : made.getResults()) {
            paths.emplace_back(file.getFullPathName().toStdString());
        }
        if (paths.empty()) {
            return;
        }
        isMissing ? TakeFound(paths.front()) : Take(paths, chosen);
    });
}

void SamplesPage::SeekRoot() {
    if (sounds[chosen].isLoaded) {
        sought = {chosen, sounds[chosen].path};
        ShowAll();
    }
}

void SamplesPage::FollowRoot() {
    if (!sought) {
        return;
    }
    const auto pitch = shelf.FindPitch(sought->second);
    if (!pitch) {
        return;
    }
    const auto [sample, path] = *sought;
    sought.reset();
    if (sounds[sample].path == path) {
        if (!*pitch) {
            panel.Tell("No steady pitch is in " + path.filename().string());
        } else if (slots.SetRoot(sample, **pitch)) {
            panel.Tell("The root note is " + NoteName(**pitch));
        }
    }
    ShowAll();
}

void SamplesPage::Sound(bool isDown) {
    if (isDown && !pressedKey) {
        pressedKey = slots.KeyOf(chosen);
        if (pressedKey) {
            panel.instrument.Play({0x90, *pressedKey, SampleSlots::velocity});
        }
    } else if (!isDown && pressedKey) {
        panel.instrument.Play({0x80, *pressedKey, 0});
        pressedKey.reset();
    }
}

std::uint32_t SamplesPage::SampleAt(int x, int y) const {
    for (std::uint32_t sample = 0; sample < count; ++sample) {
        if (getLocalArea(&list, rows[sample]->getBounds()).contains(x, y)) {
            return sample;
        }
    }
    return chosen;
}

void SamplesPage::fileDragMove(const juce::StringArray& files, int x, int y) {
    target = SampleAt(x, y);
    TellOfDrop(panel, PathsOf(files), target);
    ShowAll();
}

void SamplesPage::fileDragExit(const juce::StringArray& /*files*/) {
    target.reset();
    panel.Tell({});
    ShowAll();
}

void SamplesPage::filesDropped(const juce::StringArray& dropped, int x, int y) {
    target.reset();
    Take(PathsOf(dropped), SampleAt(x, y));
}

void SamplesPage::paintOverChildren(juce::Graphics& g) {
    const Palette& colours = PanelLook::Of(*this);
    juce::Rectangle<float> line =
        picture.getBounds().reduced(Grid::padding, 0).withHeight(Grid::titleHeight).toFloat();
    line.removeFromLeft(titleWidth);
    line = line.withTrimmedRight(200.0F);
    const float width = std::min(line.getWidth() - 150.0F,
                                 PanelLook::Font(Sizes::textFont, true).getStringWidthFloat(title) + 6.0F);
    DrawText(g, title, line.removeFromLeft(width), Sizes::textFont, colours.text,
             juce::Justification::centredLeft, true);
    DrawText(g, facts, line.withTrimmedLeft(10.0F), Sizes::labelFont, colours.dimText,
             juce::Justification::centredLeft);
    juce::Rectangle<float> note = RootArea().removeFromLeft(84).toFloat();
    DrawText(g, "Root note", note.removeFromTop(16.0F), Sizes::labelFont, colours.dimText);
    note.removeFromBottom(17.0F);
    DrawText(g, rootText, note, Sizes::headerFont, colours.text, juce::Justification::centred, true);
}

} // namespace orphia::panel
