// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/stack_function.h"
#include "rigs/AllocationCounter.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <utility>

namespace {

TEST(StackFunction, HoldsItsCapturesInPlacePerCopyAndEndsEachOnce) {
    using Function = Velmora::stlutils::stack_function<int(std::unique_ptr<int>, int&)>;
    static_assert(sizeof(Function) == 64 + sizeof(void*));
    const orphia_reference::AllocationCounter control;
    const auto owner = std::make_shared<int>(7); // of which each living capture has a share
    EXPECT_EQ(control.Count(), 1U) << "or the zero below would mean nothing";
    const auto captures = [&owner] { return owner.use_count() - 1; };
    {
        const auto call = [](Function& function) {
            int calls = 0;
            const int sum = function(std::make_unique<int>(20), calls);
            return 100 * calls + sum;
        };
        const std::array<int, 11> terms = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
        auto addAll = [share = owner, terms, count = 0](std::unique_ptr<int> value, int& calls) mutable {
            calls = ++count;
            return *value + *share + terms[10];
        };
        static_assert(sizeof(addAll) == 64);
        const orphia_reference::AllocationCounter counter;
        Function first = addAll;
        Function copy = first;
        EXPECT_EQ(captures(), 3);
        Function moved = std::move(first);
        EXPECT_EQ(captures(), 3) << "the captures of a function that was moved out must be gone";
        // NOLINTNEXTLINE(bugprone-use-after-move): what a function is after its move is the point here
        Function ofNothing = first;
        EXPECT_FALSE(first || ofNothing);
        first = copy;
        EXPECT_EQ(captures(), 4);
        copy = std::move(moved);
        EXPECT_EQ(captures(), 3);
        auto& same = first;
        first = same;
        first = std::move(same);
        EXPECT_EQ(counter.Count(), 0U);
        EXPECT_EQ(call(ofNothing), 0);
        EXPECT_EQ(call(first), 138);
        EXPECT_EQ(call(first), 238);
        EXPECT_EQ(call(copy), 138) << "state of its own";
        copy = Function();
        EXPECT_EQ(captures(), 2);
    }
    EXPECT_EQ(captures(), 0);
}

} // namespace
