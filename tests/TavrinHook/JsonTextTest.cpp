#include "TavrinHook/JsonText.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Support/Json/JsonEscape.hpp"
#include "TavrinCore/Support/Text.hpp"
#include "TavrinHook/ByteBlock.hpp"
#include "tests/support/Random.hpp"

namespace tavrin {
namespace {

constexpr std::size_t blockSize = ByteBlock::size;

// A second implementation, one piece after the other.
namespace Plainly {

std::size_t escapeLength(std::string_view text) {
  if (text.size() < 2) return 0;
  if (std::string_view("\"\\/bfnrt").find(text[1]) != std::string_view::npos) return 2;
  const int unit = JsonEscape::unit(text);
  if (unit < 0 || JsonEscape::isTrailingSurrogate(unit)) return 0;
  if (!JsonEscape::isLeadingSurrogate(unit)) return 6;
  return JsonEscape::isTrailingSurrogate(JsonEscape::unit(text.substr(6))) ? 12 : 0;
}

// The length of the piece that a text starts with; 0 if the content of a string does not go on with it.
std::size_t pieceLength(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  if (first < 0x20 || first == '"') return 0;
  if (first == '\\') return escapeLength(text);
  for (std::size_t length = 1; length <= std::min<std::size_t>(4, text.size()); ++length) {
    if (Text::isValidUtf8(text.substr(0, length))) return length;
  }
  return 0;
}

std::size_t soundLength(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    const std::size_t length = pieceLength(text.substr(i));
    if (length == 0) break;
    i += length;
  }
  return i;
}

std::size_t lengthBeforeQuote(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size() && text[i] != '"') {
    const std::size_t length = text[i] == '\\' ? 2 : 1;
    if (i + length > text.size()) break;
    i += length;
  }
  return i;
}

}  // namespace Plainly

// A text that starts `offset` bytes after a multiple of 64 and ends where its memory ends, so that the
// address sanitizer notices who reads beyond it.
class PlacedText {
 public:
  PlacedText(std::string_view text, std::size_t offset)
      : memory_(static_cast<char*>(::operator new(offset + text.size(), alignment))),
        text_(memory_ + offset, text.size()) {
    std::memcpy(memory_ + offset, text.data(), text.size());
  }
  PlacedText(const PlacedText&) = delete;
  PlacedText& operator=(const PlacedText&) = delete;
  ~PlacedText() { ::operator delete(memory_, alignment); }

  std::string_view text() const { return text_; }

 private:
  static constexpr std::align_val_t alignment{blockSize};
  char* memory_;
  std::string_view text_;
};

// Whether every reader of blocks that this processor can run finds the same as the second implementation.
bool areSame(std::string_view text) {
  static const std::vector<JsonText::BlockReader*> readers = JsonText::blockReaders();
  const std::size_t soundLength = Plainly::soundLength(text);
  const bool readersAgree = std::ranges::all_of(
      readers, [&](auto* reader) { return JsonText::soundLength(text, reader) == soundLength; });
  return readersAgree && JsonText::soundLength(text) == soundLength &&
         JsonText::lengthBeforeQuote(text) == Plainly::lengthBeforeQuote(text);
}

std::string inHex(std::string_view text) {
  std::string hex;
  for (const char c : text) {
    constexpr std::string_view digits = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(c);
    hex += {digits[byte / 16U], digits[byte % 16U], ' '};
  }
  return hex;
}

void expectSame(std::string_view text, std::size_t offset = 0) {
  const PlacedText placed(text, offset);
  EXPECT_TRUE(areSame(placed.text())) << "offset " << offset << ": " << inHex(text);
}

// What a string may hold and what it may not: escapes and characters.
const std::vector<std::string> specialPieces = {
    "\\\"",
    "\\\\",
    "\\/",
    "\\b",
    "\\f",
    "\\n",
    "\\r",
    "\\t",
    "\\u00e9",
    "\\u0000",
    "\\uD7FF",
    "\\ue000",
    "\\ud83d\\ude00",
    "\\uDBFF\\uDFFF",
    "\\ud83d",
    "\\ude00",
    "\\uD800x",
    "\\ude00\\ud83d",
    "\\ud83d\\u0041",
    "\\ud83d\\n",
    "\\u00g9",
    "\\u00",
    "\\U00e9",
    "\\q",
    "\\ ",
    "\\\x80",
    "\\\n",
    "\\u12\xc3\xa9",
    "\\\\\\\"",
    "\\\\\\\\",
    "\\\\\"",
    // Characters from the first to the last of each row of the table of well-formed UTF-8, and next to
    // them.
    "\xc2\x80",
    "\xdf\xbf",
    "\xe0\xa0\x80",
    "\xe0\xbf\xbf",
    "\xe1\x80\x80",
    "\xe6\x97\xa5",
    "\xec\xbf\xbf",
    "\xed\x80\x80",
    "\xed\x9f\xbf",
    "\xee\x80\x80",
    "\xef\xbf\xbf",
    "\xf0\x90\x80\x80",
    "\xf0\xbf\xbf\xbf",
    "\xf1\x80\x80\x80",
    "\xf3\xbf\xbf\xbf",
    "\xf4\x80\x80\x80",
    "\xf4\x8f\xbf\xbf",
    "\xc0\x80",
    "\xc1\xbf",
    "\xe0\x80\x80",
    "\xe0\x9f\xbf",
    "\xed\xa0\x80",
    "\xed\xbf\xbf",
    "\xf0\x80\x80\x80",
    "\xf0\x8f\xbf\xbf",
    "\xf4\x90\x80\x80",
    "\xf5\x80\x80\x80",
    "\xf8\x88\x80\x80\x80",
    "\xc3",
    "\xe2\x82",
    "\xf0\x9f\x98",
    "\xc3\\",
    "\xe2\x82\"",
    "\xf0\x9f\x98x",
    "\xc3\xa9\xa9",
    "\xe6\x97\xa5\x80",
    "\xf0\x9f\x98\x80\x80",
    "\xe2\xc3\xa9",
    "\xf0\xe2\x82\xac",
};

// The same, and single bytes.
const std::vector<std::string> pieces = [] {
  std::vector<std::string> all = specialPieces;
  for (int byte = 0; byte < 256; ++byte) all.emplace_back(1, static_cast<char>(byte));
  return all;
}();

TEST(JsonText, EveryPieceCountsTheSameAtEveryAlignment) {
  for (const std::string& piece : pieces) {
    for (std::size_t offset = 0; offset < blockSize; ++offset) {
      expectSame("xy" + piece + "z", offset);
      expectSame(std::string(60, 'x') + piece + std::string(70, 'y'), offset);
    }
  }
}

TEST(JsonText, EveryPieceCountsTheSameAtEveryBoundary) {
  for (const std::string& piece : pieces) {
    for (std::size_t before = 0; before <= 2 * blockSize; ++before) {
      const std::string text = std::string(before, 'x') + piece;
      for (std::size_t after = 0; after <= 2; ++after) expectSame(text + std::string(after, 'y'));
      expectSame(text + std::string(blockSize, 'y') + "\"");
    }
  }
}

TEST(JsonText, EveryPieceThatIsCutOffCountsTheSame) {
  for (const std::string& piece : pieces) {
    for (std::size_t before = 0; before <= blockSize; ++before) {
      const std::string text = std::string(before, 'x') + piece;
      for (std::size_t left = 1; left <= piece.size(); ++left) expectSame(text.substr(0, text.size() - left));
    }
  }
}

TEST(JsonText, RowsOfBackslashesCountTheSame) {
  for (std::size_t before = 0; before <= blockSize; ++before) {
    for (std::size_t count = 0; count <= 2 * blockSize + 2; ++count) {
      expectSame(std::string(before, 'x') + std::string(count, '\\') + "\"xyz");
    }
  }
}

// A text in which a byte takes each value at a few places around the boundaries of blocks.
template <class Make>
void expectSameForEveryByte(Make make) {
  for (const std::size_t before : {0U, 14U, 30U, 57U, 59U, 60U, 61U, 62U, 63U, 64U, 127U}) {
    for (int byte = 0; byte < 256; ++byte) {
      const std::string text = std::string(before, 'x') + make(static_cast<char>(byte));
      expectSame(text);
      expectSame(text + std::string(blockSize, 'y'));
    }
  }
}

TEST(JsonText, EveryByteAfterABackslashCountsTheSame) {
  expectSameForEveryByte([](char byte) { return std::string("\\") + byte; });
  expectSameForEveryByte([](char byte) { return std::string("\\\\") + byte; });
}

TEST(JsonText, EveryByteInACodeUnitCountsTheSame) {
  for (std::size_t digit = 0; digit < 4; ++digit) {
    expectSameForEveryByte([digit](char byte) {
      std::string unit = "\\u0a9F";
      unit[2 + digit] = byte;
      return unit;
    });
  }
}

TEST(JsonText, EveryTwoBytesCountTheSameWithTrailingOnesBehind) {
  for (const std::size_t before : {31U, 62U, 63U}) {
    std::string text = std::string(before, 'x') + "..";
    for (const std::string_view behind : {"", "\x80", "\xbf\xbf"}) {
      text.resize(before + 2);
      text += behind;
      text.append(blockSize, 'y');
      for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; second += second % 16 == 0 ? 15 : 1) {
          text[before] = static_cast<char>(first);
          text[before + 1] = static_cast<char>(second);
          ASSERT_TRUE(areSame(text)) << before << ' ' << inHex(text);
        }
      }
    }
  }
}

TEST(JsonText, PiecesApartFromEachOtherCountTheSame) {
  for (const std::string& first : specialPieces) {
    // The first piece ends with a block, or goes on for some bytes of the next.
    for (std::size_t beyond = 0; beyond < 4; ++beyond) {
      const std::string start = std::string(blockSize + beyond - first.size(), 'x') + first;
      for (const std::string& second : specialPieces) {
        for (const std::size_t between : {std::size_t{0}, blockSize - beyond, 2 * blockSize - beyond}) {
          const std::string text = start + std::string(between, 'x') + second;
          ASSERT_TRUE(areSame(text)) << inHex(text);
        }
      }
    }
  }
}

TEST(JsonText, PiecesInAnyOrderCountTheSame) {
  test::Random random(test::randomSeed());
  int count = 0;
  for (; count < test::generatedCases(100'000) && !::testing::Test::HasFailure(); ++count) {
    std::string text;
    // Mostly sound ones, or hardly a text would be longer than a few pieces.
    while (text.size() < 200) {
      const std::string& piece = random.of(pieces);
      if (Plainly::soundLength(piece) == piece.size() || random.below(100) == 0) text += piece;
      if (random.below(4) == 0) text.append(random.below(50), 'x');
    }
    expectSame(text, random.below(blockSize));
  }
  EXPECT_EQ(count, test::generatedCases(100'000));
}

// The first bytes of a text, and what they are padded with.
struct PaddedBlock {
  explicit PaddedBlock(std::string_view text) : block(text.data(), text.size(), spare.data()) {}

  std::array<char, blockSize> spare{};
  ByteBlock block;
};

TEST(ByteBlock, AMaskHasOneBitForEachByte) {
  test::Random random(test::randomSeed());
  for (int i = 0; i < 10'000; ++i) {
    std::string text(blockSize, 'x');
    ByteBlock::Mask expected = 0;
    for (std::size_t place = 0; place < text.size(); ++place) {
      if (random.below(3) == 0) continue;
      text[place] = 'y';
      expected |= ByteBlock::Mask{1} << place;
    }
    const PaddedBlock padded(text);
    const auto isMarked = [](ByteBlock::Vector bytes) { return bytes == 'y'; };
    ASSERT_EQ(padded.block.where(isMarked), expected);
    ASSERT_EQ(padded.block.has(isMarked), expected != 0);
    ASSERT_EQ(padded.block.whereWithoutInstruction(isMarked), expected);
  }
}

TEST(ByteBlock, AShortTextIsFilledUpWithNul) {
  for (std::size_t size = 0; size <= blockSize; ++size) {
    const std::string text(size, 'x');
    const ByteBlock::Mask nul =
        PaddedBlock(text).block.where([](ByteBlock::Vector bytes) { return bytes == 0; });
    EXPECT_EQ(nul, size == blockSize ? 0 : ~ByteBlock::Mask{0} << size);
  }
}

TEST(JsonText, LongTextsAreReadInTheWidestVectorsOfTheProcessor) {
  test::Random random(test::randomSeed());
  const std::string seed = "caf\\u00e9 \xe6\x97\xa5 \\n";
  std::string text;
  while (text.size() < 2'000) text += seed;
  for (int i = 0; i < 2'000; ++i) {
    std::string changed = text;
    changed[random.below(changed.size())] = static_cast<char>(random.below(256));
    expectSame(changed, random.below(blockSize));
  }
}

}  // namespace
}  // namespace tavrin
