#pragma once

#include <functional>
#include <vector>

#include "nuvra/types.h"

namespace nuvra::app {

/// Receives what is to be written, piece by piece.
using ByteSink = std::function<void(const void* bytes, size_t size)>;

/// Writes a PNG file in sRGB. `samples` are interleaved channels (grey or RGB, even numbers with alpha) of
/// `sampleBytes` (1 or 2) bytes each in the memory's order. Throws `std::bad_alloc` and what `sink` throws.
void WritePng(const ByteSink& sink, Int64 width, Int64 height, size_t channelCount, size_t sampleBytes,
              const unsigned char* samples);

}  // namespace nuvra::app
