// The handler of failed assertions for everything that is built with BOOST_ENABLE_ASSERT_HANDLER.
#include "UtilsExport.h"
#include "platform/vxacore/TAssertionFailure.h"

namespace boost {

VXACORE_API void assertion_failed(char const* expression, char const* function, char const* file,
                                  long line);
VXACORE_API void assertion_failed_msg(char const* expression, char const* message,
                                      char const* function, char const* file, long line);

void assertion_failed(char const* expression, char const* function, char const*, long)
{
    throw NORXVXA20::TAssertionFailure(std::string("assertion failed: ") + expression + " in " +
                                       function);
}

void assertion_failed_msg(char const* expression, char const* message, char const* function,
                          char const*, long)
{
    throw NORXVXA20::TAssertionFailure(std::string("assertion failed: ") + expression + " (" +
                                       message + ") in " + function);
}

} // namespace boost
