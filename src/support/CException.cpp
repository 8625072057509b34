// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/CException.h"

namespace Velmora {

CException::CException(const std::string& message, const char* file, int line)
    : text(message + "(" + file + ":" + std::to_string(line) + ")") {}

const char* CException::what() const noexcept { return text.c_str(); }

} // namespace Velmora
