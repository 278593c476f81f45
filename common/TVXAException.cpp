// The library's own copy of the inline members of the status code and of the exception.
#include "common/TVXAException.h"
