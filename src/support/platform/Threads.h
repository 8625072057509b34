// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace Velmora::Platform {

/// Whether there are threads to leave work to; where there are none, it is done when its results are fetched.
bool HasThreads();

} // namespace Velmora::Platform
