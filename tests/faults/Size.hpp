#pragma once

#include <string_view>

namespace tavrin::test {

/// Whether a sweep goes through all of its cases (the program was called with --full). Otherwise it takes a
/// part that is spread over them.
bool isFullSize();

/// Whether a sweep tries its case of this name and number. In full size it tries each. Otherwise it tries
/// those whose number is a multiple of `stride`. With --case=NAME on the command line it tries that case
/// alone. A failure prints the case's name.
bool isTried(std::string_view name, int number, int stride = 1);

/// How many cases a sweep must count: `part` in the small size, `all` in the full size.
int casesTried(int part, int all);

}  // namespace tavrin::test
