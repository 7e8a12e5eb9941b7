#include <gtest/gtest.h>
#include <unicode/ucol.h>
#include <unicode/ustring.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Panel/Collation.hpp"
#include "TavrinCore/Support/Text.hpp"
#include "tests/support/Random.hpp"

// ASCII names take a faster path to ICU than others. Here each pair is also compared on the general path.

namespace tavrin {
namespace {

struct Close {
  void operator()(UCollator* collator) const { ucol_close(collator); }
};

class LongWay {
 public:
  explicit LongWay(const std::string& language)
      : collator_(ucol_open(language.c_str(), &status_)),
        options_(language == "tr" || language == "az" ? U_FOLD_CASE_EXCLUDE_SPECIAL_I : U_FOLD_CASE_DEFAULT) {
    ucol_setAttribute(collator_.get(), UCOL_STRENGTH, UCOL_SECONDARY, &status_);
    ucol_setAttribute(collator_.get(), UCOL_NORMALIZATION_MODE, UCOL_ON, &status_);
    ucol_setAttribute(collator_.get(), UCOL_ALTERNATE_HANDLING, UCOL_NON_IGNORABLE, &status_);
  }

  bool isOpen() const { return U_SUCCESS(status_) != 0; }

  int compare(std::string_view a, std::string_view b) const {
    const std::u16string left = folded(a);
    const std::u16string right = folded(b);
    return ucol_strcoll(collator_.get(), left.data(), static_cast<std::int32_t>(left.size()), right.data(),
                        static_cast<std::int32_t>(right.size()));
  }

 private:
  std::u16string folded(std::string_view name) const {
    const std::u16string text = Text::utf16(name);
    std::u16string folded(3 * text.size(), {});
    UErrorCode status = U_ZERO_ERROR;
    folded.resize(static_cast<std::size_t>(
        u_strFoldCase(folded.data(), static_cast<std::int32_t>(folded.size()), text.data(),
                      static_cast<std::int32_t>(text.size()), options_, &status)));
    return folded;
  }

  UErrorCode status_ = U_ZERO_ERROR;
  std::unique_ptr<UCollator, Close> collator_;
  std::uint32_t options_;
};

// Languages in which two letters count as one (ch, ll, aa, dzs), with extra letters, or with another order of
// digits.
const std::vector<std::string> languages = {"root",
                                            "en",
                                            "cs",
                                            "sk",
                                            "da",
                                            "hu",
                                            "cy",
                                            "tr",
                                            "az",
                                            "lt",
                                            "sv",
                                            "th",
                                            "es@collation=traditional",
                                            "de@collation=phonebook",
                                            "vi",
                                            "hr",
                                            "et",
                                            "pl",
                                            "fr_CA",
                                            "en@colNumeric=yes",
                                            "en@colBackwards=yes",
                                            "en@colCaseFirst=upper"};

std::string asciiName(test::Random& random) {
  constexpr std::string_view wordLetters = "acdehilnsyzACDHILNSYZ";
  const bool isWord = random.below(2) == 0;
  std::string name;
  for (std::size_t length = random.below(8); length > 0; --length) {
    name += isWord ? wordLetters[random.below(wordLetters.size())] : static_cast<char>(random.below(128));
  }
  return name;
}

TEST(Collation, AsciiNamesHaveTheOrderThatTheyHaveAmongOthers) {
  test::Random random(test::randomSeed());
  for (const std::string& language : languages) {
    const LongWay longWay(language);
    ASSERT_TRUE(longWay.isOpen()) << language;
    std::vector<std::string> names = {"", "\u00e4pp", "app", "App", "\u4e00", "a-b", "ch", "\u010d"};
    for (int i = 0; i < 200; ++i) names.push_back(asciiName(random));
    for (int byte = 0; byte < 128; ++byte) names.emplace_back(1, static_cast<char>(byte));
    names.push_back(std::string(300, 'A') + "b");
    names.push_back(std::string(300, 'a') + "C");
    const std::vector<std::size_t> ranks =
        Collation::ranks(std::vector<std::string_view>(names.begin(), names.end()), language);
    for (std::size_t a = 0; a < names.size(); ++a) {
      for (std::size_t b = 0; b < names.size(); ++b) {
        const int order = ranks[a] < ranks[b] ? -1 : ranks[a] > ranks[b] ? 1 : 0;
        ASSERT_EQ(order, longWay.compare(names[a], names[b]))
            << testing::PrintToString(names[a]) << " and " << testing::PrintToString(names[b]) << " in "
            << language;
      }
    }
  }
}

}  // namespace
}  // namespace tavrin
