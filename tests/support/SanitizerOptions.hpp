#pragma once

namespace tavrin::test {

/// The value of ASAN_OPTIONS and UBSAN_OPTIONS that keeps a sanitizer from handling signals in programs whose
/// own handlers are tested. Other builds do not read these variables.
inline constexpr const char* leaveSignalsAlone =
    "handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0:handle_abort=0";

}  // namespace tavrin::test
