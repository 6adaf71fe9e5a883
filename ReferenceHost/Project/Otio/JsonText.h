// A JSON text as a tree of values, read within the bounds of documents. Inner header of this folder.
//
// Thread-safety: belongs to one thread at a time.
#pragma once

#include "ReferenceHost/Project/Otio/Problems.h"

#include <rapidjson/document.h>
#include <string_view>

namespace Otio
{

using JsonValue = rapidjson::Value;

class JsonText
{
public:
    // False, with an error that tells line, column and JSON pointer, if the text is no JSON or too large.
    // NaN and infinite numbers are read, as writers of documents produce them.
    bool Parse(std::string_view inText, ProblemList& ioProblems);

    const JsonValue& Root() const noexcept { return mDocument; }

private:
    rapidjson::Document mDocument;
};

}
