// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/boundary/IProcessorFactory.h"

#include <cstdio>

namespace Velmora::Processor {

IProcessorFactory::IProcessorFactory(const char* productVersion, const char* productVendor,
                                     const char* productName)
    : version{}, vendor{}, name{} {
    std::snprintf(version, textCapacity, "%s", productVersion);
    std::snprintf(vendor, textCapacity, "%s", productVendor);
    std::snprintf(name, textCapacity, "%s", productName);
}

} // namespace Velmora::Processor
