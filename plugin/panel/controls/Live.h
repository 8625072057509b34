// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace orphia::panel {

/// A part of the panel that follows the sound: asked thirty times a second while it is shown, it looks at the
/// PanelModel and repaints what has changed, and nothing else.
class Live {
public:
    virtual ~Live() = default;
    virtual void Refresh() = 0;
};

/// Of a part's children, those that are Live and visible.
inline void RefreshChildren(const juce::Component& part) {
    for (juce::Component* const child : part.getChildren()) {
        if (auto* const live = dynamic_cast<Live*>(child); live != nullptr && child->isVisible()) {
            live->Refresh();
        }
    }
}

} // namespace orphia::panel
