// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/stack_function.h"
#include "reference/AllocationCounter.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace {

using Velmora::stlutils::stack_function;
using Callback = stack_function<void(bool)>;

// Counts the living copies of itself and notices a use after its destruction.
class Tracked {
public:
    explicit Tracked(int& livingCount) : living(&livingCount) { ++*living; }
    Tracked(const Tracked& other) : living(other.living) {
        if (throwOnCopy) {
            throw std::runtime_error("copy refused");
        }
        ++*living;
    }
    Tracked(Tracked&& other) noexcept : living(other.living) { ++*living; }
    Tracked& operator=(const Tracked&) = delete;
    ~Tracked() {
        EXPECT_EQ(self, this) << "destroyed twice, or copied as bytes";
        self = nullptr;
        --*living;
    }
    int Living() const { return *living; }

    static inline bool throwOnCopy = false;

private:
    int* living;
    const Tracked* self = this;
};

stack_function<int()> MakeTracked(int& living) {
    return [tracked = Tracked(living)] { return tracked.Living(); };
}

// A function whose captures are a sum to add to and as many bytes as fit beside it.
struct FullCapture {
    std::int64_t* sum;
    std::array<char, 56> bytes;
    void operator()(bool negative) const {
        for (const char byte : bytes) {
            *sum += negative ? -byte : byte;
        }
    }
};

TEST(StackFunction, HoldsSixtyFourBytesOfCaptureInPlaceAndNeverMore) {
    static_assert(sizeof(FullCapture) == 64);
    static_assert(sizeof(Callback) == 64 + sizeof(void*));
    struct Cell {
        Callback call;
        bool movedOut;
    };
    EXPECT_EQ(sizeof(Cell), 64 + 2 * sizeof(void*));

    std::int64_t sum = 0;
    FullCapture capture{&sum, {}};
    std::int64_t expected = 0;
    for (std::size_t i = 0; i < capture.bytes.size(); ++i) {
        capture.bytes[i] = static_cast<char>(i * 2 + 1);
        expected += capture.bytes[i];
    }
    Callback first = capture;
    Callback copy = first;
    Callback moved = std::move(first);
    copy(false);
    moved(false);
    EXPECT_EQ(sum, 2 * expected);
    copy(true);
    EXPECT_EQ(sum, expected);
}

TEST(StackFunction, PassesArgumentsAndResultsThrough) {
    stack_function<std::unique_ptr<int>(std::unique_ptr<int>, int&)> addTo = [](std::unique_ptr<int> value,
                                                                                int& other) {
        *value += other;
        other = -1;
        return value;
    };
    int other = 5;
    const auto result = addTo(std::make_unique<int>(7), other);
    EXPECT_EQ(*result, 12);
    EXPECT_EQ(other, -1);
}

TEST(StackFunction, KeepsTheStateOfAMutableLambdaPerCopy) {
    stack_function<int()> counter = [count = 0]() mutable { return ++count; };
    counter();
    stack_function<int()> copy = counter;
    EXPECT_EQ(counter(), 2);
    EXPECT_EQ(counter(), 3);
    EXPECT_EQ(copy(), 2);
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

TEST(StackFunction, KeepsItsCallWhenACopyThrows) {
    int living = 0;
    int livingTarget = 0;
    {
        const auto source = MakeTracked(living);
        auto target = MakeTracked(livingTarget);
        Tracked::throwOnCopy = true;
        EXPECT_THROW(target = source, std::runtime_error);
        Tracked::throwOnCopy = false;
        EXPECT_EQ(target(), 1);
    }
    EXPECT_EQ(living, 0);
    EXPECT_EQ(livingTarget, 0);
}

TEST(StackFunction, DoesNothingWhenEmpty) {
    stack_function<int(int)> empty;
    EXPECT_FALSE(empty);
    EXPECT_EQ(empty(5), 0);

    stack_function<int(int)> full = [](int value) { return value + 1; };
    EXPECT_TRUE(full);
    const stack_function<int(int)> taken = std::move(full);
    EXPECT_TRUE(taken);
    // NOLINTNEXTLINE(bugprone-use-after-move): what a function is after its move is the point here
    EXPECT_FALSE(full);
    EXPECT_EQ(full(5), 0);

    stack_function<int(int)> copyOfEmpty = empty;
    EXPECT_FALSE(copyOfEmpty);
    EXPECT_EQ(copyOfEmpty(5), 0);
}

TEST(StackFunction, NeverAllocates) {
    std::int64_t sum = 0;
    FullCapture capture{&sum, {}};
    capture.bytes[0] = 1;
    // The counter must be seen to count, or the zero below would mean nothing.
    const orphia_reference::AllocationCounter control;
    const auto allocated = std::make_unique<FullCapture>(capture);
    ASSERT_EQ(control.Count(), 1U);

    const orphia_reference::AllocationCounter counter;
    {
        Callback first = capture;
        Callback copy = first;
        Callback moved = std::move(first);
        first = copy;
        copy = std::move(moved);
        copy(false);
        first(false);
    }
    EXPECT_EQ(counter.Count(), 0U);
    EXPECT_EQ(sum, 2);
}

TEST(StackFunction, AcceptsOnlyCallsOfItsSignature) {
    static_assert(std::is_constructible_v<Callback, void (*)(bool)>);
    static_assert(!std::is_constructible_v<Callback, void (*)(int*)>);
    static_assert(!std::is_constructible_v<stack_function<int()>, void (*)()>);
    static_assert(std::is_nothrow_move_constructible_v<Callback>);
    static_assert(std::is_nothrow_move_assignable_v<Callback>);
}

} // namespace
