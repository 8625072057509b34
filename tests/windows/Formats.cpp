// SPDX-License-Identifier: GPL-3.0-or-later
#include "formats/FormatRig.h"

namespace orphia::test {

const std::vector<Format> formats{
    {"clap", OpenClap, 37}, {"vst3", OpenVst3, 0}, {"light lv2", OpenPlainLv2, 0}};

} // namespace orphia::test
