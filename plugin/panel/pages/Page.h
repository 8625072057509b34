// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/Live.h"
#include "plugin/panel/model/PanelModel.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>
#include <memory>
#include <vector>

namespace orphia::panel {

/// One page of the panel, of the size of Grid::page. A page makes its parts in its constructor, as children;
/// those that are Live are refreshed with each picture while the page is shown. It is built when it is first
/// shown, and kept.
class Page : public juce::Component, public Live {
public:
    void Refresh() override { RefreshChildren(*this); }
};

/// How the panel finds its pages, in the order of their tabs. To add one: a class on Page, and a line in
/// PageList.cpp.
struct PageEntry {
    const char* title;
    std::function<std::unique_ptr<Page>(PanelModel&)> make;
};

const std::vector<PageEntry>& PageList();

} // namespace orphia::panel
