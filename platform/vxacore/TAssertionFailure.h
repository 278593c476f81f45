#pragma once

#include "UtilsExport.h"

#include <stdexcept>
#include <string>

namespace NORXVXA20 {

// Thrown by the core library's assertion handler, for example when an empty shared pointer is used.
class UTILS_SHARED_TYPE TAssertionFailure : public std::logic_error {
public:
    // what: the expression and its place.
    explicit TAssertionFailure(const std::string& what) : std::logic_error(what) {}
};

} // namespace NORXVXA20
