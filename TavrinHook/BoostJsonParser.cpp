// The parts of Boost.JSON that its parser needs, and nothing else. The library's values come with stream
// operators, and with them the C++ library's locales, which every start of tavrin-hook would have to
// initialise. Linked first, these definitions keep the linker from taking TavrinCore's BoostJson.cpp.
#define BOOST_JSON_SOURCE
#include <boost/json/basic_parser_impl.hpp>
#include <boost/system/system_error.hpp>

// default_resource.ipp and except.ipp stand on what is included above.
#include <boost/json/detail/impl/default_resource.ipp>
#include <boost/json/detail/impl/except.ipp>
#include <boost/json/detail/impl/shared_resource.ipp>
#include <boost/json/detail/impl/stack.ipp>
#include <boost/json/impl/error.ipp>
// Boost 1.82 and later read doubles by a part of their own.
#if __has_include(<boost/json/detail/charconv/impl/from_chars.ipp>)
#include <boost/json/detail/charconv/impl/from_chars.ipp>
#endif
