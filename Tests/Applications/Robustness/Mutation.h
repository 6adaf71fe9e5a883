#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

// Damage to files, as disks, broken transfers and ill will do it.
//
// Thread-safety: pure functions of their arguments.
namespace TestSupport
{

using Bytes = std::vector<unsigned char>;
using Random = std::mt19937_64;

enum class Damage
{
    kFlippedBits,
    kOverwrittenRanges, // with zeros, ones or noise
    kTruncated,
    kDuplicatedChunks,
    kRemovedChunks,
    kSwappedBlocks,
    kHead,  // only within the first 256 bytes
    kSizes, // the length fields of boxes, chunks, elements and packets
    kCount
};

const char* DamageName(Damage inDamage);

// A number below inLimit; 0 if that is 0.
std::size_t Below(Random& ioRandom, std::size_t inLimit);

// A length field: where it stands, of how many bytes.
struct LengthField
{
    std::size_t position;
    std::size_t bytes;
};

// All that look like one: MP4 boxes, RIFF chunks, EBML elements, MPEG packets. Too many do no harm.
std::vector<LengthField> FindLengthFields(const Bytes& inFile);

// Differs from inFile, unless that is empty.
Bytes Damaged(const Bytes& inFile, Damage inDamage, Random& ioRandom);

Bytes ReadBytes(const std::string& inPath);
void WriteBytes(const std::string& inPath, const Bytes& inBytes);

}
