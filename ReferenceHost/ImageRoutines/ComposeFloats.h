#pragma once

#include <cstddef>

// Rows of four-component floats laid over each other and summed, as they are packed: of all models and codings,
// since float chroma is centred on 0.
//
// Thread-safety: pure functions on the caller's rows; safe.
namespace ir
{

struct FloatLayers
{
    bool sourceIsPremultiplied = false;
    bool sourceIsOpaque = false; // its alpha is not read
    bool targetIsStraight = false;
    bool targetIsOpaque = false; // neither: premultiplied
    bool targetIsEmpty = false;  // its pixels are not read
    float opacity = 1.0F;
};

// Nothing beyond inCount pixels is touched.
void ComposeFloats(const FloatLayers& inLayers, const float* inSource, float* ioTarget, std::size_t inCount);

// Rows to be summed. Weights are any numbers.
struct FloatMix
{
    std::size_t count; // of rows
    const float* weights;
    const bool* areOpaque;   // for each row: its alpha is not read
    bool isStraight;         // all of them and the target: colour counts by alpha
    bool isOpaque;           // the target
    bool isStreamed = false; // past the caches where addresses allow it: hwy::FlushStream must follow
};

// inRows: addresses of the rows. inCount: of pixels. outTarget may be one of the rows.
void MixFloats(const FloatMix& inMix, const float* const* inRows, float* outTarget, std::size_t inCount);

const char* ComposeFloatsTarget();

}
