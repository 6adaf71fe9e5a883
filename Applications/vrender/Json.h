#pragma once

#include <cstdint>
#include <string>

// Writes one JSON object, member by member, in the order of the calls.
//
// Numbers that JSON can't hold (infinities, NaN) become null; bytes that aren't UTF-8 become U+FFFD,
// since paths and tags may be in any encoding.
//
// Thread-safety: one thread.
namespace vrender
{

class JsonWriter
{
public:
    // inIndented: one member a line; otherwise the whole object stands on one line.
    explicit JsonWriter(bool inIndented);

    void Text(const std::string& inName, const std::string& inValue);
    void Integer(const std::string& inName, std::int64_t inValue);
    void Number(const std::string& inName, double inValue);
    void Bool(const std::string& inName, bool inValue);
    void Null(const std::string& inName);

    // An empty name where the enclosing value is a list.
    void BeginObject(const std::string& inName);
    void BeginList(const std::string& inName);
    void End();

    // The object, closed, with a newline at its end.
    std::string Finish();

private:
    void Open(const std::string& inName, char inBracket);
    void BeginMember(const std::string& inName);
    void NewLine();

    bool mIndented;
    bool mFirst = true;
    std::string mClosers = "}";
    std::string mText = "{";
};

// inText between quotes, as JSON writes it.
std::string JsonQuoted(const std::string& inText);

} // namespace vrender
