// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/ParameterNameWriter.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace Velmora::dsp {
namespace {

TEST(ParameterNameWriterTest, KeepsWhatFitsAndCountsWhatTheWholeNameTakes) {
    const std::string whole = "Carrier_Slot4294967295_0Level";
    for (u32 capacity = 0; capacity <= whole.size() + 4; ++capacity) {
        std::vector<char> memory(whole.size() + 8, '#');
        ParameterNameWriter writer(memory.data(), capacity);
        EXPECT_EQ(writer.needed, 1U);
        EXPECT_EQ(memory[0], capacity > 0 ? '\0' : '#') << "terminated from the start";
        writer.Append("Carrier");
        writer.Append("_Slot");
        writer.Append(4294967295U);
        writer.Append(std::string_view());
        writer.Append("_");
        writer.Append(0U);
        writer.Append(std::string("Level"));

        const std::string fitting = capacity == 0 ? "" : whole.substr(0, capacity - 1);
        EXPECT_EQ(writer.needed, whole.size() + 1) << "capacity " << capacity;
        EXPECT_EQ(writer.used, fitting.size()) << "capacity " << capacity;
        if (capacity > 0) {
            EXPECT_STREQ(memory.data(), fitting.c_str()) << "capacity " << capacity;
        }
        for (std::size_t i = capacity; i < memory.size(); ++i) {
            ASSERT_EQ(memory[i], '#') << "written at " << i << ", capacity " << capacity;
        }
    }
}

} // namespace
} // namespace Velmora::dsp
