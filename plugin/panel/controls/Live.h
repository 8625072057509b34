// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace orphia::panel {

/// A part of the panel that follows the sound: asked thirty times a second while it is shown, it looks at the
/// PanelModel and repaints what has changed, and nothing else.
class Live {
public:
    virtual ~Live() = default;
    virtual void Refresh() = 0;
};

} // namespace orphia::panel
