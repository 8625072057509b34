// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/IAftertouchAndMPEManager.h"

#include "engine/IAftertouchAndMPEManager-Impl.h"
#include "engine/IAftertouchAndMPEManagerSetters-Impl.h"

namespace Velmora::engine {

template class IAftertouchAndMPEManager<32>;

} // namespace Velmora::engine
