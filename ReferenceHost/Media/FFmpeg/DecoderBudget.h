#pragma once

#include <cstdint>

struct AVCodec;
struct AVCodecParameters;

// How many decoders of how many threads fit into the memory that a file is given.
//
// Beside what the cache keeps, a decoder holds a picture for each of its threads and those that others refer
// to or that wait for their turn. Each has tables of the decoder's own beside it (vectors, modes). And each
// decoder reads the file by itself, with the container's tables in memory once more.
//
// Units: bytes. These are estimates from what the container says; what pictures really take is counted by
// their pool while the file is read.
//
// Thread-safety: safe; plain values.
namespace Media
{

// Pictures that the cache keeps however short memory is: fewer, and frames that are asked for in nearly
// ascending order would be decoded over and over.
inline constexpr int kLeastPicturesKept = 4;

struct DecoderNeeds
{
    std::int64_t pictureBytes = 0; // of one picture
    std::int64_t tableBytes = 0;   // that a decoder keeps beside each
    int references = 0;            // pictures that are held for others, or until it's their turn
    bool hasFrameThreads = false;  // each thread works on a picture of its own
    std::int64_t readerBytes = 0;  // of the container's tables
};

// inPackets: that the stream has; 0 while they aren't counted.
DecoderNeeds NeedsOf(const AVCodec& inCodec, const AVCodecParameters& inParameters, std::uint32_t inPackets);

// What a decoder takes beside its pictures.
std::int64_t TableBytesOfDecoder(const DecoderNeeds& inNeeds, int inThreads);

// All that a decoder takes.
std::int64_t BytesOfDecoder(const DecoderNeeds& inNeeds, int inThreads);

// The threads of a decoder, at least one and at most inWanted, that leave room in inBytes for the pictures in
// the hands of as many clients as are wanted.
int ThreadsWithin(const DecoderNeeds& inNeeds, int inWanted, std::int64_t inBytes);

// True when inDecoders of them leave room in inBytes for the least of a cache.
bool DecodersFit(const DecoderNeeds& inNeeds, int inDecoders, int inThreads, std::int64_t inBytes);

}
