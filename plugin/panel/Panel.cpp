// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/Panel.h"

#include "plugin/panel/controls/DroppedFiles.h"
#include "plugin/panel/frame/Header.h"
#include "plugin/panel/frame/KeyStrip.h"
#include "plugin/panel/frame/MacroStrip.h"
#include "plugin/panel/frame/Notice.h"
#include "plugin/panel/look/PanelLook.h"
#include "plugin/panel/model/PanelModel.h"
#include "plugin/panel/model/layout/Layout.h"
#include "plugin/panel/model/samples/SampleDrop.h"
#include "plugin/panel/pages/Page.h"
#include "plugin/panel/parts/SectionView.h"

#include <vector>

namespace orphia::panel {

namespace {

constexpr int picturesPerSecond = 32;
constexpr int noticeHeight = 34;

} // namespace

struct Panel::Inside {
    Inside(Panel& ofPanel, plugin::PluginInstrument& instrument, const std::filesystem::path& settingsFile)
        : panel(ofPanel), model(instrument, settingsFile), look(model.settings.isBright),
          header(model, {[this](std::size_t page) { panel.ShowPage(page); },
                         [this](float scale) { panel.SetScale(scale); },
                         [this](bool isBright) { panel.SetBright(isBright); }}),
          macros(model), keys(model), notice(model), pages(PageList().size()) {}

    Panel& panel;
    PanelModel model;
    PanelLook look;
    /// At 100 %; a transform makes it as large as the panel is.
    juce::Component content;
    Header header;
    MacroStrip macros;
    KeyStrip keys;
    Notice notice;
    std::vector<std::unique_ptr<Page>> pages;
    std::size_t shown = 0;
    double lastPicture = 0.0;
    std::unique_ptr<juce::TooltipWindow> tooltips;
};

Panel::Panel(plugin::PluginInstrument& instrument) : Panel(instrument, PanelSettings::DefaultFile()) {}

Panel::Panel(plugin::PluginInstrument& instrument, const std::filesystem::path& settingsFile)
    : inside(std::make_unique<Inside>(*this, instrument, settingsFile)) {
    Inside& in = *inside;
    setLookAndFeel(&in.look);
    setOpaque(true);
    setTitle("Orphia VX");
    in.content.setInterceptsMouseClicks(false, true);
    // Not the panel itself: a window that gets the focus late would take it from the control that was
    // clicked.
    in.content.setWantsKeyboardFocus(true);
    addAndMakeVisible(in.content);
    in.content.setSize(Grid::panelWidth, Grid::panelHeight);
    in.content.addAndMakeVisible(in.header);
    in.header.setBounds(0, 0, Grid::panelWidth, Grid::headerHeight);
    in.content.addAndMakeVisible(in.macros);
    in.content.addAndMakeVisible(in.keys);
    juce::Rectangle<int> below =
        juce::Rectangle<int>(Grid::panelWidth, Grid::panelHeight).reduced(Grid::margin, Grid::margin);
    in.keys.setBounds(below.removeFromBottom(Grid::keysHeight));
    below.removeFromBottom(Grid::gap);
    in.macros.setBounds(below.removeFromBottom(Grid::macrosHeight));
    below.removeFromBottom(2 * Grid::gap);
    in.content.addChildComponent(in.notice);
    in.notice.setBounds(below.removeFromBottom(noticeHeight));
    in.tooltips = std::make_unique<juce::TooltipWindow>(this, 600);
    ShowPage(0);
    SetScale(in.model.settings.scale);
}

Panel::~Panel() {
    stopTimer();
    setLookAndFeel(nullptr);
}

float Panel::Scale() const { return static_cast<float>(getWidth()) / static_cast<float>(width); }

void Panel::SetScale(float scale) {
    scale = juce::jlimit(PanelSettings::minimumScale, PanelSettings::maximumScale, scale);
    inside->model.settings.scale = scale;
    inside->model.KeepSettings();
    setSize(juce::roundToInt(scale * static_cast<float>(width)),
            juce::roundToInt(scale * static_cast<float>(height)));
    if (onScale) {
        onScale();
    }
}

void Panel::SetBright(bool isBright) {
    inside->model.settings.isBright = isBright;
    inside->model.KeepSettings();
    inside->look.SetBright(isBright);
    sendLookAndFeelChange();
    repaint();
}

std::size_t Panel::PageCount() const { return PageList().size(); }
juce::String Panel::PageTitle(std::size_t page) const { return PageList()[page].title; }

void Panel::ShowPage(std::size_t page) {
    Inside& in = *inside;
    if (page >= in.pages.size()) {
        return;
    }
    if (in.pages[in.shown] != nullptr) {
        in.pages[in.shown]->setVisible(false);
    }
    in.shown = page;
    if (in.pages[page] == nullptr) {
        in.pages[page] = PageList()[page].make(in.model);
        in.content.addChildComponent(*in.pages[page]);
        in.pages[page]->setBounds(ToJuce(Grid::page));
    }
    in.pages[page]->setVisible(true);
    in.header.ShowChosen(page);
}

void Panel::Tick(double seconds) {
    Inside& in = *inside;
    in.model.Tick(seconds);
    in.header.Refresh();
    in.pages[in.shown]->Refresh();
    in.macros.Refresh();
    in.keys.Refresh();
    in.notice.Refresh();
}

void Panel::timerCallback() {
    const double now = juce::Time::getMillisecondCounterHiRes() * 0.001;
    Tick(juce::jlimit(0.001, 0.5, now - inside->lastPicture));
    inside->lastPicture = now;
}

void Panel::StartOrStop() {
    if (isShowing() && !isTimerRunning()) {
        inside->lastPicture = juce::Time::getMillisecondCounterHiRes() * 0.001;
        startTimerHz(picturesPerSecond);
    } else if (!isShowing()) {
        stopTimer();
    }
}

void Panel::visibilityChanged() { StartOrStop(); }
void Panel::parentHierarchyChanged() { StartOrStop(); }

void Panel::paint(juce::Graphics& g) { g.fillAll(ToJuce(inside->look.Colours().background)); }

void Panel::resized() {
    const float scale = std::min(static_cast<float>(getWidth()) / static_cast<float>(width),
                                 static_cast<float>(getHeight()) / static_cast<float>(height));
    inside->content.setTransform(juce::AffineTransform::scale(scale));
}

bool Panel::keyPressed(const juce::KeyPress& key) {
    History& history = inside->model.history;
    const juce::ModifierKeys mods = key.getModifiers();
    const int code = key.getKeyCode();
    if (mods.isCommandDown() && (code == 'Z' || code == 'z')) {
        mods.isShiftDown() ? history.Redo() : inside->model.Undo();
        return true;
    }
    if (mods.isCommandDown() && (code == 'Y' || code == 'y')) {
        history.Redo();
        return true;
    }
    if (code >= juce::KeyPress::F1Key && code < juce::KeyPress::F1Key + static_cast<int>(PageCount())) {
        ShowPage(static_cast<std::size_t>(code - juce::KeyPress::F1Key));
        return true;
    }
    return false;
}

void Panel::fileDragEnter(const juce::StringArray& files, int /*x*/, int /*y*/) {
    TellOfDrop(inside->model, PathsOf(files));
}

void Panel::fileDragExit(const juce::StringArray& /*files*/) { inside->model.Tell({}); }

void Panel::filesDropped(const juce::StringArray& files, int /*x*/, int /*y*/) {
    DropSamples(inside->model, PathsOf(files));
}

bool Panel::keyStateChanged(bool /*isDown*/) { return inside->keys.Keys().FollowComputer(); }

} // namespace orphia::panel
