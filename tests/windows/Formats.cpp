// SPDX-License-Identifier: GPL-3.0-or-later
#include "formats/FormatRig.h"

namespace orphia::test {

const std::vector<Format> formats{{"clap", OpenClap, 37}};

} // namespace orphia::test
