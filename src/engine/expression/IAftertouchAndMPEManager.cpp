// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/expression/IAftertouchAndMPEManager.h"

#include "engine/expression/IAftertouchAndMPEManager-Impl.h"
#include "engine/expression/IAftertouchAndMPEManagerSetters-Impl.h"

namespace Velmora::engine {

template class IAftertouchAndMPEManager<32>;

} // namespace Velmora::engine
