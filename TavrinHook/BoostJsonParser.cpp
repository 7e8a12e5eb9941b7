// Compiles only the parts of Boost.JSON that its parser needs. The rest uses streams, and every start of
// tavrin-hook would then initialise the C++ library's locales. The linker sees these definitions first, so it
// does not take BoostJson.cpp from TavrinCore.
#define BOOST_JSON_SOURCE
#include <boost/json/basic_parser_impl.hpp>
#include <boost/system/system_error.hpp>

// default_resource.ipp and except.ipp need the headers above.
#include <boost/json/detail/impl/default_resource.ipp>
#include <boost/json/detail/impl/except.ipp>
#include <boost/json/detail/impl/shared_resource.ipp>
#include <boost/json/detail/impl/stack.ipp>
#include <boost/json/impl/error.ipp>
// Boost 1.82 and later read doubles with their own charconv.
#if __has_include(<boost/json/detail/charconv/impl/from_chars.ipp>)
#include <boost/json/detail/charconv/impl/from_chars.ipp>
#endif
