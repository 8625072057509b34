// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cassert>
#include <cstddef>
#include <functional>
#include <new>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace Velmora::stlutils {

/// A type-erased call that lies in memory of its owner.
template <typename R, typename... Args>
class stack_function_base {
public:
    /// Runs the call.
    virtual R Invoke(Args&&... args) = 0;
    /// Builds a copy of this call at `storage`.
    virtual void CopyInto(void* storage) const = 0;
    /// Builds a call at `storage` from the captures of this one, which stays to be destroyed.
    virtual void MoveInto(void* storage) noexcept = 0;
    virtual ~stack_function_base() = default;

protected:
    stack_function_base() = default;
    stack_function_base(const stack_function_base&) = default;
    stack_function_base& operator=(const stack_function_base&) = default;
};

/// The call of one lambda type, its captures inside the object.
template <typename Lambda, typename R, typename... Args>
class stack_function_impl final : public stack_function_base<R, Args...> {
public:
    explicit stack_function_impl(const Lambda& source) : lambda(source) {}
    explicit stack_function_impl(Lambda&& source) noexcept : lambda(std::move(source)) {}

    R Invoke(Args&&... args) override {
        if constexpr (std::is_void_v<R>) {
            std::invoke(lambda, std::forward<Args>(args)...); // whatever it returns is dropped
        } else {
            return std::invoke(lambda, std::forward<Args>(args)...);
        }
    }
    void CopyInto(void* storage) const override { new (storage) stack_function_impl(lambda); }
    void MoveInto(void* storage) noexcept override { new (storage) stack_function_impl(std::move(lambda)); }

private:
    Lambda lambda;
};

/// What an empty function holds: a call that does nothing and returns `R()`.
template <typename R>
struct EmptyCall {
    template <typename... Args>
    R operator()(Args&&...) const {
        return R();
    }
};

template <typename Signature, std::size_t capacity = 64>
class stack_function;

/// A callable value that never allocates: the captures lie inside it, `capacity` bytes at most, aligned
/// like a pointer at most. It exists to pass a callback to and from the audio thread.
///
/// A lambda must be copyable and must move without throwing; what does not fit does not compile. Calling
/// an empty function is allowed: it does nothing and returns `R()`. Copying, moving and destroying do
/// what the captures do, so that captures that allocate when copied still do.
template <typename R, typename... Args, std::size_t capacity>
class stack_function<R(Args...), capacity> {
    static_assert(std::is_void_v<R> || std::is_default_constructible_v<R>,
                  "an empty function must be able to return something");
    using Base = stack_function_base<R, Args...>;
    template <typename Lambda>
    using Impl = stack_function_impl<Lambda, R, Args...>;
    using Empty = Impl<EmptyCall<R>>;

public:
    /// An empty function.
    stack_function() noexcept { Emplace(EmptyCall<R>()); }

    /// Takes over a lambda or another callable object.
    template <typename Lambda>
    requires(!std::is_same_v<std::remove_cvref_t<Lambda>, stack_function> &&
             std::is_invocable_r_v<R, std::decay_t<Lambda>&, Args...>)
        // Copies and moves are left alone by the constraint.
        // NOLINTNEXTLINE(bugprone-forwarding-reference-overload)
        stack_function(Lambda&& lambda) {
        Emplace(std::forward<Lambda>(lambda));
    }

    stack_function(const stack_function& other) { other.Target().CopyInto(storage); }

    /// The other function is empty afterwards: its captures are gone, not just moved from.
    stack_function(stack_function&& other) noexcept { TakeOver(other); }

    stack_function& operator=(const stack_function& other) {
        if (this != &other) {
            *this = stack_function(other); // the copy may throw, and this one must survive that
        }
        return *this;
    }

    stack_function& operator=(stack_function&& other) noexcept {
        if (this != &other) {
            Destroy();
            TakeOver(other);
        }
        return *this;
    }

    ~stack_function() { Destroy(); }

    /// Whether it holds a call.
    explicit operator bool() const noexcept {
        const Base& held = Target();
        return typeid(held) != typeid(Empty);
    }

    /// Runs the held call.
    R operator()(Args... args) { return Target().Invoke(std::forward<Args>(args)...); }

private:
    template <typename Lambda>
    void Emplace(Lambda&& lambda) {
        using Held = std::decay_t<Lambda>;
        static_assert(sizeof(Held) <= capacity, "the captures are too big to be held in place");
        static_assert(alignof(Held) <= alignof(void*),
                      "the captures need more alignment than the storage has");
        static_assert(std::is_copy_constructible_v<Held>, "the captures must be copyable");
        static_assert(std::is_nothrow_move_constructible_v<Held>, "the captures must move without throwing");
        static_assert(sizeof(Impl<Held>) <= sizeof(storage));
        [[maybe_unused]] const Base* base = new (storage) Impl<Held>(std::forward<Lambda>(lambda));
        // The storage is addressed as the base class, which therefore must lie at its beginning.
        assert(static_cast<const void*>(base) == static_cast<const void*>(storage));
    }

    void TakeOver(stack_function& other) noexcept {
        other.Target().MoveInto(storage);
        other.Destroy();
        other.Emplace(EmptyCall<R>());
    }

    void Destroy() noexcept { Target().~Base(); }

    Base& Target() noexcept { return *std::launder(reinterpret_cast<Base*>(storage)); }
    const Base& Target() const noexcept { return *std::launder(reinterpret_cast<const Base*>(storage)); }

    // One pointer to the operations, then the captures.
    alignas(void*) std::byte storage[sizeof(void*) + capacity];
};

} // namespace Velmora::stlutils
