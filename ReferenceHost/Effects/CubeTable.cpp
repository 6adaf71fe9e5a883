#include "ReferenceHost/Effects/CubeTable.h"

#include "norvik/logging/Logging.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <iterator>
#include <locale>
#include <sstream>

namespace Effects
{
namespace
{

// Whether a line says all that it should and nothing behind it.
template <class... Numbers>
bool ReadAll(std::istream& inLine, Numbers&... outNumbers)
{
    std::string rest;
    return (inLine >> ... >> outNumbers) && !(inLine >> rest);
}

bool AreFinite(const float (&inNumbers)[3])
{
    return std::all_of(inNumbers, inNumbers + 3, [](float inNumber) { return std::isfinite(inNumber); });
}

} // namespace

struct CubeTable::Reader
{
    CubeTable& table;

    std::size_t Expected() const
    {
        return table.mIs3D ? table.mSize * table.mSize * table.mSize : table.mSize;
    }

    bool ReadSize(std::istream& inLine, bool inIs3D)
    {
        table.mIs3D = inIs3D;
        const bool isFirst = table.mSize == 0;
        return ReadAll(inLine, table.mSize) && isFirst && table.mSize >= 2 &&
               table.mSize <= (inIs3D ? 256U : 65536U);
    }

    bool ReadEntry(const std::string& inLine)
    {
        std::istringstream line(inLine);
        line.imbue(std::locale::classic());
        float entry[3];
        const bool isRead = ReadAll(line, entry[0], entry[1], entry[2]) && AreFinite(entry);
        table.mEntries.insert(table.mEntries.end(), entry, entry + 3);
        return isRead && table.mEntries.size() <= 3 * Expected();
    }

    bool ReadLine(const std::string& inLine)
    {
        std::istringstream line(inLine);
        line.imbue(std::locale::classic());
        std::string word;
        if (!(line >> word) || word[0] == '#' || word == "TITLE")
        {
            return true;
        }
        if (word == "LUT_3D_SIZE" || word == "LUT_1D_SIZE")
        {
            return ReadSize(line, word == "LUT_3D_SIZE");
        }
        if (word == "DOMAIN_MIN")
        {
            return ReadAll(line, table.mLeast[0], table.mLeast[1], table.mLeast[2]) &&
                   AreFinite(table.mLeast);
        }
        if (word == "DOMAIN_MAX")
        {
            return ReadAll(line, table.mMost[0], table.mMost[1], table.mMost[2]) && AreFinite(table.mMost);
        }
        return ReadEntry(inLine);
    }

    bool IsWhole() const
    {
        bool hasDomain = true;
        for (int i = 0; i < 3; ++i)
        {
            hasDomain = hasDomain && table.mMost[i] > table.mLeast[i];
        }
        return hasDomain && table.mSize > 0 && table.mEntries.size() == 3 * Expected();
    }
};

std::shared_ptr<const CubeTable> CubeTable::Load(const std::string& inPath, std::string& outError)
{
    std::ifstream file(inPath, std::ios::binary);
    if (!file)
    {
        outError = inPath + ": can't be read";
        return nullptr;
    }
    const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    auto table = Parse(text, outError);
    outError = table ? std::string() : inPath + ": " + outError;
    return table;
}

std::shared_ptr<const CubeTable> CubeTable::Parse(const std::string& inText, std::string& outError)
{
    const auto table = std::make_shared<CubeTable>();
    Reader reader{*table};
    std::istringstream text(inText);
    std::string line;
    for (int number = 1; std::getline(text, line); ++number)
    {
        if (!reader.ReadLine(line))
        {
            outError = "line " + std::to_string(number) + " is none of a colour table";
            return nullptr;
        }
    }
    outError = reader.IsWhole() ? "" : "an incomplete colour table";
    return reader.IsWhole() ? table : nullptr;
}

void CubeTable::LookUp(const float (&inColor)[3], float (&outColor)[3]) const
{
    float place[3];
    for (int i = 0; i < 3; ++i)
    {
        const float held = inColor[i] > mLeast[i] ? std::min(inColor[i], mMost[i]) : mLeast[i];
        place[i] = (held - mLeast[i]) / (mMost[i] - mLeast[i]) * static_cast<float>(mSize - 1);
    }
    mIs3D ? LookUp3D(place, outColor) : LookUp1D(place, outColor);
}

void CubeTable::LookUp1D(const float (&inPlace)[3], float (&outColor)[3]) const
{
    for (std::size_t i = 0; i < 3; ++i)
    {
        const std::size_t first = std::min(static_cast<std::size_t>(inPlace[i]), mSize - 2);
        const float share = inPlace[i] - static_cast<float>(first);
        const float low = mEntries[3 * first + i];
        outColor[i] = low + (mEntries[3 * first + 3 + i] - low) * share;
    }
}

// From the cell's first corner to its last, along the axes in the order of their shares.
void CubeTable::LookUp3D(const float (&inPlace)[3], float (&outColor)[3]) const
{
    const std::array<std::size_t, 3> steps = {3, 3 * mSize, 3 * mSize * mSize};
    std::array<std::size_t, 3> order = {0, 1, 2};
    float shares[3];
    std::size_t corner = 0;
    for (std::size_t i = 0; i < 3; ++i)
    {
        const std::size_t first = std::min(static_cast<std::size_t>(inPlace[i]), mSize - 2);
        shares[i] = inPlace[i] - static_cast<float>(first);
        corner += first * steps[i];
    }
    const auto swapUnlessFalling = [&](std::size_t inA, std::size_t inB)
    {
        if (shares[order[inA]] < shares[order[inB]])
        {
            std::swap(order[inA], order[inB]);
        }
    };
    swapUnlessFalling(0, 1);
    swapUnlessFalling(1, 2);
    swapUnlessFalling(0, 1);
    const float* entry = &mEntries[corner];
    float color[3] = {entry[0], entry[1], entry[2]};
    for (const std::size_t axis : order)
    {
        const float* next = entry + steps[axis];
        for (int c = 0; c < 3; ++c)
        {
            color[c] += shares[axis] * (next[c] - entry[c]);
        }
        entry = next;
    }
    std::copy_n(color, 3, outColor);
}

std::shared_ptr<const CubeTable> CubeFile::Get(const std::string& inPath)
{
    const std::lock_guard lock(mLock);
    const Foundation::FileState state = Foundation::LookAtFile(inPath);
    if (inPath != mPath || state != mState)
    {
        std::string error;
        mPath = inPath;
        mState = state;
        mTable = inPath.empty() ? nullptr : CubeTable::Load(inPath, error);
        if (!error.empty())
        {
            norvik::logging::LogText(norvik::logging::kLogLevel_Warning, "effects", error.c_str());
        }
    }
    return mTable;
}

} // namespace Effects
