// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/VocoderProcessorFactory.h"

#include "processor/adapter/DsplibProcessor.h"
#include "processor/instrument/VocoderProcessor.h"

#include <new>

namespace Velmora::Processor {

VocoderProcessorFactory::VocoderProcessorFactory()
    : IProcessorFactory("1.6.2.5305", "Velmora", "Orphia VX") {}

// New honours the alignment of the class, which vector code relies on; the virtual destructor's delete
// matches it.
IProcessor* VocoderProcessorFactory::CreateProcessor() {
    return new (std::nothrow) DsplibProcessor<VocoderProcessor, 1>();
}

} // namespace Velmora::Processor
