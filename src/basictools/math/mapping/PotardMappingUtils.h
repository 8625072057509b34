// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/InversePotardMapping.h"
#include "basictools/math/mapping/curves/BipolarExpPotardMapping.h"
#include "basictools/math/mapping/curves/BipolarPolynomialPotardMapping.h"
#include "basictools/math/mapping/curves/BipolarVariableCenterInvPowPotardMapping.h"
#include "basictools/math/mapping/curves/ExponentialPotardMapping.h"
#include "basictools/math/mapping/curves/HarmonicMapping.h"
#include "basictools/math/mapping/curves/IPotardMapping.h"
#include "basictools/math/mapping/curves/InvPolynomialPotardMapping.h"
#include "basictools/math/mapping/curves/LinearPotardMapping.h"
#include "basictools/math/mapping/curves/PiecewiseLinearPotardMapping.h"
#include "basictools/math/mapping/curves/PolynomialPotardMapping.h"
#include "basictools/math/mapping/curves/ReversePotardMapping.h"
#include "basictools/math/mapping/curves/SemiToneToFreqMapping.h"
#include "basictools/math/mapping/curves/VuMeterMapping.h"
#include "basictools/math/mapping/tables/EnveloppeTimeMapping.h"
#include "basictools/math/mapping/tables/MixerTimeMapping.h"

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
