// SPDX-License-Identifier: GPL-3.0-or-later
// The export of the library, and what it makes.
#include "dsp/pitch/RealFft.h"
#include "processor/adapter/DsplibProcessor-Impl.h"
#include "processor/boundary/IProcessorFactory.h"
#include "processor/instrument/VocoderProcessor.h"

#include <new>

namespace {

using namespace Velmora::Processor;

/// Makes the instrument.
class VocoderProcessorFactory final : public IProcessorFactory {
public:
    VocoderProcessorFactory() : IProcessorFactory("1.6.2.5305", "Velmora", "Orphia VX") {}

    /// New honours the alignment of the class, which vector code relies on; the virtual destructor's delete
    /// matches it. Errors of the engine's construction are raised.
    IProcessor* CreateProcessor() override {
        return new (std::nothrow) DsplibProcessor<VocoderProcessor, 1>();
    }
};

static_assert(sizeof(VocoderProcessorFactory) == sizeof(IProcessorFactory));

} // namespace

/// The one function of the library that hosts call. Each call makes a factory, which the caller deletes.
extern "C" Velmora::Processor::IProcessorFactory* GetProcessorFactory() {
    Velmora::dsp::RealFft::KeepLoaded();
    return new VocoderProcessorFactory();
}
