// Compiles the parts of Boost.JSON that are not templates.
#include <boost/json/src.hpp>
