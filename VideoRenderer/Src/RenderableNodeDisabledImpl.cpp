#include "RenderableNodeDisabledImpl.h"

namespace ML
{

norvik::utility::ImmutableString RenderableNodeDisabledImpl::GetNodeType() const
{
    return norvik::utility::ImmutableString::CreateStatic("RenderableNodeDisabledImpl");
}

std::uint32_t RenderableNodeDisabledImpl::CalculateInformativeFlags() const
{
    return Inputs().empty() ? 0 : Inputs().front().first->GetInformativeFlags();
}

} // namespace ML
