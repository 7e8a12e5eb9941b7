#include "TavrinHook/JsonText.hpp"

#include <algorithm>

#include "TavrinCore/Support/Json/JsonEscape.hpp"
#include "TavrinHook/ComparedBlock.hpp"
#include "TavrinHook/StringBlocks.hpp"
#if TAVRIN_AVX2
// The header is written for C, and clang knows the type only there.
#define _Bool bool  // NOLINT(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
#include <sys/platform/x86.h>

#include "TavrinHook/StringBlocksAvx2.hpp"
#endif

namespace tavrin::JsonText {

namespace {

// The length of the \u escape at the front of `text`, or of two \u escapes that form one character. Returns 0
// if it is invalid, cut off, or half of such a pair.
std::size_t codeUnitLength(std::string_view text) {
  const int unit = JsonEscape::unit(text);
  if (unit < 0) return 0;
  if (!JsonEscape::isSurrogate(unit)) return JsonEscape::length;
  const bool isPair = JsonEscape::isLeadingSurrogate(unit) &&
                      JsonEscape::isTrailingSurrogate(JsonEscape::unit(text.substr(JsonEscape::length)));
  return isPair ? 2 * JsonEscape::length : 0;
}

// The length of the escape at the front of `text`. Returns 0 in the same cases.
std::size_t escapeLength(std::string_view text) {
  constexpr std::string_view plain = "\"\\/bfnrt";
  if (text.size() >= 2 && plain.find(text[1]) != std::string_view::npos) return 2;
  return codeUnitLength(text);
}

// The length of the UTF-8 character at the front of `text` (The Unicode Standard, table 3-7). Returns 0 if it
// is malformed or cut off.
std::size_t characterLength(std::string_view text) {
  const auto byte = [text](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : std::uint8_t{0};
  };
  const std::uint8_t lead = byte(0);
  if (lead < 0x80) return 1;
  if (lead < 0xc2 || lead > 0xf4) return 0;
  const std::size_t length = lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
  const std::uint8_t least = lead == 0xe0 ? 0xa0 : lead == 0xf0 ? 0x90 : 0x80;
  const std::uint8_t most = lead == 0xed ? 0x9f : lead == 0xf4 ? 0x8f : 0xbf;
  if (byte(1) < least || byte(1) > most) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if (byte(i) < 0x80 || byte(i) > 0xbf) return 0;
  }
  return length;
}

// The length of the character or escape at the front of `text`. Returns 0 at a quote, and at what is invalid
// or cut off.
std::size_t pieceLength(std::string_view text) {
  const char c = text.front();
  if (c == '\\') return escapeLength(text);
  const bool isControl = static_cast<unsigned char>(c) < 0x20;
  return c == '"' || isControl ? 0 : characterLength(text);
}

#if TAVRIN_AVX2
// Whether the processor and the system can run StringBlocksAvx2. The C library has found out already. To ask
// the processor again would take microseconds in a virtual machine.
bool hasAvx2() {
  return CPU_FEATURE_ACTIVE(AVX2) && CPU_FEATURE_ACTIVE(BMI1);
}
#endif

// The reader for a text of `size` bytes. Wider vectors are not worth their start for a short one.
BlockReader* readerFor(std::size_t size) {
#if TAVRIN_AVX2
  constexpr std::size_t shortText = 512;
  if (size > shortText && hasAvx2()) return StringBlocksAvx2::soundPart;
#endif
  static_cast<void>(size);
  return StringBlocks<ComparedBlock>::soundPart;
}

}  // namespace

std::vector<BlockReader*> blockReaders() {
  std::vector<BlockReader*> readers = {StringBlocks<ComparedBlock>::soundPart};
#if TAVRIN_AVX2
  if (hasAvx2()) readers.push_back(StringBlocksAvx2::soundPart);
#endif
  return readers;
}

std::size_t soundLength(std::string_view text) {
  return soundLength(text, readerFor(text.size()));
}

std::size_t soundLength(std::string_view text, BlockReader* reader) {
  constexpr std::size_t blockSize = 64;
  std::size_t i = 0;
  while (i < text.size()) {
    const SoundPart part = reader(text.data() + i, text.size() - i);
    i += part.length;
    if (part.isDecided) return i;
    // One piece after the other, where a block does not decide.
    const std::size_t end = i + blockSize;
    while (i < std::min(end, text.size())) {
      const std::size_t piece = pieceLength(text.substr(i));
      if (piece == 0) return i;
      i += piece;
    }
  }
  return i;
}

std::size_t lengthBeforeQuote(std::string_view text) {
  return StringBlocks<ComparedBlock>::lengthBeforeQuote(text.data(), text.size());
}

}  // namespace tavrin::JsonText
