#pragma once

#include "platform/vxacore/HTTPProxyInfo.h"

#include <string>

// The maker's customer-care upload library, loaded by name at run time. It exports, with C linkage,
// "KCCStatusReportSubmit".
namespace kccupload {

// The file that is loaded.
#if defined(_WIN32)
constexpr const char* kLibraryName = "kccupload.dll";
#else
constexpr const char* kLibraryName = "libkccupload.so";
#endif

constexpr int kFailed = -1; // every other result is a success

// Sends file to the maker and blocks until that has ended. Its texts go by value, so both sides
// need the same C++ runtime.
using StatusReportSubmit = int (*)(const NORXVXA20::HTTPProxyInfo& proxy, std::string file,
                                   std::string settingsFile, std::string reserved,
                                   std::string productPath, std::string version,
                                   std::string operatingSystem, std::string project);

} // namespace kccupload
