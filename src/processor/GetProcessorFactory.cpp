// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/VocoderProcessorFactory.h"
#include "support/platform/KeepLoaded.h"

#include <fftw3.h>

/// The one function of the library that hosts call. Each call makes a factory, which the caller deletes.
extern "C" Velmora::Processor::IProcessorFactory* GetProcessorFactory() {
    // What FFTW remembers of its plans would be lost each time that it is unloaded with this library. To
    // clear it instead would take away the plans of others in the process.
    Velmora::Platform::KeepLoaded(&fftwf_cleanup);
    // Its planner calls the locks of the other one of its libraries.
    Velmora::Platform::KeepLoaded(&fftwf_make_planner_thread_safe);
    return new Velmora::Processor::VocoderProcessorFactory();
}
