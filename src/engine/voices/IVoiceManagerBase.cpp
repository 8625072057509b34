// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/voices/IVoiceManagerBase.h"

#include <algorithm>
#include <numeric>

namespace Velmora::engine {

IVoiceManagerBase::IVoiceManagerBase(u32 voiceCount, i32 initialMode)
    : polyphony(voiceCount), mode(initialMode) {
    active.reserve(voiceCount);
    allowed.reserve(voiceCount);
    releasedOrder.reserve(voiceCount);
    SetPolyphony(voiceCount);
}

IVoiceManagerBase::~IVoiceManagerBase() = default;

u32 IVoiceManagerBase::ActiveVoiceCount() const { return static_cast<u32>(active.size()); }

u32 IVoiceManagerBase::CountWithOthers() const {
    return static_cast<u32>(active.size() + otherVoices.size());
}

void IVoiceManagerBase::SetSameNoteLimit(bool enabled, u32 limit) {
    sameNoteLimited = enabled;
    sameNoteLimit = limit;
}

void IVoiceManagerBase::InsertActive(u32 v) {
    const auto place = std::lower_bound(active.begin(), active.end(), v);
    if (place == active.end() || *place != v) {
        active.insert(place, v);
    }
}

void IVoiceManagerBase::AppendReleased(u32 v) {
    if (std::find(releasedOrder.begin(), releasedOrder.end(), v) == releasedOrder.end()) {
        releasedOrder.push_back(v);
    }
}

void IVoiceManagerBase::ForgetReleased(u32 v) { std::erase(releasedOrder, v); }

void IVoiceManagerBase::SetPolyphony(u32 voices) {
    polyphony = voices;
    allowed.resize(voices);
    std::iota(allowed.begin(), allowed.end(), 0U);
}

} // namespace Velmora::engine
