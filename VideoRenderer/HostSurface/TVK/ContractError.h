#pragma once

#include "Platform.h"
#include "TVK/Exceptions.h"

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace norvik::config
{

// What ThrowError throws. what() is the whole message, key and all. Being a TVK::Exception it is told apart
// from foreign exceptions where failures become status values.
//
// Thread-safety: immutable; copies share their text.
class ML_EXPORT Error : public TVK::Exception
{
public:
    Error(int inLevel, const char* inMessage, std::initializer_list<std::string> inReplacements);
    Error(const Error&) noexcept;
    Error& operator=(const Error&) noexcept;
    ~Error() override;

    const char* what() const noexcept override;

    // As given to ThrowError.
    int Level() const noexcept;
    const std::vector<std::string>& Replacements() const noexcept;

private:
    struct Content;
    std::shared_ptr<const Content> mContent;
};

} // namespace norvik::config
