#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "norviktypes/FieldType.h"

namespace Media
{

// Which orders of fields the pictures of a stream have said they have, for a stream that is treated as if all of them
// had one.
//
// A stream is opened by its header and its first picture; that a later one differs is known when it is decoded.
//
// Thread-safety: safe.
class FieldOrders
{
public:
    void Note(std::int64_t inFrame, norviktypes::FieldType inOrder);

    // What has changed between the frames noted so far: the first one and the first that differs from it. Empty where
    // there is none. Single progressive pictures are common in interlaced streams and lose nothing, so that among
    // inTreatedAs, an interlaced order, they don't count.
    std::string ChangeFrom(norviktypes::FieldType inTreatedAs) const;

private:
    struct First
    {
        norviktypes::FieldType mOrder;
        std::int64_t mFrame = -1; // -1: none
    };

    mutable std::mutex mLock;
    First mFirsts[3] = {{norviktypes::kFieldType_Progressive},
                        {norviktypes::kFieldType_UpperFirst},
                        {norviktypes::kFieldType_LowerFirst}};
};

}
