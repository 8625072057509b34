// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processor/boundary/IProcessor_V8.h"

#include <cstdio>

namespace Velmora::Processor {

/// Where a host gets processors from, and what it reads the product's identity from: the three texts lie
/// behind the pointer to the virtual table and are read in place. Processors do not refer back to it.
class IProcessorFactory {
public:
    static constexpr u32 textCapacity = 256;

    IProcessorFactory(const IProcessorFactory&) = delete;
    IProcessorFactory& operator=(const IProcessorFactory&) = delete;

    /// The newest level of the processor interface that the processors have.
    virtual u32 GetInterfaceVersion() { return IProcessor_V8::version; }
    /// A new processor, which the caller deletes; null when there is no memory for it.
    virtual IProcessor* CreateProcessor() = 0;
    virtual ~IProcessorFactory() = default;

    char version[textCapacity];
    char vendor[textCapacity];
    char name[textCapacity];

protected:
    /// Longer texts are cut to 255 characters.
    IProcessorFactory(const char* productVersion, const char* productVendor, const char* productName)
        : version{}, vendor{}, name{} {
        std::snprintf(version, textCapacity, "%s", productVersion);
        std::snprintf(vendor, textCapacity, "%s", productVendor);
        std::snprintf(name, textCapacity, "%s", productName);
    }
};

static_assert(!has64BitPointers || sizeof(IProcessorFactory) == 8 + 3 * IProcessorFactory::textCapacity);

} // namespace Velmora::Processor
