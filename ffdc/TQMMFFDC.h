#pragma once

#include "UtilsExport.h"

#include <string>
#include <vector>

// Collects the service processor's first-failure data (FFDC) into a local directory: starts the
// collection over IPMI, waits for it, lists the files over SFTP and copies them.
// One object serves one collection at a time; it is used from one thread. Progress goes to standard
// output, details to the debug log; nothing is thrown.
class TQMMFFDC {
public:
    // Limit of the wait for the service processor, in seconds.
    UTILS_API static int const cs_iTimeout;
    // In-band address, port and directory of the FFDC files on the service processor.
    UTILS_API static const char* const cs_strInbandPath;

    // outputDir must exist when Capture is called.
    UTILS_API TQMMFFDC(std::string outputDir);
    // A copy shares the original's libcurl handles:
    UTILS_API TQMMFFDC(const TQMMFFDC& other);
    UTILS_API TQMMFFDC& operator=(const TQMMFFDC& other);
    // Leaves libcurl as Capture left it.
    UTILS_API ~TQMMFFDC();

    // Runs the whole collection and blocks until it has ended, at most about 365 seconds plus the
    // copying. True when every step up to the end of the copying succeeded; the copy of a single
    // file may have failed all the same, so look for the files. May be called again.
    UTILS_API bool Capture();

private:
    bool CollectFiles();
    int IsCollectionFinished();
    bool WaitForCollection();
    bool GetCredential(std::string& user, std::string& password);

    bool InitCurl();
    void UinitCurl();
    bool GetFileNames(std::string user, std::string password, std::vector<std::string>& names);

    std::string m_outputDir;
    void* m_curlLibrary;
    void* m_curl;
};
