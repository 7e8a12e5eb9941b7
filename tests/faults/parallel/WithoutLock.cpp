// flock(2) for a tavrin-hook that locks nothing. The tests of lost updates must notice this.
#include <sys/file.h>

extern "C" int flock(int /*descriptor*/, int /*operation*/) noexcept {
  return 0;
}
