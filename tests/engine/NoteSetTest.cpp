// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/NoteSet.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <set>

using namespace Velmora;
using engine::NoteSet;

TEST(NoteSetTest, BehavesAsAnOrderedSet) {
    std::mt19937 random(1);
    NoteSet notes;
    std::set<u32> model;
    for (int step = 0; step < 3000; ++step) {
        const u32 note = static_cast<u32>(random() % NoteSet::size);
        if (random() % 3 == 0) {
            notes.Set(note);
            model.insert(note);
        } else {
            notes.Clear(note);
            model.erase(note);
        }
        std::set<u32> members;
        for (u32 n = notes.Next(0); n < NoteSet::size; n = notes.Next(n + 1)) {
            members.insert(members.end(), n);
            ASSERT_TRUE(notes.Contains(n));
        }
        ASSERT_EQ(members, model);
        ASSERT_EQ(notes.IsEmpty(), model.empty());
    }
    notes.Clear();
    EXPECT_TRUE(notes.IsEmpty());
}

TEST(NoteSetTest, NumbersAbove127AreOutOfRange) {
    NoteSet notes;
    for (const auto& use :
         {std::function<void()>([&] { notes.Set(128); }), std::function<void()>([&] { notes.Clear(255); }),
          std::function<void()>([&] { notes.Contains(1000); })}) {
        try {
            use();
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::out_of_range& error) {
            EXPECT_STREQ(error.what(), "invalid bitset position");
        }
    }
    EXPECT_EQ(notes.Next(NoteSet::size), NoteSet::size);
}
