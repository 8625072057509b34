// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/Module.h"
#include "dsp/framework/ModuleContainerBase.h"

#include <array>
#include <cstddef>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace Velmora::dsp {

namespace details {

/// One child by value, built in place from a tuple of constructor arguments.
template <std::size_t Index, class Child>
struct ChildHolder {
    template <class Arguments>
    ChildHolder(std::in_place_t, Arguments&& arguments)
        : child(std::make_from_tuple<Child>(std::forward<Arguments>(arguments))) {}
    Child child;
};

template <class Indices, class... Children>
struct ChildPack;

template <std::size_t... Indices, class... Children>
struct ChildPack<std::index_sequence<Indices...>, Children...> : ChildHolder<Indices, Children>... {
    template <class... Arguments>
    explicit ChildPack(Arguments&&... arguments)
        : ChildHolder<Indices, Children>(std::in_place, std::forward<Arguments>(arguments))... {}
};

} // namespace details

/// A composite: a fixed list of children by value and additional parameters of its own. Parameter ids are
/// the children's ids in template order, then the additional ones; ranges are compile-time constants. The
/// routing between children is the point of a composite, so OnInitialize, OnReset, UpdateParameters and
/// Process are written by hand in each concrete class.
template <class... Children>
class ModuleContainer : public ModuleContainerBase {
public:
    static constexpr u32 childCount = sizeof...(Children);
    static constexpr u32 childParameterCount = (0U + ... + Children::parameterCount);

    /// First id of each child, and the first additional id at the end.
    static constexpr auto firstIds = [] {
        std::array<u32, childCount + 1> ids{};
        u32 child = 0;
        ((ids[child + 1] = ids[child] + Children::parameterCount, ++child), ...);
        return ids;
    }();

    template <std::size_t Index>
    static constexpr u32 FirstParameter() {
        return firstIds[Index];
    }

    void Initialize(float sampleRate, u32 maxBlockSize) override {
        const auto [rate, blockSize] = GetRateOverride(sampleRate, maxBlockSize);
        ForEachChild(
            [rate = rate, blockSize = blockSize](auto& child) { child.Initialize(rate, blockSize); });
        FinishInitialize(rate, blockSize);
    }

    void Terminate() override {
        ForEachChild([](auto& child) { child.Terminate(); });
        OnTerminate();
    }

    void Reset(bool hard) override {
        ForEachChild([hard](auto& child) { child.Reset(hard); });
        FinishReset(hard);
    }

    bool SetParameterNormalized(u32 id, float value) override {
        if (id >= childParameterCount) {
            return SetAdditionalNormalized(id - childParameterCount, value);
        }
        return WithChild(
            id, [value](auto& child, u32 childId) { return child.SetParameterNormalized(childId, value); });
    }

    bool SetParameterValue(u32 id, float value) override {
        if (id >= childParameterCount) {
            return SetAdditionalValue(id - childParameterCount, value);
        }
        return WithChild(
            id, [value](auto& child, u32 childId) { return child.SetParameterValue(childId, value); });
    }

    float GetParameterNormalized(u32 id) override {
        if (id >= childParameterCount) {
            return GetAdditionalNormalized(id - childParameterCount);
        }
        return WithChild(id, [](auto& child, u32 childId) { return child.GetParameterNormalized(childId); });
    }

    void GetParameterName(u32 id, ParameterNameWriter& writer) override {
        if (id >= childParameterCount) {
            WriteAdditionalName(id, childParameterCount, writer);
            return;
        }
        WritePrefix(writer);
        WithChild(id, [&writer](auto& child, u32 childId) {
            child.GetParameterName(childId, writer);
            return true;
        });
    }

    /// The record behind an id, null beyond the last.
    ModuleParam* FindParameter(u32 id) {
        if (id >= childParameterCount) {
            return FindAdditional(id - childParameterCount);
        }
        return WithChild(
            id, [](auto& child, u32 childId) -> ModuleParam* { return child.FindParameter(childId); });
    }

protected:
    /// One tuple of constructor arguments per child, in template order.
    template <class... Arguments>
    ModuleContainer(std::string moduleName, u32 inputCount, u32 outputCount,
                    std::vector<ModuleParam>&& ownRecords, Arguments&&... arguments)
        : ModuleContainerBase(std::move(moduleName), inputCount, outputCount, std::move(ownRecords)),
          children(std::forward<Arguments>(arguments)...) {}

    template <std::size_t Index>
    using ChildType = std::tuple_element_t<Index, std::tuple<Children...>>;

    template <std::size_t Index>
    ChildType<Index>& Child() {
        return static_cast<details::ChildHolder<Index, ChildType<Index>>&>(children).child;
    }

    /// Calls f(child) in template order.
    template <class F>
    void ForEachChild(F&& f) {
        ForEachIndex(std::make_index_sequence<childCount>(), f);
    }

private:
    template <std::size_t... Indices, class F>
    void ForEachIndex(std::index_sequence<Indices...>, F& f) {
        (f(Child<Indices>()), ...);
    }

    /// Calls f(child, id within the child) for the child that holds an id below childParameterCount.
    template <std::size_t Index = 0, class F>
    auto WithChild(u32 id, F&& f) -> decltype(f(std::declval<ChildType<0>&>(), u32{})) {
        if constexpr (Index + 1 < childCount) {
            if (id >= firstIds[Index + 1]) {
                return WithChild<Index + 1>(id, std::forward<F>(f));
            }
        }
        return f(Child<Index>(), id - firstIds[Index]);
    }

    details::ChildPack<std::index_sequence_for<Children...>, Children...> children;
};

} // namespace Velmora::dsp
