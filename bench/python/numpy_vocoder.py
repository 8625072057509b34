# SPDX-License-Identifier: GPL-3.0-or-later
"""The yardstick: a channel vocoder as one writes it with NumPy and SciPy, of the same band plan.

Sixteen bands, a low-pass and fifteen band-passes a third of an octave wide, of two staggered biquads each; rectifier and
three poles of smoothing; the carrier through the amplifiers and the same bank. It has none of the rest: no preamps, no
unvoiced way, no noise, no times of attack and release, no curves of a circuit.
"""
import numpy as np
from scipy.signal import butter, sosfilt

BANDS = 16
LOWEST_EDGE = 159.0
THIRD = 2 ** (1 / 3)
SMOOTHING = 25.0  # Hz


def _biquad(kind, frequency, quality, rate):
    """A low-pass or band-pass section."""
    w = 2 * np.pi * frequency / rate
    alpha = np.sin(w) / (2 * quality)
    cos = np.cos(w)
    b = np.array([(1 - cos) / 2, 1 - cos, (1 - cos) / 2] if kind == "low" else [alpha, 0, -alpha])
    return np.concatenate([b, [1 + alpha, -2 * cos, 1 - alpha]]) / (1 + alpha)


def band_filters(rate):
    """Sections of each band, (2, 6)."""
    spread = THIRD ** 0.4
    quality = 1.4 / (spread - 1 / spread)
    low = LOWEST_EDGE
    corner = np.sqrt(low * THIRD * low) * 1.0734
    filters = [np.stack([_biquad("low", corner, 0.7416, rate)] * 2)]
    for _ in range(BANDS - 1):
        high = low * THIRD
        centre = np.sqrt(low * high)
        filters.append(np.stack([1.7857 * _biquad("band", frequency, quality, rate)
                                 for frequency in (centre / spread, centre * spread)]))
        low = high
    # Only the numerators are to be louder.
    for sections in filters[1:]:
        sections[:, 3:] /= sections[:, 3:4]
    return filters


def vocode(voice, carrier, rate):
    """Arrays of the shape (channels, frames)."""
    smoothing = butter(3, SMOOTHING, fs=rate, output="sos")
    output = np.zeros_like(carrier)
    for sections in band_filters(rate):
        envelope = sosfilt(smoothing, np.abs(sosfilt(sections, voice, axis=-1)), axis=-1)
        output += sosfilt(sections, carrier * np.maximum(envelope, 0), axis=-1)
    return output
