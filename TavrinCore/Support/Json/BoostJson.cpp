// The one place where the parts of Boost.JSON that are no templates are compiled.
#include <boost/json/src.hpp>
