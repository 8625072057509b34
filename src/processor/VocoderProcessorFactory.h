// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processor/boundary/IProcessorFactory.h"

namespace Velmora::Processor {

/// Makes the instrument.
class VocoderProcessorFactory final : public IProcessorFactory {
public:
    VocoderProcessorFactory();

    /// Errors of the engine's construction are raised.
    IProcessor* CreateProcessor() override;
};

static_assert(sizeof(VocoderProcessorFactory) == sizeof(IProcessorFactory));

} // namespace Velmora::Processor
