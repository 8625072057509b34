// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace Velmora::Processor {

/// The place of a base that this instrument does without.
struct Empty {};

} // namespace Velmora::Processor
