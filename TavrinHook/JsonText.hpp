#pragma once

// Part of TavrinHook, which is not installed. Needs nothing but the standard library.

#include <cstddef>
#include <string_view>
#include <vector>

namespace tavrin {
struct SoundPart;
}

/// Examines the content of JSON strings, 64 bytes at a time.
namespace tavrin::JsonText {

/// The number of bytes at the front of `text` that are certainly valid content of a string: well-formed UTF-8
/// from 0x20 on, and escapes. Two \u escapes that form a surrogate pair count as one. The count ends before
/// the quote that ends the string, and before anything that is invalid or cut off.
std::size_t soundLength(std::string_view text);

/// The number of bytes before the quote that ends the string. Without such a quote, all bytes, except a
/// backslash at the end, whose escape is cut off. Validates nothing.
std::size_t lengthBeforeQuote(std::string_view text);

/// One way of reading 64 bytes at a time (StringBlocks). All of them find the same.
using BlockReader = SoundPart(const char* text, std::size_t size);

/// Those that this processor can run. Tests compare them.
std::vector<BlockReader*> blockReaders();

/// The same as `soundLength` above, by `reader`.
std::size_t soundLength(std::string_view text, BlockReader* reader);

}  // namespace tavrin::JsonText
