// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/engine/EngineLibrary.h"

#include "host/common/Errors.h"
#include "host/common/Paths.h"
#include "processor/boundary/IProcessorFactory.h"
#include "support/platform/DynamicLibrary.h"

#include <fmt/format.h>

#include <cstring>
#include <utility>

namespace orphia::host {

namespace {

/// The text of a field that need not end.
template <std::size_t Capacity>
std::string FieldText(const char (&field)[Capacity]) {
    const void* const end = std::memchr(field, 0, Capacity);
    return {field, end != nullptr ? static_cast<const char*>(end) : field + Capacity};
}

} // namespace

EngineLibrary::EngineLibrary(std::filesystem::path file) {
    factory.reset(MakeFactory(std::move(file)));
    if (factory == nullptr) {
        Refuse("it gives no factory");
    }
    interfaceVersion = factory->GetInterfaceVersion();
    if (interfaceVersion < Processor::version) {
        Refuse(fmt::format("its interface is version {}, and {} is needed", interfaceVersion,
                           Processor::version));
    }
    version = FieldText(factory->version);
    vendor = FieldText(factory->vendor);
    name = FieldText(factory->name);
}

EngineLibrary::~EngineLibrary() = default;

void EngineLibrary::Refuse(std::string_view reason) const {
    throw EngineError(fmt::format("{} cannot be used as the engine: {}", TextOf(path), reason));
}

std::unique_ptr<EngineLibrary::Processor>
EngineLibrary::CreateProcessor(std::optional<std::uint32_t> seed) const {
    // From this interface version on a processor is one of that level at least.
    std::unique_ptr<Processor> processor(static_cast<Processor*>(factory->CreateProcessor()));
    if (processor == nullptr) {
        Refuse("there is no memory for a processor");
    }
    if (seed) {
        SendOption(*processor, fmt::format("seed={}", *seed));
    }
    return processor;
}

void EngineLibrary::SendOption(Processor& processor, std::string_view option) {
    auto size = static_cast<std::uint32_t>(option.size());
    // The text of tooltips is the last parameter.
    processor.SetParameterData(processor.GetParameterCount() - 1, option.data(), &size);
}

} // namespace orphia::host
