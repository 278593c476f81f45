#pragma once

#include "UtilsExport.h"

#include <string>

// The core library's own logger: a rotating file with time stamps. There is none until one is
// installed: by a call of OpenCoreLog or, when the first record is written, because VXA_LOG_FILE
// names the file.
namespace NORXVXA20 {

// Installs the file logger in place of the one before. level is the highest level that is written
// (3: everything that the library says, 0: only what must not be missed); below 0 it is that of
// VXA_LOG_LEVEL, else 3.
// False, with the old logger untouched, when the file cannot be opened for appending.
VXACORE_API bool OpenCoreLog(const std::string& path, int level = -1);
// Writes out and removes the logger.
VXACORE_API void CloseCoreLog();

// From now on every occurrence of secret in a record is written as asterisks. Texts of fewer than
// two characters are not remembered.
VXACORE_API void RegisterSecret(const std::string& secret);
// text as the log would show it.
VXACORE_API std::string MaskSecrets(const std::string& text);

} // namespace NORXVXA20
