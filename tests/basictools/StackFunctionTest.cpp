// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/stack_function.h"
#include "rigs/AllocationCounter.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <utility>

TEST(StackFunction, HoldsItsCapturesInPlacePerCopyAndEndsEachOnce) {
    using Function = Velmora::stlutils::stack_function<int(std::unique_ptr<int>)>;
    static_assert(sizeof(Function) == 64 + sizeof(void*));
    const auto owner = std::make_shared<int>(7); // of which each living capture has a share
    const auto captures = [&owner] { return owner.use_count() - 1; };
    {
        const std::array<int, 11> terms = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
        auto addAll = [share = owner, terms, count = 0](std::unique_ptr<int> value) mutable {
            return 100 * ++count + *value + *share + terms[10];
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
        copy = std::move(moved);
        auto& same = first;
        first = same;
        first = std::move(same);
        EXPECT_EQ(captures(), 3);
        EXPECT_EQ(counter.Count(), 0U);
        EXPECT_EQ(ofNothing(std::make_unique<int>(20)), 0);
        EXPECT_EQ(first(std::make_unique<int>(20)), 138);
        EXPECT_EQ(first(std::make_unique<int>(20)), 238);
        EXPECT_EQ(copy(std::make_unique<int>(20)), 138) << "state of its own";
        copy = Function();
        EXPECT_EQ(captures(), 2);
    }
    EXPECT_EQ(captures(), 0);
}
