// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/frame/KeyStrip.h"
#include "plugin/panel/model/Keys.h"

#include <algorithm>

namespace orphia::panel {

namespace {

constexpr float blackWidth = 0.62F;
constexpr float blackHeight = 0.6F;
constexpr float computerVelocity = 0.8F;
// The ivory of keys is no part of a palette: both looks have it.
constexpr Palette::Colour white = 0xFFE9E6DF;
constexpr Palette::Colour black = 0xFF24272D;

} // namespace

Keyboard::Keyboard(PanelModel& ofPanel) : panel(ofPanel) {
    setTitle("Keyboard");
    setDescription("Played by the keys A to P of the computer; Z and X move it by an octave");
}

Keyboard::~Keyboard() { ReleaseAll(); }

juce::Rectangle<float> Keyboard::AreaOf(int key) const {
    const int whites = Keys::WhitesBelow(firstKey + keyCount) - Keys::WhitesBelow(firstKey);
    const float width = static_cast<float>(getWidth()) / static_cast<float>(whites);
    const float left = width * static_cast<float>(Keys::WhitesBelow(key) - Keys::WhitesBelow(firstKey));
    const auto height = static_cast<float>(getHeight());
    if (Keys::IsBlack(key)) {
        return {left - 0.5F * blackWidth * width, 0.0F, blackWidth * width, blackHeight * height};
    }
    return {left, 0.0F, width, height};
}

int Keyboard::KeyAt(juce::Point<float> place) const {
    for (const bool isBlack : {true, false}) {
        for (int key = firstKey; key < firstKey + keyCount; ++key) {
            if (Keys::IsBlack(key) == isBlack && AreaOf(key).contains(place)) {
                return key;
            }
        }
    }
    return -1;
}

void Keyboard::Press(int key, float velocity) {
    const int hard = std::clamp(juce::roundToInt(velocity * 127.0F), 1, 127);
    panel.instrument.Play({0x90, static_cast<std::uint8_t>(key), static_cast<std::uint8_t>(hard)});
}

void Keyboard::Release(int key) { panel.instrument.Play({0x80, static_cast<std::uint8_t>(key), 0}); }

void Keyboard::ReleaseAll() {
    if (underMouse >= 0) {
        Release(std::exchange(underMouse, -1));
    }
    for (const auto& [letter, key] : computer) {
        Release(key);
    }
    computer.clear();
}

/// Lower on a key is harder.
void Keyboard::MoveMouseTo(const juce::MouseEvent& event) {
    const int key = KeyAt(event.position);
    if (key == underMouse) {
        return;
    }
    if (underMouse >= 0) {
        Release(underMouse);
    }
    underMouse = key;
    if (key >= 0) {
        Press(key, 0.35F + 0.65F * event.position.y / AreaOf(key).getHeight());
    }
}

void Keyboard::mouseDown(const juce::MouseEvent& event) { MoveMouseTo(event); }
void Keyboard::mouseDrag(const juce::MouseEvent& event) { MoveMouseTo(event); }

void Keyboard::mouseUp(const juce::MouseEvent& /*event*/) {
    if (underMouse >= 0) {
        Release(std::exchange(underMouse, -1));
    }
}

bool Keyboard::FollowComputer() {
    const bool hasModifier = juce::ModifierKeys::currentModifiers.isCommandDown() ||
                             juce::ModifierKeys::currentModifiers.isAltDown();
    bool isOurs = false;
    for (const char letter : Keys::letters) {
        const bool isDown = !hasModifier && juce::KeyPress::isKeyCurrentlyDown(letter);
        const auto found = computer.find(letter);
        if (isDown && found == computer.end()) {
            const int key = std::min(127, 12 * (computerOctave + 1) + *Keys::OfComputer(letter));
            computer.emplace(letter, key);
            Press(key, computerVelocity);
        } else if (!isDown && found != computer.end()) {
            Release(found->second);
            computer.erase(found);
        }
        isOurs = isOurs || isDown;
    }
    const bool isLower = !hasModifier && juce::KeyPress::isKeyCurrentlyDown('z');
    const bool isHigher = !hasModifier && juce::KeyPress::isKeyCurrentlyDown('x');
    if ((isLower || isHigher) && !wasOctaveKey) {
        computerOctave = std::clamp(computerOctave + (isHigher ? 1 : -1), 0, 8);
    }
    wasOctaveKey = isLower || isHigher;
    return isOurs || wasOctaveKey;
}

/// Their end is not told here when the focus has gone to a field or to another window.
void Keyboard::ReleaseWhatIsUp() {
    const bool isElsewhere = juce::Component::getCurrentlyFocusedComponent() == nullptr;
    std::erase_if(computer, [this, isElsewhere](const auto& letterAndKey) {
        const bool isUp = isElsewhere || !juce::KeyPress::isKeyCurrentlyDown(letterAndKey.first);
        if (isUp) {
            Release(letterAndKey.second);
        }
        return isUp;
    });
}

void Keyboard::Refresh() {
    ReleaseWhatIsUp();
    if (panel.keys.held == held) {
        return;
    }
    for (int key = firstKey; key < firstKey + keyCount; ++key) {
        if (panel.keys.held[static_cast<std::size_t>(key)] != held[static_cast<std::size_t>(key)]) {
            repaint(AreaOf(key).getSmallestIntegerContainer());
        }
    }
    held = panel.keys.held;
}

void Keyboard::paint(juce::Graphics& g) {
    const Palette& colours = PanelLook::Of(*this);
    FillBox(g, getLocalBounds().toFloat(), black, 2.0F);
    for (const bool isBlack : {false, true}) {
        for (int key = firstKey; key < firstKey + keyCount; ++key) {
            if (Keys::IsBlack(key) != isBlack) {
                continue;
            }
            const juce::Rectangle<float> area = AreaOf(key).reduced(0.75F, 0.0F);
            const bool isHeld = held[static_cast<std::size_t>(key)];
            FillBox(g, area, isHeld ? colours.accent : isBlack ? black : white, 2.0F);
            if (!isBlack && key % 12 == 0) {
                DrawText(g, "C" + juce::String(key / 12 - 1), area.withTop(area.getBottom() - 15.0F), 10.0F,
                         isHeld ? colours.onAccent : black);
            }
        }
    }
}

} // namespace orphia::panel
