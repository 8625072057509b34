// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <utility>

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
