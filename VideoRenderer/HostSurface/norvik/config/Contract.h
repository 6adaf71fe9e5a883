#pragma once

#include "Platform.h"

#include <initializer_list>
#include <string>

// Contract checks. A check names its condition, file and function as literal texts, because those texts are
// part of what users of the library see; the compiler's own spelling of them differs between builds.

namespace norvik::config
{

inline constexpr char kInputContractViolation[] =
    "$$$/norvik/utility/Error/Contract/InputContractViolation=An input contract violation has occurred!";
inline constexpr char kOutputContractViolation[] =
    "$$$/norvik/utility/Error/Contract/OutputContractViolation=An output contract violation has occurred!";

// Level of the errors that broken contracts raise.
inline constexpr int kContractErrorLevel = 1;

// Throws norvik::config::Error (TVK/ContractError.h) with the whole of inMessage as its text. The
// replacements travel with the error; its text is not touched.
[[noreturn]] ML_EXPORT void ThrowError(int inLevel, const char* inMessage,
                                       std::initializer_list<std::string> inReplacements = {});

// What the macros do when their condition is false: the contract dialog, the debugger if the dialog wants it
// and one is attached, then ThrowError with one of the two texts above.
[[noreturn]] ML_EXPORT void FailInputContract(const char* inCondition, const char* inFile,
                                              const char* inFunction, int inLine);
[[noreturn]] ML_EXPORT void FailOutputContract(const char* inCondition, const char* inFile,
                                               const char* inFunction, int inLine);

} // namespace norvik::config

// ML_INPUT_CONTRACT(inKey != Guid(), "inKey != Guid()", "Src/File", "ML::Class::Function", __LINE__);
#define ML_INPUT_CONTRACT(inCondition, inConditionText, inFile, inFunction, inLine) \
    do \
    { \
        if (!(inCondition)) [[unlikely]] \
        { \
            ::norvik::config::FailInputContract(inConditionText, inFile, inFunction, inLine); \
        } \
    } while (false)

#define ML_OUTPUT_CONTRACT(inCondition, inConditionText, inFile, inFunction, inLine) \
    do \
    { \
        if (!(inCondition)) [[unlikely]] \
        { \
            ::norvik::config::FailOutputContract(inConditionText, inFile, inFunction, inLine); \
        } \
    } while (false)

// Thread-safety: all functions are safe.
