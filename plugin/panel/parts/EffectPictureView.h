// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/Live.h"
#include "plugin/panel/model/PanelModel.h"
#include "plugin/panel/model/effects/EffectPicture.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <vector>

namespace orphia::panel {

/// The picture of what is in an effect slot. It is worked out when a control of that effect has moved.
class EffectPictureView final : public juce::Component, public Live {
public:
    EffectPictureView(PanelModel& panel, unsigned slot);

    /// There is a picture of an effect of this type.
    bool HasPicture() const { return !picture.IsEmpty(); }
    void Refresh() override;
    void paint(juce::Graphics& g) override;

private:
    juce::Rectangle<float> Field() const;
    void DrawMarks(juce::Graphics& g, juce::Rectangle<float> field) const;
    void DrawCurve(juce::Graphics& g, juce::Rectangle<float> field) const;
    void DrawBars(juce::Graphics& g, juce::Rectangle<float> field) const;

    PanelModel& panel;
    unsigned slot;
    unsigned shownType = 0;
    double shownRate = 0.0;
    std::vector<std::uint32_t> ids;
    std::vector<float> positions;
    EffectPicture picture;
};

} // namespace orphia::panel
