// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/IVoiceManager.h"

#include "engine/IVoiceManager-Impl.h"
#include "engine/IVoiceManagerGroups-Impl.h"
#include "engine/IVoiceManagerMono-Impl.h"
#include "engine/IVoiceManagerPoly-Impl.h"

namespace Velmora::engine {

template class IVoiceManager<32, VoiceInfoT<NoteInfo>, 0>;

} // namespace Velmora::engine
