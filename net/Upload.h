#pragma once

#include "UtilsExport.h"
#include "platform/vxacore/HTTPProxyInfo.h"

#include <string>

// Upload of a result file to a server of the user's or to the maker. Progress and outcome go to
// standard output and the debug log; a question and a countdown read the console's keyboard.
// Nothing is thrown.

// Sends localFile over plain, unencrypted FTP to the folder that ftpServer's log-in leads to, or,
// when toService is set, to the maker's drop (ftpServer is then not used). ftpServer is a host,
// optionally "user:password@host:port". With warn the user has ten seconds to cancel with any key.
// The line that says how it ended is also copied to message, at most size - 1 bytes and WITHOUT a
// terminator, so hand in a zeroed buffer; null, or a size of 0 or less: no copy. Nothing is copied
// when the user cancels.
// True when the whole file arrived.
UTILS_API bool UploadFile(const std::string& localFile, const std::string& ftpServer,
                          bool toService, bool warn, char* message, int size);

// UploadFile to the maker's drop.
UTILS_API bool UploadFileToORX(const std::string& localFile, bool warn, char* message, int size);

// Asks whether to send file through the maker's customer-care library, and does so; no answer
// within ten seconds is a yes. Without a proxy the maker's web host must answer first. Returns 0
// when it was sent, -1 when it failed or the host cannot be reached, -2 when the user declined.
UTILS_API int UploadFileByKCC(const NORXVXA20::HTTPProxyInfo& proxy, std::string file);
