# SPDX-License-Identifier: GPL-3.0-or-later
"""Pictures, with matplotlib."""
from __future__ import annotations

import io
from typing import Any, Optional

import numpy as np
import numpy.typing as npt
from matplotlib.figure import Figure

from orphia.arrays import as_number, as_rate, as_sound
from orphia.instrument import BandHistory, Instrument

FLOOR = -60.0  # dB
WINDOW = 1024
LOWEST = 50.0  # Hz


def _axes(axes: Any, height: float) -> Any:
    """The axes given, or new ones on a figure that no window manager knows."""
    return axes if axes is not None else Figure(figsize=(9, height), layout="constrained").add_subplot()


def _decibels(levels: npt.NDArray[Any]) -> npt.NDArray[Any]:
    return 20 * np.log10(np.maximum(levels, 10 ** (FLOOR / 20)))


def bands(instrument: Instrument, axes: Any = None) -> Any:
    """Draws the levels of the sixteen bands over time, in dB, of an instrument's last render.

    Parameters
    ----------
    instrument : Instrument
    axes : matplotlib Axes, optional
        Without, those of a new figure: ``bands(instrument).figure``.

    Returns
    -------
    matplotlib Axes

    Raises
    ------
    ValueError
        When nothing has been rendered yet.
    """
    history: Optional[BandHistory] = instrument.history
    if history is None:
        raise ValueError("the instrument has not rendered anything yet")
    axes = _axes(axes, 3)
    count, readings = history.levels.shape
    image = axes.imshow(_decibels(history.levels), origin="lower", aspect="auto", cmap="magma", vmin=FLOOR, vmax=0,
                        extent=(0, max(readings, 1) * history.step, 0.5, count + 0.5), interpolation="nearest")
    axes.set(xlabel="time, s", ylabel="band", title="Band levels")
    axes.figure.colorbar(image, ax=axes, label="dB")
    return axes


def spectrogram(sound: npt.ArrayLike, sample_rate: int, axes: Any = None, title: str = "",
                floor: float = -90.0) -> Any:
    """Draws what is in a sound over time, both sides together, on a logarithmic scale of frequency.

    Parameters
    ----------
    sound : array_like, shape (frames,) or (channels, frames)
    sample_rate : int
        In Hz.
    axes : matplotlib Axes, optional
    title : str, optional
    floor : float, optional
        What is black, in dB below the loudest.

    Returns
    -------
    matplotlib Axes
    """
    rate = as_rate(sample_rate)
    floor = as_number(floor, "floor", -300.0, -1.0)
    mono = as_sound(sound, "sound").mean(axis=0)
    mono = np.pad(mono, (WINDOW // 2, WINDOW // 2 + WINDOW))
    hop = max(WINDOW // 4, len(mono) // 2000)
    frames = np.lib.stride_tricks.sliding_window_view(mono, WINDOW)[::hop]
    power = np.abs(np.fft.rfft(frames * np.hanning(WINDOW), axis=1)).T
    level = 20 * np.log10(np.maximum(power, 1e-15) / max(float(power.max()), 1e-15))
    axes = _axes(axes, 4)
    times = np.arange(level.shape[1]) * hop / rate
    frequencies = np.fft.rfftfreq(WINDOW, 1 / rate)
    image = axes.pcolormesh(times, frequencies[1:], level[1:], cmap="magma", vmin=floor, vmax=0, shading="nearest",
                            rasterized=True)
    axes.set(xlabel="time, s", ylabel="Hz", yscale="log", ylim=(LOWEST, rate / 2), title=title)
    axes.figure.colorbar(image, ax=axes, label="dB")
    return axes


def png(axes: Any) -> bytes:
    """The picture that axes are on, as the bytes of a PNG file."""
    data = io.BytesIO()
    axes.figure.savefig(data, format="png", dpi=100)
    return data.getvalue()
