#include "TavrinCore/Servers/CommandLine.hpp"

namespace tavrin::CommandLine {

std::string_view afterLastSlash(std::string_view argument) {
  // npos + 1 is 0.
  return argument.substr(argument.rfind('/') + 1);
}

std::string_view stem(std::string_view component) {
  return component.substr(0, component.rfind('.'));
}

std::string_view extension(std::string_view component) {
  const std::size_t dot = component.rfind('.');
  return dot == std::string_view::npos ? std::string_view{} : component.substr(dot + 1);
}

}  // namespace tavrin::CommandLine
