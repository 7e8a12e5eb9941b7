#include "TavrinHook/StringBlocksAvx2.hpp"

namespace tavrin {

SoundPart StringBlocksAvx2::soundPart(const char* text, std::size_t size) {
  return StringBlocks<32>::soundPart(text, size);
}

}  // namespace tavrin
