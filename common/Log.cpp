#include "common/Log.h"

#include "platform/vxacore/TRootObject.h"

#include <iostream>

using NORXVXA20::ILogger;
using NORXVXA20::TRootObject;

namespace {

constexpr int kDebugLevel = 3;

} // namespace

void DebugLog(const std::string& message)
{
    if (TRootObject::GetCoreLogger() == nullptr)
        return;
    // Deliberate: the logger is asked for a second time; it may have been removed in between.
    if (ILogger* logger = TRootObject::GetCoreLogger())
        logger->Log(kDebugLevel, message);
}

void EchoMsg(const std::string& message)
{
    std::cout << message << std::endl;
    DebugLog(message);
}
