// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/frame/KeyStrip.h"

#include <algorithm>
#include <cmath>

namespace orphia::panel {

namespace {

constexpr int wheelWidth = 26;
constexpr int statusWidth = 168;

} // namespace

/// A strip that sends messages: a song plays on it, so it is no part of what can be undone.
class KeyStrip::Wheel final : public juce::Component, public Live, public juce::SettableTooltipClient {
public:
    enum class Kind { Bend, Modulation, Pedal };

    Wheel(PanelModel& ofPanel, Kind ofKind, const char* parameter, const juce::String& title)
        : panel(ofPanel), kind(ofKind), id(EngineId(parameter)), position(panel.instrument.Position(id)) {
        setName(title);
        setTitle(title);
        setWantsKeyboardFocus(true);
        setTooltip(Describe(id).tooltip);
    }
    ~Wheel() override { LetGo(); }

    void Refresh() override {
        if (const float now = panel.instrument.Position(id); std::fabs(now - position) > 0.004F) {
            position = now;
            repaint();
        }
    }

    void paint(juce::Graphics& g) override {
        const Palette& colours = PanelLook::Of(*this);
        juce::Rectangle<float> area = getLocalBounds().toFloat();
        DrawText(g, getName(), area.removeFromBottom(15.0F), Sizes::labelFont, colours.dimText);
        DrawFocus(g, *this, area);
        const juce::Rectangle<float> strip = area.reduced(4.0F, 2.0F);
        FillBox(g, strip, colours.field);
        const float y = strip.getBottom() - position * strip.getHeight();
        const float from = kind == Kind::Bend ? strip.getCentreY() : strip.getBottom();
        FillBox(g, strip.withTop(std::min(y, from)).withBottom(std::max(y, from)), colours.accent);
        FillBox(g,
                juce::Rectangle<float>(strip.getWidth(), 3.0F)
                    .withCentre({strip.getCentreX(), y})
                    .constrainedWithin(strip),
                colours.text, 1.0F);
    }

    void mouseDown(const juce::MouseEvent& event) override {
        kind == Kind::Pedal ? Send(position < 0.5F ? 1.0F : 0.0F) : mouseDrag(event);
    }
    void mouseDrag(const juce::MouseEvent& event) override {
        if (kind != Kind::Pedal) {
            Send(1.0F - (event.position.y - 2.0F) / static_cast<float>(getHeight() - 19));
        }
    }
    void mouseUp(const juce::MouseEvent& /*event*/) override { LetGo(); }
    void mouseWheelMove(const juce::MouseEvent& /*event*/, const juce::MouseWheelDetails& rolled) override {
        if (kind == Kind::Modulation) {
            Send(position + 0.3F * rolled.deltaY);
        }
    }
    bool keyPressed(const juce::KeyPress& key) override {
        const int code = key.getKeyCode();
        const bool isUp = code == juce::KeyPress::upKey;
        if (isUp || code == juce::KeyPress::downKey) {
            Send(kind == Kind::Pedal ? (isUp ? 1.0F : 0.0F) : position + (isUp ? 0.05F : -0.05F));
        } else if (code == juce::KeyPress::homeKey || code == juce::KeyPress::endKey) {
            Send(code == juce::KeyPress::endKey ? 1.0F : 0.0F);
        } else if (code == juce::KeyPress::deleteKey || code == juce::KeyPress::backspaceKey) {
            Send(kind == Kind::Bend ? 0.5F : 0.0F);
        } else {
            return false;
        }
        return true;
    }
    void focusGained(FocusChangeType /*cause*/) override { repaint(); }
    void focusLost(FocusChangeType /*cause*/) override {
        LetGo();
        repaint();
    }
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override {
        return std::make_unique<juce::AccessibilityHandler>(
            *this, juce::AccessibilityRole::slider, juce::AccessibilityActions(),
            juce::AccessibilityHandler::Interfaces{std::make_unique<Reach>(*this)});
    }

private:
    /// What screen readers read and move.
    class Reach final : public juce::AccessibilityRangedNumericValueInterface {
    public:
        explicit Reach(Wheel& ofWheel) : wheel(ofWheel) {}

        bool isReadOnly() const override { return false; }
        double getCurrentValue() const override { return wheel.position; }
        void setValue(double value) override { wheel.Send(static_cast<float>(value)); }
        AccessibleValueRange getRange() const override { return {{0.0, 1.0}, 0.05}; }

    private:
        Wheel& wheel;
    };

    /// A bend springs back, also when the panel goes or the focus.
    void LetGo() {
        if (kind == Kind::Bend && isBent) {
            Send(0.5F);
        }
    }

    void Send(float next) {
        position = std::clamp(next, 0.0F, 1.0F);
        isBent = kind == Kind::Bend && position != 0.5F;
        const auto fine = static_cast<unsigned>(juce::roundToInt(position * 16383.0F));
        const auto coarse = static_cast<std::uint8_t>(juce::roundToInt(position * 127.0F));
        switch (kind) {
        case Kind::Bend:
            panel.instrument.Play(
                {0xE0, static_cast<std::uint8_t>(fine & 0x7FU), static_cast<std::uint8_t>(fine >> 7U)});
            break;
        case Kind::Modulation:
            panel.instrument.Play({0xB0, 1, coarse});
            break;
        case Kind::Pedal:
            panel.instrument.Play({0xB0, 64, coarse});
            break;
        }
        repaint();
    }

    PanelModel& panel;
    Kind kind;
    std::uint32_t id;
    float position;
    /// By this.
    bool isBent = false;
};

/// What plays, in words; asked seldom, as nobody reads faster.
class KeyStrip::Status final : public juce::Component, public Live {
public:
    explicit Status(PanelModel& ofPanel)
        : panel(ofPanel), hasSource(EngineId("MTS_HasMaster")), tune(EngineId("Carrier_MasterTune")) {
        setTitle("State");
        Refresh();
    }

    void Refresh() override {
        if (countdown-- > 0) {
            return;
        }
        countdown = picturesBetween;
        const std::uint32_t late = panel.instrument.LatencyFrames();
        juce::StringArray next;
        next.add("Tuning  " + (panel.instrument.Position(hasSource) >= 0.5F
                                   ? juce::String("from outside")
                                   : juce::String(ValueText(tune, panel.instrument.Position(tune)))));
        next.add("Latency  " + (panel.sampleRate > 0.0
                                    ? juce::String(1000.0 * late / panel.sampleRate, 1) + " ms"
                                    : juce::String(late)));
        next.add("Processor  " + juce::String(100.0F * panel.processorShare, 1) + " %");
        if (next != lines) {
            lines = next;
            setDescription(lines.joinIntoString(", "));
            repaint();
        }
    }

    void paint(juce::Graphics& g) override {
        const Palette& colours = PanelLook::Of(*this);
        juce::Rectangle<float> area = getLocalBounds().toFloat();
        const float height = area.getHeight() / static_cast<float>(std::max(1, lines.size()));
        for (const juce::String& line : lines) {
            juce::Rectangle<float> row = area.removeFromTop(height);
            DrawText(g, line.upToFirstOccurrenceOf("  ", false, false), row.removeFromLeft(64.0F),
                     Sizes::labelFont, colours.dimText, juce::Justification::centredLeft);
            DrawText(g, line.fromFirstOccurrenceOf("  ", false, false), row, Sizes::valueFont, colours.text,
                     juce::Justification::centredLeft);
        }
    }

private:
    static constexpr int picturesBetween = 8;

    PanelModel& panel;
    std::uint32_t hasSource;
    std::uint32_t tune;
    juce::StringArray lines;
    int countdown = 0;
};

KeyStrip::KeyStrip(PanelModel& ofPanel)
    : panel(ofPanel), bend(std::make_unique<Wheel>(panel, Wheel::Kind::Bend, "VST3_PitchBend", "Bend")),
      wheel(std::make_unique<Wheel>(panel, Wheel::Kind::Modulation, "VST3_CtrlModWheel", "Wheel")),
      pedal(std::make_unique<Wheel>(panel, Wheel::Kind::Pedal, "VST3_CtrlSustainOnOff", "Pedal")),
      keyboard(panel),
      mpe(ParameterControl::Make(panel, Describe("MPE_Enabled", "MPE", ControlKind::Switch))),
      status(std::make_unique<Status>(panel)) {
    setTitle("Keys");
    for (juce::Component* const part : std::initializer_list<juce::Component*>{
             bend.get(), wheel.get(), pedal.get(), &keyboard, mpe.get(), status.get()}) {
        addAndMakeVisible(part);
    }
}

KeyStrip::~KeyStrip() = default;

void KeyStrip::Refresh() {
    bend->Refresh();
    wheel->Refresh();
    pedal->Refresh();
    keyboard.Refresh();
    mpe->Refresh();
    status->Refresh();
}

void KeyStrip::paint(juce::Graphics& g) {
    FillBox(g, getLocalBounds().toFloat(), PanelLook::Of(*this).section, Sizes::corner);
}

void KeyStrip::resized() {
    juce::Rectangle<int> area = getLocalBounds().reduced(8, 6);
    for (Wheel* const each : {bend.get(), wheel.get(), pedal.get()}) {
        each->setBounds(area.removeFromLeft(wheelWidth + 14));
    }
    area.removeFromLeft(6);
    juce::Rectangle<int> right = area.removeFromRight(statusWidth).withTrimmedLeft(12);
    mpe->setBounds(right.removeFromTop(24));
    status->setBounds(right);
    keyboard.setBounds(area);
}

} // namespace orphia::panel
