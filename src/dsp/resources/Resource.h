// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/resources/ResourceBase.h"

#include <memory>
#include <utility>

namespace Velmora::dsp {

/// One share in an object. While it lives, whoever drops another share frees nothing.
template <class T>
class Resource final : public ResourceBase {
public:
    explicit Resource(std::shared_ptr<const T> object) : held(std::move(object)) {}

    long UseCount() const override { return held.use_count(); }

private:
    std::shared_ptr<const T> held;
};

} // namespace Velmora::dsp
