// Prints the order that the library gives names, for each language that ICU knows. It is linked twice: with
// the machine's ICU, and as tavrin is for the archives. Both print the same.
#include <unicode/uloc.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Panel/CollationPlatform.hpp"

namespace {

const std::vector<std::string_view> names = {
    "a",  "A",  "b",  "z",  "Z",  "ä", "Ä",  "a\u0308", "å",  "Å", "aa", "ae", "æ",  "ø",          "ö",
    "o",  "oe", "ß",  "ss", "ch", "c", "cz", "d",       "č",  "ć", "dž", "ll", "lj", "l",          "ñ",
    "n",  "nj", "š",  "s",  "sz", "ž", "i",  "I",       "ı",  "İ", "y",  "w",  "v",  "x",          "10",
    "9",  "-a", "_b", " c", "е",  "ё", "ж",  "я",       "і",  "ґ", "α",  "β",  "ω",  "א",          "ת",
    "ا",  "ب",  "پ",  "ک",  "अ",  "क", "क्ष", "ก",       "เก", "ข", "一", "丁", "七", "中",         "文",
    "字", "阿", "あ", "ア", "い", "ｱ", "가", "나",      "ㄱ", "අ", "ქ",  "հ",  "አ",  "\U0001f600", "",
};

void printOrder(const std::string& locale) {
  std::printf("%s:", locale.c_str());
  const auto ranks = tavrin::Collation::systemRanks(names, locale);
  if (!ranks) std::printf(" none");
  for (std::size_t i = 0; ranks && i < ranks->size(); ++i) std::printf(" %zu", (*ranks)[i]);
  std::printf("\n");
}

}  // namespace

int main() {
  for (const char* const locale :
       {"root", "de@collation=phonebook", "es@collation=traditional", "zh@collation=stroke", "zh_TW",
        "sr_Latn_RS", "pa_PK", "no_NO_NY", "en_US_POSIX", "de_DE.UTF-8", "zz", "not a locale"}) {
    printOrder(locale);
  }
  for (int i = 0; i < uloc_countAvailable(); ++i) printOrder(uloc_getAvailable(i));
}
