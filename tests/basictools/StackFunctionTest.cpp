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
using Callback = stack_function<void(bool)>;

// Counts the living copies of itself and notices a use after its destruction.
class Tracked {
public:
    explicit Tracked(int& livingCount) : living(&livingCount) { ++*living; }
    Tracked(const Tracked& other) : living(other.living) { ++*living; }
    Tracked(Tracked&& other) noexcept : living(other.living) { ++*living; }
    Tracked& operator=(const Tracked&) = delete;
    ~Tracked() {
        EXPECT_EQ(self, this) << "destroyed twice, or copied as bytes";
        self = nullptr;
        --*living;
    }
    int Living() const { return *living; }

private:
    int* living;
    const Tracked* self = this;
};

stack_function<int()> MakeTracked(int& living) {
    return [tracked = Tracked(living)] { return tracked.Living(); };
}

TEST(StackFunction, HoldsSixtyFourBytesOfCaptureInPlaceAndNeverAllocates) {
    struct FullCapture {
        std::int64_t* sum;
        std::array<std::int64_t, 7> terms;
        void operator()(bool negative) const {
            for (const std::int64_t term : terms) {
                *sum += negative ? -term : term;
            }
        }
    };
    static_assert(sizeof(FullCapture) == 64);
    static_assert(sizeof(Callback) == 64 + sizeof(void*));
    std::int64_t sum = 0;
    const FullCapture capture{&sum, {1, 20, 300, 4000, 50000, 600000, 7000000}};
    // The counter must be seen to count, or the zero below would mean nothing.
    const orphia_reference::AllocationCounter control;
    const auto allocated = std::make_unique<FullCapture>(capture);
    // What nobody sees may be allocated nowhere.
    const FullCapture* volatile seen = allocated.get();
    ASSERT_NE(seen, nullptr);
    ASSERT_EQ(control.Count(), 1U);

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

TEST(StackFunction, DestroysEachCaptureOnce) {
    int living = 0;
    {
        auto first = MakeTracked(living);
        EXPECT_EQ(living, 1);
        auto copy = first;
        EXPECT_EQ(living, 2);
        auto moved = std::move(first);
        EXPECT_EQ(living, 2) << "the captures of a function that was moved out must be gone";
        first = copy;
        EXPECT_EQ(living, 3);
        copy = std::move(moved);
        EXPECT_EQ(living, 2);
        copy = stack_function<int()>();
        EXPECT_EQ(living, 1);
        auto& same = first;
        first = same;
        first = std::move(same);
        EXPECT_EQ(first(), 1);
    }
    EXPECT_EQ(living, 0);
}

TEST(StackFunction, DoesNothingWhenEmpty) {
    stack_function<int(int)> full = [](int value) { return value + 1; };
    EXPECT_TRUE(full);
    const stack_function<int(int)> taken = std::move(full);
    EXPECT_TRUE(taken);
    // NOLINTNEXTLINE(bugprone-use-after-move): what a function is after its move is the point here
    for (stack_function<int(int)> empty : {stack_function<int(int)>(), full}) {
        stack_function<int(int)> copy = empty;
        EXPECT_FALSE(empty);
        EXPECT_FALSE(copy);
        EXPECT_EQ(empty(5), 0);
        EXPECT_EQ(copy(5), 0);
    }
}

} // namespace
