// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/CException.h"

#include <gtest/gtest.h>

#include <exception>
#include <string>

namespace {

TEST(CException, TellsItsMessageAndSourcePositionWithoutBlanks) {
    try {
        throw Velmora::CException("broken table", "Mapping.cpp", 7);
    } catch (const std::exception& exception) {
        EXPECT_STREQ(exception.what(), "broken table(Mapping.cpp:7)");
    }
}

TEST(CException, KeepsItsTextInACopyThatOutlivesIt) {
    const auto copy = [] {
        const std::string longMessage(200, 'm');
        const Velmora::CException original(longMessage, "File", 12345);
        return Velmora::CException(original);
    }();
    EXPECT_EQ(copy.what(), std::string(200, 'm') + "(File:12345)");
}

} // namespace
