// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace Velmora::dsp {

/// An object that the resource worker owns together with others.
class ResourceBase {
public:
    ResourceBase() = default;
    ResourceBase(const ResourceBase&) = delete;
    ResourceBase& operator=(const ResourceBase&) = delete;
    virtual ~ResourceBase() = default;

    /// Owners of the object, this one included. Below 2 nobody else is left, and nobody can come any more.
    virtual long UseCount() const = 0;
};

} // namespace Velmora::dsp
