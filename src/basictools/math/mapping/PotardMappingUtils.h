// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/BipolarExpPotardMapping.h"
#include "basictools/math/mapping/BipolarPolynomialPotardMapping.h"
#include "basictools/math/mapping/BipolarVariableCenterInvPowPotardMapping.h"
#include "basictools/math/mapping/EnveloppeTimeMapping.h"
#include "basictools/math/mapping/ExponentialPotardMapping.h"
#include "basictools/math/mapping/HarmonicMapping.h"
#include "basictools/math/mapping/IPotardMapping.h"
#include "basictools/math/mapping/InvPolynomialPotardMapping.h"
#include "basictools/math/mapping/InversePotardMapping.h"
#include "basictools/math/mapping/LinearPotardMapping.h"
#include "basictools/math/mapping/MixerTimeMapping.h"
#include "basictools/math/mapping/PiecewiseLinearPotardMapping.h"
#include "basictools/math/mapping/PolynomialPotardMapping.h"
#include "basictools/math/mapping/ReversePotardMapping.h"
#include "basictools/math/mapping/SemiToneToFreqMapping.h"
#include "basictools/math/mapping/VuMeterMapping.h"

#include <variant>

namespace Velmora::MappingTools {

/// One mapping by value, or (tag 16) a pointer to a shared one that is owned elsewhere. The order is the
/// numbering of the tags: index() is the tag, 0 is empty.
using MappingStorage =
    std::variant<std::monostate, LinearPotardMapping, ReversePotardMapping, PolynomialPotardMapping,
                 InvPolynomialPotardMapping, ExponentialPotardMapping, BipolarExpPotardMapping,
                 BipolarPolynomialPotardMapping, BipolarVariableCenterInvPowPotardMapping,
                 EnveloppeTimeMapping, MixerTimeMapping, VuMeterMapping, HarmonicMapping,
                 PiecewiseLinearPotardMapping, InversePotardMapping, SemiToneToFreqMapping,
                 const IPotardMapping*>;

/// Builds the mapping of an id, 0 to 16, with up to two constants whose meaning the class tells.
/// Throws CException for any other id, and what the constructor of the class throws.
MappingStorage MakePotardMapping(i32 id, float a, float b);

/// The embedded mapping, valid as long as the storage is neither moved nor assigned, or the shared one.
/// Null when the storage is empty.
const IPotardMapping* ActiveMapping(const MappingStorage& storage);

} // namespace Velmora::MappingTools
