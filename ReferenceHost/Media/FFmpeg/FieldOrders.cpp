#include "ReferenceHost/Media/FFmpeg/FieldOrders.h"

#include <fmt/format.h>

namespace Media
{

namespace
{

const char* NameOf(norviktypes::FieldType inOrder)
{
    switch (inOrder)
    {
    case norviktypes::kFieldType_UpperFirst: return "upper first";
    case norviktypes::kFieldType_LowerFirst: return "lower first";
    default: return "progressive";
    }
}

}

void FieldOrders::Note(std::int64_t inFrame, norviktypes::FieldType inOrder)
{
    const std::lock_guard<std::mutex> lock(mLock);
    for (First& first : mFirsts)
    {
        if (first.mOrder == inOrder && (first.mFrame < 0 || inFrame < first.mFrame))
        {
            first.mFrame = inFrame;
        }
    }
}

std::string FieldOrders::ChangeFrom(norviktypes::FieldType inTreatedAs) const
{
    const std::lock_guard<std::mutex> lock(mLock);
    const First* one = nullptr;
    const First* other = nullptr;
    for (const First& first : mFirsts)
    {
        const bool counts =
            norviktypes::IsInterlaced(first.mOrder) || !norviktypes::IsInterlaced(inTreatedAs);
        if (first.mFrame < 0 || !counts)
        {
            continue;
        }
        if (one == nullptr || first.mFrame < one->mFrame)
        {
            other = one;
            one = &first;
        }
        else if (other == nullptr || first.mFrame < other->mFrame)
        {
            other = &first;
        }
    }
    return other == nullptr
               ? std::string()
               : fmt::format(
                     "the order of fields changes: frame {} is {}, frame {} {}; all are treated as {}",
                     one->mFrame, NameOf(one->mOrder), other->mFrame, NameOf(other->mOrder),
                     NameOf(inTreatedAs));
}

}
