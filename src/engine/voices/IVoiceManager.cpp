// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/voices/IVoiceManager.h"

#include "engine/voices/IVoiceManager-Impl.h"
#include "engine/voices/IVoiceManagerGroups-Impl.h"
#include "engine/voices/IVoiceManagerMono-Impl.h"
#include "engine/voices/IVoiceManagerPoly-Impl.h"

namespace Velmora::engine {

template class IVoiceManager<32, VoiceInfoT<NoteInfo>, 0>;

} // namespace Velmora::engine
