// SPDX-License-Identifier: GPL-3.0-or-later
// The engine where no library can be loaded: linked into the program, with the same one entry.
#include "host/engine/EngineLibrary.h"
#include "processor/boundary/IProcessorFactory.h"
#include "support/platform/DynamicLibrary.h"
#include "support/platform/Platform.h"

#include <utility>

extern "C" Velmora::Processor::IProcessorFactory* GetProcessorFactory();

namespace orphia::host {

std::string EngineLibrary::FileName() { return {}; }

std::vector<std::filesystem::path> EngineLibrary::SearchedPlaces() { return {}; }

std::shared_ptr<const EngineLibrary> EngineLibrary::Load(const std::filesystem::path& /*path*/) {
    return std::shared_ptr<const EngineLibrary>(new EngineLibrary(Velmora::Platform::LibraryPath()));
}

Velmora::Processor::IProcessorFactory* EngineLibrary::MakeFactory(std::filesystem::path file) {
    path = std::move(file);
    return GetProcessorFactory();
}

} // namespace orphia::host
