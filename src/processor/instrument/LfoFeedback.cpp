// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/instrument/LfoFeedback.h"

#include "dsp/math/Within.h"

namespace Velmora::Processor {

const LfoFeedback::Message* LfoFeedback::Add(float lfo) {
    if (block % blocksPerByte == blocksPerByte - 1) {
        messages[current][block / blocksPerByte] = static_cast<u8>(dsp::ToIndex((lfo + 1.0F) * 127.5F, 256));
    }
    if (++block < blocksPerMessage) {
        return nullptr;
    }
    const Message* full = &messages[current];
    block = 0;
    current = (current + 1) % messageCount;
    return full;
}

} // namespace Velmora::Processor
