#include "ReferenceHost/Project/Otio/Problems.h"

#include <gtest/gtest.h>

namespace
{

TEST(DocumentProblems, AreLinesWithTheirPlace)
{
    Otio::ProblemList list;
    list.Warn("unknown-key", "/tracks/x", "a text");
    list.Fail("malformed", "", "another");
    ASSERT_EQ(list.Problems().size(), 2u);
    EXPECT_EQ(list.Problems()[0].Line(), "warning: /tracks/x: a text");
    EXPECT_EQ(list.Problems()[1].Line(), "error: document: another");
    EXPECT_TRUE(list.Has("malformed"));
    EXPECT_FALSE(list.Has("malforme"));
}

TEST(DocumentProblems, MendedOnesAreErrorsUnderStrictRulesOnly)
{
    Otio::ProblemList usual;
    usual.Mended("key-order", "", "");
    EXPECT_FALSE(usual.HasErrors());
    EXPECT_EQ(usual.WarningCount(), 1u);
    Otio::ProblemList strict(true);
    strict.Mended("key-order", "", "");
    EXPECT_EQ(strict.ErrorCount(), 1u);
    EXPECT_EQ(strict.WarningCount(), 0u);
}

TEST(DocumentProblems, BeyondTheLimitAreCountedOnly)
{
    Otio::ProblemList list;
    for (std::size_t index = 0; index <= Otio::kMostProblems; ++index)
    {
        list.Warn("unknown-key", "", "");
    }
    EXPECT_EQ(list.Problems().size(), Otio::kMostProblems);
    EXPECT_EQ(list.WarningCount(), Otio::kMostProblems + 1);
}

}
