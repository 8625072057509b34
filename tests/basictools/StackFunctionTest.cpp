// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/stack_function.h"
#include "rigs/AllocationCounter.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <utility>

namespace {

using Velmora::stlutils::stack_function;

TEST(StackFunction, HoldsSixtyFourBytesOfCaptureInPlaceAndNeverAllocates) {
    using Callback = stack_function<void(bool)>;
    static_assert(sizeof(Callback) == 64 + sizeof(void*));
    std::int64_t sum = 0;
    const auto capture =
        [&sum, terms = std::array<std::int64_t, 7>{1, 20, 300, 4000, 50000, 600000, 7000000}](bool negative) {
            for (const std::int64_t term : terms) {
                sum += negative ? -term : term;
            }
        };
    static_assert(sizeof(capture) == 64);
    const orphia_reference::AllocationCounter control;
    const auto allocated = std::make_shared<int>(1);
    EXPECT_EQ(control.Count(), 1U) << "or the zero below would mean nothing";
    const orphia_reference::AllocationCounter counter;
    Callback first = capture;
    Callback copy = first;
    Callback moved = std::move(first);
    first = copy;
    copy = std::move(moved);
    copy(false);
    first(false);
    EXPECT_EQ(counter.Count(), 0U);
    EXPECT_EQ(sum, 2 * 7654321);
    copy(true);
    EXPECT_EQ(sum, 7654321);
}

TEST(StackFunction, PassesArgumentsAndResultsThroughAndKeepsStatePerCopy) {
    stack_function<std::unique_ptr<int>(std::unique_ptr<int>, int&)> addTo =
        [calls = 0](std::unique_ptr<int> value, int& other) mutable {
            *value += other;
            other = ++calls;
            return value;
        };
    int other = 5;
    EXPECT_EQ(*addTo(std::make_unique<int>(7), other), 12);
    auto copy = addTo;
    addTo(std::make_unique<int>(7), other);
    EXPECT_EQ(*copy(std::make_unique<int>(7), other), 9);
    EXPECT_EQ(other, 2);
}

TEST(StackFunction, EachCaptureEndsOnceAndAnEmptyFunctionDoesNothing) {
    // One owner per living capture.
    const auto living = std::make_shared<int>(7);
    using Function = stack_function<int()>;
    const auto captures = [&living] { return living.use_count() - 1; };
    {
        Function first = [living] { return *living; };
        Function copy = first;
        EXPECT_EQ(captures(), 2);
        Function moved = std::move(first);
        EXPECT_EQ(captures(), 2) << "the captures of a function that was moved out must be gone";
        // NOLINTNEXTLINE(bugprone-use-after-move): what a function is after its move is the point here
        const Function ofNothing = first;
        EXPECT_FALSE(first || ofNothing);
        EXPECT_EQ(first(), 0);
        first = copy;
        EXPECT_EQ(captures(), 3);
        copy = std::move(moved);
        EXPECT_EQ(captures(), 2);
        copy = Function();
        EXPECT_EQ(captures(), 1);
        auto& same = first;
        first = same;
        first = std::move(same);
        EXPECT_EQ(first(), 7);
    }
    EXPECT_EQ(captures(), 0);
}

} // namespace
