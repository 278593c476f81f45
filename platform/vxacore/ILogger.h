#pragma once

#include <string>

namespace NORXVXA20 {

// The tool's log as the core library hands it out. The order of the virtual operations is fixed.
class ILogger {
public:
    virtual ~ILogger() = default;
    // Takes one record; level 3 is what the library writes at, 0 marks what must not be missed.
    virtual void Log(int level, const std::string& message) = 0;
};

} // namespace NORXVXA20
