// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

namespace Velmora::dsp {

/// Turns a stepped control value into a continuous one, per sample or per control tick. Belongs to one
/// module and is touched on the audio thread alone. An owner sets time, rate and decimation, then calls
/// Prepare; before that a smoother has no valid coefficients. T is float or double.
template <class T>
class Smoother {
public:
    virtual ~Smoother() = default;

    /// Advances one tick and returns the value.
    virtual float Next() = 0;
    virtual void SetTarget(float v) { target = v; }
    virtual void Reset(float currentValue, float targetValue) {
        current = currentValue;
        target = targetValue;
    }
    /// Jumps to a value.
    virtual void Set(float v) { target = current = v; }
    /// Recomputes the coefficients.
    virtual void Prepare() = 0;

    bool IsAtTarget() const { return current == target; }

    T target = 0;
    T current = 0;

protected:
    Smoother() = default;
    Smoother(const Smoother&) = default;
    Smoother& operator=(const Smoother&) = default;
};

} // namespace Velmora::dsp
