#pragma once

// Part of TavrinHook, which is not installed. Needs nothing but the standard library.

#include "TavrinHook/StringBlocks.hpp"

/// StringBlocks in vectors of 32 bytes. Only a processor with AVX2 can run it.
namespace tavrin::StringBlocksAvx2 {

SoundPart soundPart(const char* text, std::size_t size);

}  // namespace tavrin::StringBlocksAvx2
