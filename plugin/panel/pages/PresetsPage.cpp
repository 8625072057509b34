// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/pages/PresetsPage.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

namespace orphia::panel {

namespace {

constexpr int presetHeight = 44;
constexpr int starWidth = 36;
constexpr int detailsWidth = 380;
/// Of the description of this sound, and of its tags below.
constexpr int descriptionHeight = 56;
constexpr int tagsHeight = 20;
constexpr int fieldsAt = Grid::titleHeight + 4 + descriptionHeight + tagsHeight + 12;
/// What stands below the title of a section begins where the title does.
constexpr int inset = Grid::padding + 2;

juce::String Joined(const std::vector<std::string>& tags) {
    juce::StringArray words;
    for (const std::string& tag : tags) {
        words.add(juce::String(tag));
    }
    return words.joinIntoString("  ");
}

} // namespace

PresetsPage::PresetsPage(PanelModel& ofPanel)
    : panel(ofPanel), browser("Presets"), details("This sound"),
      all(
          "All", [this] { Choose(Presets::Show::All); }, "All presets"),
      favourites(
          "Favourites", [this] { Choose(Presets::Show::Favourites); }, "Those with a star"),
      own(
          "Own", [this] { Choose(Presets::Show::Own); }, "Your own presets"),
      byTag(
          "Tag...", [this] { ShowTags(); }, "Finds the presets of a tag"),
      save(
          "Save", [this] { SaveAs(); }, "Saves a preset of your own under this name"),
      compare(
          "Compare A/B",
          [this] {
              panel.presets.Compare();
              panel.Tell(panel.presets.IsOther() ? "This is B" : "This is A");
          },
          "Goes over to the other of two sounds"),
      import(
          "Import...", [this] { ChooseFile(true); }, "Plays a preset file"),
      exporting(
          "Export...", [this] { ChooseFile(false); }, "Writes this sound as a file"),
      favourite(
          "Favourite",
          [this] {
              if (current) {
                  ToggleFavourite(*current);
              }
          },
          "Makes this preset a favourite, or takes that back") {
    for (juce::Component* const part : std::initializer_list<juce::Component*>{
             &browser, &details, &search, &byTag, &all, &favourites, &own, &list, &name, &save, &compare,
             &import, &exporting, &favourite}) {
        addAndMakeVisible(part);
    }
    for (Button* const button : {&all, &favourites, &own}) {
        button->SetFlat();
    }
    search.onTextChange = [this] { Update(); };
    name.onReturnKey = [this] { SaveAs(); };
    list.setModel(this);
    list.setRowHeight(presetHeight);
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
    programs = panel.programs;
    found = panel.presets.Find(search.getText().toStdString(), show);
    favourite.setEnabled(current.has_value());
    favourite.SetChosen(current && panel.presets.IsFavourite((*programs)[*current].id));
    list.updateContent();
    list.repaint();
}

void PresetsPage::Refresh() {
    if (panel.program == current && panel.programs == programs) {
        return;
    }
    current = panel.program;
    Update();
    if (current) {
        name.setText((*programs)[*current].name, false);
    }
    repaint();
}

void PresetsPage::ToggleFavourite(std::uint32_t program) {
    panel.presets.ToggleFavourite((*programs)[program].id);
    panel.KeepSettings();
    Update();
}

void PresetsPage::ShowTags() {
    juce::PopupMenu menu;
    menu.setLookAndFeel(&getLookAndFeel());
    const juce::Component::SafePointer<PresetsPage> self(this);
    for (const std::string& tag : panel.presets.Tags()) {
        menu.addItem(tag, [self, tag] { self->Search(tag); });
    }
    menu.showMenuAsync(juce::PopupMenu::Options()
                           .withTargetComponent(byTag)
                           .withDeletionCheck(*this)
                           .withMinimumNumColumns(3)
                           .withParentComponent(getTopLevelComponent()));
}

void PresetsPage::Load(int row) {
    if (row >= 0 && row < getNumRows()) {
        panel.LoadProgram(found[static_cast<std::size_t>(row)]);
        Refresh();
    }
}

juce::String PresetsPage::getNameForRow(int row) {
    return row < getNumRows() ? juce::String((*programs)[found[static_cast<std::size_t>(row)]].name)
                              : juce::String();
}

void PresetsPage::listBoxItemClicked(int row, const juce::MouseEvent& event) {
    if (event.x < starWidth) {
        ToggleFavourite(found[static_cast<std::size_t>(row)]);
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
    const auto& program = (*programs)[index];
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
    box.reduce(0.0F, 2.0F);
    box.removeFromRight(8.0F);
    juce::Rectangle<float> first = box.removeFromTop(box.getHeight() / 2.0F);
    const juce::String aside = Joined(program.tags) + (program.isFactory ? "" : "  own");
    DrawText(g, aside, first.removeFromRight(240.0F), Sizes::labelFont, colours.dimText,
             juce::Justification::centredRight);
    DrawText(g, program.name, first, Sizes::textFont, colours.text, juce::Justification::centredLeft,
             index == current);
    DrawText(g, program.description, box, Sizes::labelFont, colours.dimText,
             juce::Justification::centredLeft);
}

void PresetsPage::SaveAs() {
    const bool isSaved = panel.presets.Save(name.getText().trim().toStdString());
    panel.Tell(isSaved ? "Saved" : "This is no name for a preset, or its folder cannot be written");
    panel.LookAtPrograms();
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
        const char* const said =
            isImport ? (isDone ? "Imported " : "No preset is in ") : (isDone ? "Exported " : "Cannot write ");
        panel.Tell(said + path.filename().string());
    });
}

void PresetsPage::paintOverChildren(juce::Graphics& g) {
    const Palette& colours = PanelLook::Of(*this);
    juce::Rectangle<int> area = details.getBounds().reduced(inset, 0).withTrimmedTop(Grid::titleHeight + 4);
    const auto* const program = current ? &(*programs)[*current] : nullptr;
    juce::AttributedString text(program != nullptr ? juce::String(program->description)
                                                   : juce::String("A sound of its own"));
    text.setFont(PanelLook::Font(Sizes::textFont));
    text.setColour(ToJuce(colours.text));
    juce::TextLayout layout;
    layout.createLayout(text, static_cast<float>(area.getWidth()));
    {
        const juce::Graphics::ScopedSaveState whole(g);
        const juce::Rectangle<int> box = area.removeFromTop(descriptionHeight);
        g.reduceClipRegion(box);
        layout.draw(g, box.toFloat());
    }
    if (program != nullptr) {
        const int below = std::min(descriptionHeight, static_cast<int>(std::ceil(layout.getHeight())) + 4);
        area.translate(0, below - descriptionHeight);
        DrawText(g, Joined(program->tags), area.removeFromTop(tagsHeight).toFloat(), Sizes::labelFont,
                 colours.dimText, juce::Justification::centredLeft);
    }
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
    search.setBounds(top.removeFromLeft(300).withTrimmedTop(1).withHeight(Grid::buttonHeight));
    byTag.setBounds(
        top.removeFromLeft(64).withTrimmedLeft(8).withTrimmedTop(1).withHeight(Grid::buttonHeight));
    for (Button* const button : {&own, &favourites, &all}) {
        button->setBounds(top.removeFromRight(button == &favourites ? 90 : 56)
                              .withTrimmedTop(1)
                              .withHeight(Grid::buttonHeight));
    }
    list.setBounds(area);
    juce::Rectangle<int> side = details.getBounds().reduced(inset, 0).withTrimmedTop(fieldsAt);
    juce::Rectangle<int> line = side.removeFromTop(26);
    save.setBounds(line.removeFromRight(64));
    name.setBounds(line.withTrimmedRight(8));
    side.removeFromTop(16);
    line = side.removeFromTop(26);
    compare.setBounds(line.removeFromLeft(92));
    for (Button* const button : {&import, &exporting}) {
        line.removeFromLeft(Grid::gap / 2);
        button->setBounds(line.removeFromLeft(72));
    }
    favourite.setBounds(line.removeFromRight(86));
}

} // namespace orphia::panel
