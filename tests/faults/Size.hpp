#pragma once

#include <string_view>

namespace tavrin::test {

/// Whether a sweep goes through all of its cases (the program was called with --full), or through a part that
/// is spread over them.
bool isFullSize();

/// Whether a sweep tries its case of this name and number: in full size each, otherwise each whose number is
/// a multiple of `stride`. With --case=NAME on the command line it is that one alone; a failure names its
/// case so.
bool isTried(std::string_view name, int number, int stride = 1);

/// How many cases a sweep must then count that has so many in either size.
int casesTried(int part, int all);

}  // namespace tavrin::test
