#include "Applications/vrender/Json.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace vrender;

TEST(Json, WritesNestedObjectsAndLists)
{
    JsonWriter json(false);
    json.Text("a", "b");
    json.BeginList("list");
    json.Text("", "x");
    json.BeginObject("");
    json.Integer("n", -3);
    json.End();
    json.End();
    json.BeginObject("empty");
    json.End();
    json.Bool("yes", true);
    json.Null("none");
    json.Number("half", 0.5);
    EXPECT_EQ(json.Finish(), "{\"a\": \"b\", \"list\": [\"x\", {\"n\": -3}], \"empty\": {}, \"yes\": true, "
                             "\"none\": null, \"half\": 0.5}\n");
}

TEST(Json, IndentsOneMemberALine)
{
    JsonWriter json(true);
    json.Integer("a", 1);
    json.BeginList("b");
    json.Text("", "x");
    json.End();
    EXPECT_EQ(json.Finish(), "{\n  \"a\": 1,\n  \"b\": [\n    \"x\"\n  ]\n}\n");
}

TEST(Json, QuotesWhatJsonCannotHold)
{
    EXPECT_EQ(JsonQuoted("a\"b\\c\n\t\x01"), "\"a\\\"b\\\\c\\n\\t\\u0001\"");
    EXPECT_EQ(JsonQuoted("\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8E\xAC"), "\"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8E\xAC\"");
}

TEST(Json, BytesThatAreNoTextBecomeReplacementCharacters)
{
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_EQ(JsonQuoted("a\xFF"
                         "b"),
              "\"a" + replacement + "b\"");
    EXPECT_EQ(JsonQuoted("\xC3"), "\"" + replacement + "\"");                                     // torn
    EXPECT_EQ(JsonQuoted("\xC0\xAF"), "\"" + replacement + replacement + "\"");                   // overlong
    EXPECT_EQ(JsonQuoted("\xED\xA0\x80"), "\"" + replacement + replacement + replacement + "\""); // surrogate
}

TEST(Json, NumbersWithoutAValueAreNull)
{
    JsonWriter json(false);
    json.Number("inf", INFINITY);
    json.Number("nan", NAN);
    EXPECT_EQ(json.Finish(), "{\"inf\": null, \"nan\": null}\n");
}
