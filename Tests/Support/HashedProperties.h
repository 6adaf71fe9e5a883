// Which of its properties a node is told apart by.
//
// Thread-safety: one thread.
#pragma once

#include "RenderableNodeCommonImpl.h"

#include <set>
#include <string>

namespace TestSupport
{

// The keys without which the hash is another one. inBuild makes a node, always the same, that isn't frozen yet.
template <class Build>
std::set<std::string> HashedKeys(const Build& inBuild)
{
    const auto whole = inBuild();
    whole->Finalize();
    MF::NodeProperties properties;
    whole->GetProperties(properties);
    std::set<std::string> keys;
    for (const auto& property : properties)
    {
        const auto without = inBuild();
        without->SetCommonProperty(property.first, "", true);
        without->Finalize();
        if (without->GetHashValue() != whole->GetHashValue())
        {
            keys.insert(std::string(property.first.View()));
        }
    }
    return keys;
}

} // namespace TestSupport
