// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/adapter/AlignedChannels.h"

#include <algorithm>
#include <cstdint>

namespace Velmora::Processor {

namespace {

bool IsAligned(const float* channel) {
    constexpr std::uintptr_t boundary = 16;
    return channel != nullptr && reinterpret_cast<std::uintptr_t>(channel) % boundary == 0;
}

} // namespace

void AlignedChannels::Take(const float* const* hostChannels, u32 hostCount, u32 frames) {
    const bool isGiven = hostChannels != nullptr;
    areCopied = hostCount > 0 && !(isGiven && std::all_of(hostChannels, hostChannels + hostCount, IsAligned));
    count = areCopied ? std::min(hostCount, static_cast<u32>(channels.size())) : hostCount;
    if (!areCopied) {
        return;
    }
    for (u32 channel = 0; channel < count; ++channel) {
        const float* source = isGiven ? hostChannels[channel] : nullptr;
        if (source != nullptr) {
            std::copy_n(source, frames, channels[channel]);
        } else {
            std::fill_n(channels[channel], frames, 0.0F);
        }
    }
}

void AlignedChannels::GiveBack(float* const* hostChannels, u32 frames) const {
    for (u32 channel = 0; areCopied && hostChannels != nullptr && channel < count; ++channel) {
        if (hostChannels[channel] != nullptr) {
            std::copy_n(channels[channel], frames, hostChannels[channel]);
        }
    }
}

} // namespace Velmora::Processor
