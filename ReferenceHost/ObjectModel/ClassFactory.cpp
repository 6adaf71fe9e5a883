#include "TVK/ClassFactory.h"

#include <mutex>
#include <string>
#include <unordered_map>

namespace TVK
{

namespace
{

constexpr std::int32_t kRefused = static_cast<std::int32_t>(0x80000001u);

struct ClassRecord
{
    std::string mConstantName;
    std::string mClassName;
    ClassFactory::CreateFunction mCreate = nullptr;
    ClassFactory::ClassIDFunction mClassIDGetter = nullptr;
};

struct ClassTable
{
    std::mutex mMutex;
    std::unordered_map<Guid, ClassRecord> mClasses;
};

ClassTable& TheTable()
{
    static ClassTable* const sTable = new ClassTable;
    return *sTable;
}

const char* TextOrNothing(const char* inText)
{
    return inText != nullptr ? inText : "";
}

} // namespace

std::int32_t ClassFactory::RegisterTVKClass(const Guid& inClassID, const char* inConstantName,
                                            const char* inClassName, CreateFunction inCreate,
                                            ClassIDFunction inClassIDGetter)
{
    if (inClassID.IsZero() || inCreate == nullptr)
    {
        return kRefused;
    }
    ClassTable& table = TheTable();
    const std::lock_guard<std::mutex> lock(table.mMutex);
    table.mClasses[inClassID] = {TextOrNothing(inConstantName), TextOrNothing(inClassName), inCreate,
                                 inClassIDGetter};
    return kStatus_OK;
}

void ClassFactory::UnregisterTVKClass(const Guid& inClassID)
{
    ClassTable& table = TheTable();
    const std::lock_guard<std::mutex> lock(table.mMutex);
    table.mClasses.erase(inClassID);
}

InterfaceRef<TVKUnknown> CreateClassInstanceRef(const Guid& inClassID)
{
    ClassFactory::CreateFunction create = nullptr;
    {
        ClassTable& table = TheTable();
        const std::lock_guard<std::mutex> lock(table.mMutex);
        const auto found = table.mClasses.find(inClassID);
        if (found == table.mClasses.end())
        {
            return {};
        }
        create = found->second.mCreate;
    }
    return create();
}

} // namespace TVK
