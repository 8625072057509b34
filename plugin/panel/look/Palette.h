// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cmath>
#include <cstdint>

namespace orphia::panel {

/// The look of the panel, all of it: colours, sizes, fonts. A colour is 0xAARRGGBB. There is one accent
/// colour; the warning is for what clips or is missing, and for nothing else.
struct Palette {
    using Colour = std::uint32_t;

    Colour background;
    /// Of sections, and of what is set into them: fields, tracks, the picture of the bands.
    Colour section;
    Colour field;
    Colour line;
    Colour text;
    /// Names of controls, and what is less important.
    Colour dimText;
    Colour accent;
    /// On the accent colour.
    Colour onAccent;
    Colour warning;

    static constexpr Palette Dark() {
        return {0xFF14161A, 0xFF1C1F25, 0xFF272B33, 0xFF373C46, 0xFFECEEF1,
                0xFFA6AEBA, 0xFFF5B041, 0xFF1A1408, 0xFFFF6B5E};
    }
    static constexpr Palette Bright() {
        return {0xFFE9E7E2, 0xFFF8F7F4, 0xFFECEAE4, 0xFFCBC7BD, 0xFF1B1E23,
                0xFF565C66, 0xFF955400, 0xFFFFFFFF, 0xFFB3261E};
    }

    static constexpr Colour WithAlpha(Colour colour, std::uint32_t alpha) {
        return (colour & 0x00FFFFFFU) | alpha << 24U;
    }

    /// Contrast of two colours as readers need it, 1 to 21: from their relative luminance in linear light.
    static double Contrast(Colour one, Colour other) {
        const double a = Luminance(one);
        const double b = Luminance(other);
        return (std::fmax(a, b) + 0.05) / (std::fmin(a, b) + 0.05);
    }

private:
    static double Luminance(Colour colour) {
        constexpr std::array<double, 3> weights = {0.2126, 0.7152, 0.0722};
        double sum = 0.0;
        for (unsigned n = 0; n < 3; ++n) {
            const double level = (colour >> (16U - 8U * n) & 0xFFU) / 255.0;
            sum += weights[n] * (level <= 0.04045 ? level / 12.92 : std::pow((level + 0.055) / 1.055, 2.4));
        }
        return sum;
    }
};

/// Sizes in points at 100 %.
struct Sizes {
    static constexpr float corner = 6.0F;
    static constexpr float smallCorner = 4.0F;
    static constexpr float titleFont = 12.0F;
    static constexpr float labelFont = 11.5F;
    static constexpr float valueFont = 11.5F;
    static constexpr float textFont = 13.0F;
    static constexpr float headerFont = 15.0F;
    static constexpr float knob = 36.0F;
    static constexpr float knobLine = 3.0F;
    static constexpr float focusLine = 1.5F;
};

/// The first of these that the system has; else its own.
inline constexpr std::array<const char*, 6> fontNames = {"Inter",     "Noto Sans",       "Open Sans",
                                                         "Cantarell", "Liberation Sans", "DejaVu Sans"};

} // namespace orphia::panel
