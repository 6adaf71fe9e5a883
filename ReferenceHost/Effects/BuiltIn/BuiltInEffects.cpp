#include "ReferenceHost/Effects/BuiltIn/BuiltInEffects.h"

#include "ReferenceHost/Effects/BuiltIn/BuiltInTable.h"

namespace Effects
{
namespace
{

class BuiltInProvider final : public IEffectProvider
{
public:
    BuiltInProvider()
    {
        AddDissolves(mTable);
        AddWipes(mTable);
        AddSlides(mTable);
        AddLumaWipe(mTable);
        AddColorFilters(mTable);
        AddToneFilters(mTable);
        AddCubeFilter(mTable);
        AddBlurFilters(mTable);
        AddTransformFilter(mTable);
        AddCornerPinFilter(mTable);
        AddGarbageMatteFilter(mTable);
        AddTimecodeFilter(mTable);
        AddColorKeys(mTable);
        AddMatteKeys(mTable);
        for (const BuiltIn& row : mTable)
        {
            mEffects.push_back(row.mDescription);
        }
    }

    std::string GetName() const override { return "vrender"; }
    const std::vector<EffectDescription>& GetEffects() const override { return mEffects; }

    ML::IVideoFilterRef CreateFilter(const EffectDescription& inDescription) const override
    {
        const BuiltIn* row = Find(inDescription);
        return row && row->mMakeFilter ? row->mMakeFilter(inDescription) : ML::IVideoFilterRef();
    }

    ML::IVideoTransitionRef CreateTransition(const EffectDescription& inDescription,
                                             const ML::TransitionInfo& inInfo,
                                             const BE::ParameterListRef& inParameters) const override
    {
        const BuiltIn* row = Find(inDescription);
        return row && row->mMakeTransition ? row->mMakeTransition(inDescription, inInfo, inParameters)
                                           : ML::IVideoTransitionRef();
    }

private:
    const BuiltIn* Find(const EffectDescription& inDescription) const
    {
        for (const BuiltIn& row : mTable)
        {
            if (row.mDescription.mId == inDescription.mId)
            {
                return &row;
            }
        }
        return nullptr;
    }

    BuiltInTable mTable;
    std::vector<EffectDescription> mEffects;
};

} // namespace

std::unique_ptr<IEffectProvider> CreateBuiltInProvider()
{
    return std::make_unique<BuiltInProvider>();
}

} // namespace Effects
