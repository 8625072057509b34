// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/pages/PresetsPage.h"

#include <initializer_list>

namespace orphia::panel {

namespace {

constexpr int rowHeight = 40;
constexpr int starWidth = 36;
constexpr int detailsWidth = 380;
constexpr int picturesBetween = 8;

} // namespace

PresetsPage::PresetsPage(PanelModel& ofPanel)
    : panel(ofPanel), browser("Presets"), details("This sound"),
      all(
          "All", [this] { Choose(Presets::Show::All); }, "All presets"),
      favourites(
          "Favourites", [this] { Choose(Presets::Show::Favourites); }, "Those with a star"),
      own(
          "Own", [this] { Choose(Presets::Show::Own); }, "Your own presets"),
      save(
          "Save", [this] { SaveAs(); }, "Saves a preset of your own under this name"),
      compare(
          "Compare A/B",
          [this] {
              panel.presets.Compare();
              Tell(panel.presets.IsOther() ? "This is B" : "This is A");
          },
          "Goes over to the other of two sounds"),
      import(
          "Import...", [this] { ChooseFile(true); }, "Plays a preset file"),
      exporting(
          "Export...", [this] { ChooseFile(false); }, "Writes this sound as a file") {
    for (juce::Component* const part :
         std::initializer_list<juce::Component*>{&browser, &details, &search, &all, &favourites, &own, &list,
                                                 &name, &save, &compare, &import, &exporting}) {
        addAndMakeVisible(part);
    }
    search.onTextChange = [this] { Update(); };
    name.onReturnKey = [this] { SaveAs(); };
    list.setModel(this);
    list.setRowHeight(rowHeight);
    list.setTitle("Presets");
    Choose(Presets::Show::All);
    Refresh();
}

PresetsPage::~PresetsPage() { list.setModel(nullptr); }

void PresetsPage::Search(const juce::String& text) { search.setText(text); }

void PresetsPage::Choose(Presets::Show next) {
    show = next;
    all.SetChosen(show == Presets::Show::All);
    favourites.SetChosen(show == Presets::Show::Favourites);
    own.SetChosen(show == Presets::Show::Own);
    Update();
}

void PresetsPage::Update() {
    programs = panel.instrument.Programs();
    found = panel.presets.Find(search.getText().toStdString(), show);
    list.updateContent();
    list.repaint();
}

void PresetsPage::Refresh() {
    if (untilAsked-- > 0) {
        return;
    }
    untilAsked = picturesBetween;
    const auto now = panel.instrument.CurrentProgram();
    if (now != current || panel.instrument.Programs().size() != programs.size()) {
        current = now;
        Update();
        if (current && *current < programs.size()) {
            name.setText(programs[*current].name, false);
        }
        repaint();
    }
}

void PresetsPage::Load(int row) {
    if (row >= 0 && row < getNumRows()) {
        panel.LoadProgram(found[static_cast<std::size_t>(row)]);
        untilAsked = 0;
        Refresh();
    }
}

juce::String PresetsPage::getNameForRow(int row) {
    return row < getNumRows() ? juce::String(programs[found[static_cast<std::size_t>(row)]].name)
                              : juce::String();
}

void PresetsPage::listBoxItemClicked(int row, const juce::MouseEvent& event) {
    if (event.x < starWidth) {
        panel.presets.ToggleFavourite(programs[found[static_cast<std::size_t>(row)]].id);
        panel.KeepSettings();
        Update();
        return;
    }
    Load(row);
}

void PresetsPage::paintListBoxItem(int row, juce::Graphics& g, int width, int height, bool isSelected) {
    if (row >= getNumRows()) {
        return;
    }
    const Palette& colours = PanelLook::Of(*this);
    const std::uint32_t index = found[static_cast<std::size_t>(row)];
    const auto& program = programs[index];
    juce::Rectangle<float> box = juce::Rectangle<int>(width, height).toFloat().reduced(2.0F, 1.0F);
    if (isSelected || index == current) {
        FillBox(g, box, colours.field);
    }
    if (index == current) {
        FillBox(g, box.withWidth(3.0F), colours.accent, 1.5F);
    }
    juce::Path star;
    star.addStar(box.removeFromLeft(starWidth).getCentre(), 5, 3.2F, 7.0F);
    g.setColour(ToJuce(panel.presets.IsFavourite(program.id) ? colours.accent : colours.line));
    g.fillPath(star);
    DrawText(g, program.name, box.removeFromLeft(190.0F), Sizes::textFont, colours.text,
             juce::Justification::centredLeft, index == current);
    DrawText(g, program.isFactory ? "" : "own", box.removeFromRight(40.0F), Sizes::labelFont, colours.dimText,
             juce::Justification::centredRight);
    DrawText(g, program.description, box, Sizes::labelFont, colours.dimText,
             juce::Justification::centredLeft);
}

void PresetsPage::Tell(const juce::String& text) {
    told = text;
    repaint();
}

void PresetsPage::SaveAs() {
    const bool isSaved = panel.presets.Save(name.getText().trim().toStdString());
    Tell(isSaved ? "Saved" : "This is no name for a preset, or its folder cannot be written");
    untilAsked = 0;
    current.reset();
    Refresh();
}

void PresetsPage::ChooseFile(bool isImport) {
    chooser = std::make_unique<juce::FileChooser>(isImport ? "Import a preset" : "Export this sound",
                                                  juce::File(), "*.json");
    const int dialog =
        juce::FileBrowserComponent::canSelectFiles |
        (isImport ? juce::FileBrowserComponent::openMode
                  : juce::FileBrowserComponent::saveMode | juce::FileBrowserComponent::warnAboutOverwriting);
    chooser->launchAsync(dialog, [this, isImport](const juce::FileChooser& chosen) {
        const juce::File file = chosen.getResult();
        if (file == juce::File()) {
            return;
        }
        const std::filesystem::path path(file.getFullPathName().toStdString());
        const bool isDone = isImport ? panel.presets.Import(path) : panel.presets.Export(path);
        Tell(isDone ? file.getFileName()
                    : (isImport ? "No preset is in " : "Cannot write ") + file.getFileName());
    });
}

void PresetsPage::paintOverChildren(juce::Graphics& g) {
    const Palette& colours = PanelLook::Of(*this);
    juce::Rectangle<int> area = details.getBounds().reduced(14, 0).withTrimmedTop(Grid::titleHeight + 4);
    const juce::String description = current && *current < programs.size()
                                         ? juce::String(programs[*current].description)
                                         : "A sound of its own";
    g.setColour(ToJuce(colours.text));
    g.setFont(PanelLook::Font(Sizes::textFont));
    g.drawFittedText(description, area.removeFromTop(48), juce::Justification::topLeft, 3, 1.0F);
    DrawText(g, told, details.getBounds().reduced(14, 0).withTrimmedTop(212).withHeight(24).toFloat(),
             Sizes::textFont, colours.dimText, juce::Justification::centredLeft);
}

void PresetsPage::resized() {
    juce::Rectangle<int> area = getLocalBounds();
    details.setBounds(area.removeFromRight(detailsWidth));
    area.removeFromRight(Grid::gap);
    browser.setBounds(area);
    area.reduce(Grid::padding, 0);
    area.removeFromBottom(Grid::padding);
    juce::Rectangle<int> top = area.removeFromTop(Grid::titleHeight + 8);
    top.removeFromLeft(100);
    search.setBounds(top.removeFromLeft(300).withTrimmedTop(3).withHeight(22));
    for (Button* const button : {&own, &favourites, &all}) {
        button->setBounds(
            top.removeFromRight(button == &favourites ? 90 : 56).withTrimmedTop(3).withHeight(22));
    }
    list.setBounds(area);
    juce::Rectangle<int> side = details.getBounds().reduced(14, 0).withTrimmedTop(Grid::titleHeight + 60);
    juce::Rectangle<int> line = side.removeFromTop(26);
    save.setBounds(line.removeFromRight(64));
    name.setBounds(line.withTrimmedRight(8));
    side.removeFromTop(16);
    line = side.removeFromTop(26);
    compare.setBounds(line.removeFromLeft(92));
    import.setBounds(line.removeFromLeft(72));
    exporting.setBounds(line.removeFromLeft(72));
}

} // namespace orphia::panel
