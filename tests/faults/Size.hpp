#pragma once

namespace tavrin::test {

/// Whether a sweep goes through all of its cases (the program was called with --full), or through a part that
/// is spread over them.
bool isFullSize();

}  // namespace tavrin::test
