// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <array>

/// The dimensions of the plate in J. Dattorro, "Effect Design, Part 1: Reverberator and Other Filters", J.
/// Audio Eng. Soc. 45 (1997), in samples at the rate that they were tuned at.
namespace Velmora::dsp::ReverbPlate {

inline constexpr float tunedRate = 29761.0F;

inline constexpr std::array<float, 4> inputDiffusers = {142.0F, 107.0F, 379.0F, 277.0F};

/// The tank is one loop of two halves; each is a swung all-pass, a line, an all-pass, and a line that leads
/// to the other half.
enum Line : u32 {
    LeftSwung,
    LeftFirst,
    LeftAllPass,
    LeftSecond,
    RightSwung,
    RightFirst,
    RightAllPass,
    RightSecond,
    LineCount
};
inline constexpr bool IsAllPass(Line line) {
    return line == LeftSwung || line == LeftAllPass || line == RightSwung || line == RightAllPass;
}
inline constexpr std::array<float, LineCount> lengths = {672.0F, 4453.0F, 1800.0F, 3720.0F,
                                                         908.0F, 4217.0F, 2656.0F, 3163.0F};

/// Where an output listens to the tank.
struct Tap {
    Line line;
    float delay;
    float sign;
};
inline constexpr u32 tapsPerSide = 7;
using Taps = std::array<Tap, tapsPerSide>;

inline constexpr Taps leftTaps = {{{RightFirst, 266.0F, 1.0F},
                                   {RightFirst, 2974.0F, 1.0F},
                                   {RightAllPass, 1913.0F, -1.0F},
                                   {RightSecond, 1996.0F, 1.0F},
                                   {LeftFirst, 1990.0F, -1.0F},
                                   {LeftAllPass, 187.0F, -1.0F},
                                   {LeftSecond, 1066.0F, -1.0F}}};
inline constexpr Taps rightTaps = {{{LeftFirst, 353.0F, 1.0F},
                                    {LeftFirst, 3627.0F, 1.0F},
                                    {LeftAllPass, 1228.0F, -1.0F},
                                    {LeftSecond, 2673.0F, 1.0F},
                                    {RightFirst, 2111.0F, -1.0F},
                                    {RightAllPass, 335.0F, -1.0F},
                                    {RightSecond, 121.0F, -1.0F}}};

} // namespace Velmora::dsp::ReverbPlate
