// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

namespace Velmora::MappingTools {

/// The curve of a knob: bends a position x, 0 to 1, into a shaped position y. A ModuleParam scales y to
/// its real range, unless the mapping yields final values itself. Immutable after construction, so
/// any thread may read it; no operation allocates.
class IPotardMapping {
public:
    virtual ~IPotardMapping() = default;

    /// Position to shaped value.
    virtual float Map(float x) const = 0;

    /// Inverse of Map.
    virtual float Unmap(float y) const = 0;

    /// The constants that the curve was built from, 0 where it has none.
    virtual float GetShape() const { return 0.0F; }
    virtual float GetShape2() const { return 0.0F; }

    /// Map in place. Curves with audio-rate modulation override it with a faster form.
    virtual void MapBlock(float* values, u32 count) const {
        for (u32 i = 0; i < count; ++i) {
            values[i] = Map(values[i]);
        }
    }

    /// True when Map yields final values, which are not scaled to a range.
    virtual bool IsAbsolute() const { return false; }

protected:
    IPotardMapping() = default;
    IPotardMapping(const IPotardMapping&) = default;
    IPotardMapping& operator=(const IPotardMapping&) = default;
};

/// A mapping that brings its own range along.
class IPotardMappingCustom : public IPotardMapping {
public:
    virtual float GetMin() const = 0;
    virtual float GetMax() const = 0;
};

} // namespace Velmora::MappingTools
