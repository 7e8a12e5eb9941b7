#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace tavrin {

/// Makes long messages short before they are parsed, for of an event that carries a file's content hardly a
/// hundredth is ever looked at. What comes out is the same text with the strings emptied that are no part of
/// the top-level values under some keys. To a reader of these values (JsonFields::ofMessage) both texts say
/// the same, and one is JSON exactly if the other is: whatever only a parser can judge stays in.
class JsonSkimmer {
 public:
  /// Keeps what stands under `keys`, which must outlive the skimmer.
  explicit JsonSkimmer(std::span<const std::string_view> keys) : keys_(keys) { out_.reserve(1024); }

  /// The most bytes that a call of `add` leaves over.
  static constexpr std::size_t mostLeftOver = 11;

  /// Takes the next bytes of the text, and gives how many of them. Those left over at the end, of which more
  /// must be seen, have to come again in front of the next ones. With `isLast` none are.
  std::size_t add(std::string_view bytes, bool isLast);

  /// The text that is left of all that was added.
  std::string take() { return std::move(out_); }

 private:
  // Each takes what it can of `bytes` from `i` on, and gives where it stopped; at `i` when it must see more.
  std::size_t skimStructure(std::string_view bytes, std::size_t i);
  std::size_t keepText(std::string_view bytes, std::size_t i, bool isLast);
  std::size_t dropText(std::string_view bytes, std::size_t i, bool isLast);

  void beginText();
  void endText();

  std::span<const std::string_view> keys_;
  std::string out_;
  std::size_t textStart_ = 0;  // in `out_`, of the string under way
  int depth_ = 0;              // of objects and arrays
  bool isValue_ = false;       // whether a colon came, at depth 1
  bool isWanted_ = true;       // whether the value at depth 1 is under one of the keys
  bool isInText_ = false;
  bool isKey_ = false;  // whether the string under way is a key at depth 1
};

}  // namespace tavrin
