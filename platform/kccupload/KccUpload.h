#pragma once

#include "platform/vxacore/HTTPProxyInfo.h"

#include <string>

// The maker's customer-care upload library, loaded by name at run time. It exports, with C linkage,
// "KCCStatusReportSubmit".
namespace kccupload {

#if defined(_WIN32)
constexpr const char* kLibraryName = "kccupload.dll";
#else
constexpr const char* kLibraryName = "libkccupload.so";
#endif

constexpr int kFailed = -1; // every other result is a success

using StatusReportSubmit = int (*)(const NORXVXA20::HTTPProxyInfo& proxy, std::string file,
                                   std::string settingsFile, std::string reserved,
                                   std::string productPath, std::string version,
                                   std::string operatingSystem, std::string project);

} // namespace kccupload
