#include "TavrinCore/Support/Uuid.hpp"

#include <algorithm>
#include <boost/uuid/entropy_error.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <system_error>

namespace tavrin::Uuid {

std::string random() {
  // This generator asks the system for 16 bytes. The other one of Boost would seed a Mersenne Twister.
  boost::uuids::uuid uuid;
  try {
    uuid = boost::uuids::random_generator_pure()();
  } catch (const boost::uuids::entropy_error& error) {
    throw std::system_error(static_cast<int>(error.errcode()), std::generic_category(), "random bytes");
  }
  std::string text = boost::uuids::to_string(uuid);
  std::ranges::transform(text, text.begin(),
                         [](char c) { return c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c; });
  return text;
}

}  // namespace tavrin::Uuid
