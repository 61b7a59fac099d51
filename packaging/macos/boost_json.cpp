// Boost.JSON, compiled in: photos-helper needs no library there but the system's.
#include <boost/json/src.hpp>
