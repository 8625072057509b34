// SPDX-License-Identifier: GPL-3.0-or-later
#include "FormatRig.h"

namespace orphia::test {

const std::vector<Format> formats{
    {"clap", OpenClap, 37}, {"lv2", OpenLv2, 0}, {"light lv2", OpenLightLv2, 0}};

} // namespace orphia::test
