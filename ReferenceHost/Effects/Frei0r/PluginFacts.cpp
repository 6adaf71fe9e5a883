#include "ReferenceHost/Effects/Frei0r/PluginFacts.h"

#include <array>
#include <charconv>
#include <optional>

namespace Frei0r
{
namespace
{

constexpr char kSeparator = '\t';
constexpr std::string_view kPlugin = "plugin";
constexpr std::string_view kParameter = "parameter";
constexpr std::string_view kEnd = "end\n";
constexpr std::size_t kPluginFields = 13;
constexpr std::size_t kParameterFields = 8;

void AddField(std::string& ioLine, std::string_view inText)
{
    ioLine += kSeparator;
    for (const char c : inText)
    {
        switch (c)
        {
        case '\\': ioLine += "\\\\"; break;
        case '\t': ioLine += "\\t"; break;
        case '\n': ioLine += "\\n"; break;
        default: ioLine += c;
        }
    }
}

template <typename Number>
void AddNumber(std::string& ioLine, Number inNumber)
{
    std::array<char, 40> digits{};
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), inNumber);
    AddField(ioLine, std::string_view(digits.data(), static_cast<std::size_t>(written.ptr - digits.data())));
}

std::string Unescape(std::string_view inText)
{
    std::string text;
    for (std::size_t i = 0; i < inText.size(); ++i)
    {
        if (inText[i] != '\\' || i + 1 == inText.size())
        {
            text += inText[i];
            continue;
        }
        const char c = inText[++i];
        text += c == 't' ? '\t' : c == 'n' ? '\n' : c;
    }
    return text;
}

std::vector<std::string> FieldsOf(std::string_view inLine)
{
    std::vector<std::string> fields;
    while (true)
    {
        const std::size_t end = inLine.find(kSeparator);
        fields.push_back(Unescape(inLine.substr(0, end)));
        if (end == std::string_view::npos)
        {
            return fields;
        }
        inLine.remove_prefix(end + 1);
    }
}

template <typename Number>
bool ReadNumber(const std::string& inText, Number& outNumber)
{
    const char* const end = inText.data() + inText.size();
    const auto read = std::from_chars(inText.data(), end, outNumber);
    return read.ec == std::errc() && read.ptr == end;
}

template <typename Enum>
bool ReadEnum(const std::string& inText, Enum inLast, Enum& outValue)
{
    int number = 0;
    if (!ReadNumber(inText, number) || number < 0 || number > static_cast<int>(inLast))
    {
        return false;
    }
    outValue = static_cast<Enum>(number);
    return true;
}

// A whole line without its end; nothing where the text holds none.
std::optional<std::string_view> TakeLine(std::string_view& ioText)
{
    const std::size_t end = ioText.find('\n');
    if (end == std::string_view::npos)
    {
        return std::nullopt;
    }
    const std::string_view line = ioText.substr(0, end);
    ioText.remove_prefix(end + 1);
    return line;
}

bool ReadHead(std::string_view inLine, ScannedPlugin& outPlugin, std::size_t& outParameters)
{
    const std::vector<std::string> fields = FieldsOf(inLine);
    if (fields.size() != kPluginFields || fields[0] != kPlugin)
    {
        return false;
    }
    outPlugin.mFile.mStem = fields[1];
    outPlugin.mFile.mPath = fields[2];
    PluginFacts& facts = outPlugin.mFacts;
    facts.mWhyNot = fields[5];
    facts.mName = fields[6];
    facts.mAuthor = fields[7];
    facts.mExplanation = fields[8];
    std::array<int, 2> version{};
    const bool isRead = ReadNumber(fields[3], outPlugin.mFile.mModified) &&
                        ReadNumber(fields[4], outPlugin.mFile.mBytes) &&
                        ReadEnum(fields[9], PluginType::kMixer3, facts.mType) &&
                        ReadEnum(fields[10], ColorModel::kPacked, facts.mColorModel) &&
                        ReadNumber(fields[11], version[0]) && ReadNumber(fields[12], outParameters);
    facts.mMajorVersion = version[0] / 65536;
    facts.mMinorVersion = version[0] % 65536;
    return isRead;
}

bool ReadParameter(std::string_view inLine, ParameterFacts& outParameter)
{
    const std::vector<std::string> fields = FieldsOf(inLine);
    if (fields.size() != kParameterFields || fields[0] != kParameter)
    {
        return false;
    }
    outParameter.mName = fields[1];
    outParameter.mExplanation = fields[3];
    outParameter.mText = fields[7];
    return ReadEnum(fields[2], ParameterType::kString, outParameter.mType) &&
           ReadNumber(fields[4], outParameter.mNumbers[0]) &&
           ReadNumber(fields[5], outParameter.mNumbers[1]) && ReadNumber(fields[6], outParameter.mNumbers[2]);
}

bool IsContinuation(char inByte)
{
    return (static_cast<unsigned char>(inByte) & 0xC0U) == 0x80U;
}

// Bytes of the character that begins here, by its first byte; 0 for a byte that begins none.
std::size_t CharacterBytes(unsigned char inFirst)
{
    return inFirst < 0x80U                        ? 1
           : inFirst >= 0xC2U && inFirst <= 0xDFU ? 2
           : inFirst >= 0xE0U && inFirst <= 0xEFU ? 3
           : inFirst >= 0xF0U && inFirst <= 0xF4U ? 4
                                                  : 0;
}

bool IsUTF8(std::string_view inText)
{
    while (!inText.empty())
    {
        const std::size_t bytes = CharacterBytes(static_cast<unsigned char>(inText.front()));
        if (bytes == 0 || bytes > inText.size())
        {
            return false;
        }
        for (std::size_t i = 1; i < bytes; ++i)
        {
            if (!IsContinuation(inText[i]))
            {
                return false;
            }
        }
        inText.remove_prefix(bytes);
    }
    return true;
}

} // namespace

std::string TextOf(const ScannedPlugin& inPlugin)
{
    const PluginFacts& facts = inPlugin.mFacts;
    std::string text(kPlugin);
    AddField(text, inPlugin.mFile.mStem);
    AddField(text, inPlugin.mFile.mPath);
    AddNumber(text, inPlugin.mFile.mModified);
    AddNumber(text, inPlugin.mFile.mBytes);
    for (const std::string* field : {&facts.mWhyNot, &facts.mName, &facts.mAuthor, &facts.mExplanation})
    {
        AddField(text, *field);
    }
    AddNumber(text, static_cast<int>(facts.mType));
    AddNumber(text, static_cast<int>(facts.mColorModel));
    AddNumber(text, (facts.mMajorVersion & 0x7FFF) * 65536 + (facts.mMinorVersion & 0xFFFF));
    AddNumber(text, facts.mParameters.size());
    text += '\n';
    for (const ParameterFacts& parameter : facts.mParameters)
    {
        text += kParameter;
        AddField(text, parameter.mName);
        AddNumber(text, static_cast<int>(parameter.mType));
        AddField(text, parameter.mExplanation);
        for (const double number : parameter.mNumbers)
        {
            AddNumber(text, number);
        }
        AddField(text, parameter.mText);
        text += '\n';
    }
    return text.append(kEnd);
}

bool ReadPlugin(std::string_view& ioText, ScannedPlugin& outPlugin)
{
    std::string_view rest = ioText;
    ScannedPlugin plugin;
    std::size_t parameters = 0;
    std::optional<std::string_view> line = TakeLine(rest);
    if (!line || !ReadHead(*line, plugin, parameters))
    {
        return false;
    }
    for (std::size_t i = 0; i < parameters; ++i)
    {
        ParameterFacts parameter;
        line = TakeLine(rest);
        if (!line || !ReadParameter(*line, parameter))
        {
            return false;
        }
        plugin.mFacts.mParameters.push_back(std::move(parameter));
    }
    if (rest.substr(0, kEnd.size()) != kEnd)
    {
        return false;
    }
    rest.remove_prefix(kEnd.size());
    ioText = rest;
    outPlugin = std::move(plugin);
    return true;
}

std::string ToUTF8(const char* inText)
{
    const std::string_view text = inText == nullptr ? std::string_view() : std::string_view(inText);
    if (IsUTF8(text))
    {
        return std::string(text);
    }
    std::string converted;
    for (const char c : text)
    {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80U)
        {
            converted += c;
            continue;
        }
        converted += static_cast<char>(0xC0U | (byte >> 6U));
        converted += static_cast<char>(0x80U | (byte & 0x3FU));
    }
    return converted;
}

} // namespace Frei0r
