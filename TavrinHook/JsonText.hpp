#pragma once

#include <cstddef>
#include <string_view>

/// What is inside a JSON string, 64 bytes at a time.
namespace tavrin::JsonText {

/// How many bytes at the front of `text` are beyond doubt a string's content: characters of well-formed UTF-8
/// from 0x20 on, and escapes, two surrogates being one. It ends before the quote that ends the string, and
/// before what is wrong or cut off.
std::size_t soundLength(std::string_view text);

/// How many bytes come before the quote that ends the string; all when there is none, but for a backslash at
/// the end, whose escape is cut off. Nothing is checked.
std::size_t lengthBeforeQuote(std::string_view text);

}  // namespace tavrin::JsonText
