#include "MF/BinaryData.h"

#include "TVK/ContractError.h"
#include "norvik/debug/Debug.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(BinaryData, CopiesItsBytes)
{
    char bytes[] = "settings";
    const MF::BinaryData data(bytes, 8);
    bytes[0] = 'X';
    ASSERT_EQ(data.Size(), 8u);
    EXPECT_EQ(std::memcmp(data.Data(), "settings", 8), 0);
}

TEST(BinaryData, CopiesShareTheBytes)
{
    const MF::BinaryData data("abc", 3);
    const MF::BinaryData copy = data;
    EXPECT_EQ(copy.Data(), data.Data());
    EXPECT_EQ(copy, data);
}

TEST(BinaryData, EqualBytesAreEqual)
{
    EXPECT_EQ(MF::BinaryData("abc", 3), MF::BinaryData("abc", 3));
    EXPECT_NE(MF::BinaryData("abc", 3), MF::BinaryData("abd", 3));
    EXPECT_NE(MF::BinaryData("abc", 3), MF::BinaryData("ab", 2));
    EXPECT_EQ(MF::BinaryData(), MF::BinaryData(nullptr, 0));
    EXPECT_NE(MF::BinaryData(), MF::BinaryData("a", 1));
}

TEST(BinaryData, NoDataMayComeWithAnySize)
{
    const MF::BinaryData data(nullptr, 12);
    EXPECT_EQ(data.Size(), 0u);
    EXPECT_EQ(data.Data(), nullptr);
}

TEST(BinaryData, DataWithoutSizeBreaksTheContract)
{
    EXPECT_THROW(MF::BinaryData("abc", 0), norvik::config::Error);
    norvik::debug::ContractReport report;
    ASSERT_TRUE(norvik::debug::GetContractReport(0, report));
    EXPECT_EQ(report.mCondition, "(inData == NULL) || (inSize > 0)");
    EXPECT_EQ(report.mFunction, "MF::BinaryData::BinaryData");
}
