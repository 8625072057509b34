// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/boundary/IProcessor_V6.h"

#include <utility>

namespace Velmora::Processor {

IProcessor_V6::IProcessor_V6(std::unique_ptr<Info_V5> description)
    : newestInfo(description ? std::move(description) : std::make_unique<Info_V5>(6U)) {}

bool IProcessor_V6::Connect(ILogSink* hostLogger) {
    const u32 count = GetParameterCount();
    for (Info* copy : {&info, static_cast<Info*>(&infoV4), static_cast<Info*>(&infoV5),
                       static_cast<Info*>(newestInfo.get())}) {
        copy->numParameters = count;
    }
    logger = hostLogger;
    return OnConnect();
}

} // namespace Velmora::Processor
