// libcurl, loaded by name, and the listing of the remote FFDC directory.
#include "ffdc/TQMMFFDC.h"

#include "common/Log.h"
#include "common/Strings.h"
#include "common/Wipe.h"
#include "osdep/DynamicLibrary.h"
#include "platform/curl/Curl.h"
#include "platform/vxacore/TOSSpecific.h"

#include <cstdio>
#include <cstring>

using NORXVXA20::TOSSpecific;

namespace {

// libcurl hands over either a whole entry or the name and then its line end alone. True while the
// last block's text did not end in a line end; the transfer's user data is taken by the names.
thread_local bool gEntryIsOpen = false;

// Collects the names of a listing; libcurl's write callback.
std::size_t AppendName(char* data, std::size_t size, std::size_t count, void* userdata)
{
    std::string text(data, ::strnlen(data, size * count));
    const bool isLineEnd = text == "\n" || text == "\r\n";
    if (isLineEnd && gEntryIsOpen) {
        gEntryIsOpen = false;
        return count;
    }
    gEntryIsOpen = text.empty() || text.back() != '\n';
    // Deliberate: the dot is looked for before blanks are stripped.
    if (text.compare(0, 1, ".") == 0)
        return count;
    // Deliberate: an entry of nothing but blanks is kept as an empty name.
    static_cast<std::vector<std::string>*>(userdata)->push_back(TrimString(text));
    return count;
}

// Logs a failed step of an operation.
bool Fail(const char* operation, const std::string& what)
{
    DebugLog(std::string("TQMMFFDC::") + operation + "(): " + what);
    return false;
}

// Sets libcurl up in a library that has just been loaded and creates the easy handle.
bool StartCurl(void* library, void*& easy)
{
    const auto globalInit = FindLibraryFunction<curl::GlobalInit>(library, "curl_global_init");
    const auto easyInit = FindLibraryFunction<curl::EasyInit>(library, "curl_easy_init");
    if (globalInit == nullptr || easyInit == nullptr)
        return Fail("InitCurl", "Error getting processes of libcurl dll/so.");
    if (globalInit(curl::kGlobalAll) != curl::kOk)
        return Fail("InitCurl", "Error running pfnCurlGlobalInit().");
    easy = easyInit();
    return easy != nullptr || Fail("InitCurl", "Error running pfnCurlEasyInit().");
}

// Lists the directory at url into names.
bool List(void* library, void* easy, const char* url, std::vector<std::string>& names)
{
    const auto setopt = FindLibraryFunction<curl::EasySetopt>(library, "curl_easy_setopt");
    const auto perform = FindLibraryFunction<curl::EasyPerform>(library, "curl_easy_perform");
    if (setopt == nullptr || perform == nullptr)
        return Fail("GetFileNames", "Error getting processes of libcurl dll/so.");
    if (setopt(easy, curl::kUrl, url) != curl::kOk)
        return Fail("GetFileNames", "Error setting libcurl CURLOPT_URL.");
    if (setopt(easy, curl::kDirListOnly, 1L) != curl::kOk)
        return Fail("GetFileNames", "Error setting libcurl CURLOPT_DIRLISTONLY.");
    if (setopt(easy, curl::kWriteFunction, &AppendName) != curl::kOk)
        return Fail("GetFileNames", "Error setting libcurl CURLOPT_WRITEFUNCTION.");
    if (setopt(easy, curl::kWriteData, &names) != curl::kOk)
        return Fail("GetFileNames", "Error setting libcurl CURLOPT_WRITEDATA.");
    gEntryIsOpen = false;
    if (perform(easy) != curl::kOk)
        return Fail("GetFileNames", "Error invoking libcurl fn_curl_easy_perform.");
    return true;
}

} // namespace

bool TQMMFFDC::InitCurl()
{
    DebugLog("Entering TQMMFFDC::InitCurl().");
    const std::string root = TOSSpecific::GetVXARootPath();
    const std::string candidates[] = {
        "libcurl.dll",  root + "/libcurl.so", root + "/libcurl.so.4", "libcurl.so",
        "libcurl.so.4", "libcurl.so.3",       "libcurl.so.2",
    };
    for (const std::string& candidate : candidates) {
        m_curlLibrary = LoadDynamicLibrary(candidate.c_str());
        if (m_curlLibrary != nullptr)
            break;
    }
    if (m_curlLibrary == nullptr)
        return Fail("InitCurl", "Error loading libcurl dll/so.");
    // Deliberate: the library stays loaded when one of these steps fails.
    const bool started = StartCurl(m_curlLibrary, m_curl);
    DebugLog("Exiting TQMMFFDC::InitCurl().");
    return started;
}

void TQMMFFDC::UinitCurl()
{
    DebugLog("Entering TQMMFFDC::UinitCurl().");
    if (m_curl != nullptr) {
        const auto easyCleanup =
            FindLibraryFunction<curl::EasyCleanup>(m_curlLibrary, "curl_easy_cleanup");
        const auto globalCleanup =
            FindLibraryFunction<curl::GlobalCleanup>(m_curlLibrary, "curl_global_cleanup");
        if (easyCleanup == nullptr || globalCleanup == nullptr) {
            Fail("UinitCurl", "Error getting processes of libcurl dll/so.");
            return;
        }
        easyCleanup(m_curl);
        globalCleanup();
    }
    // Deliberate: neither handle is set back to null.
    if (m_curlLibrary != nullptr)
        UnloadDynamicLibrary(m_curlLibrary);
    DebugLog("Exiting TQMMFFDC::UinitCurl().");
}

bool TQMMFFDC::GetFileNames(std::string user, std::string password, std::vector<std::string>& names)
{
    const ScopedWipe wipeUser(user);
    const ScopedWipe wipePassword(password);
    DebugLog("Entering TQMMFFDC::GetFileNames().");
    char url[128] = {};
    const int length = std::snprintf(url, sizeof url, "sftp://%s:%s@%s/", user.c_str(),
                                     password.c_str(), cs_strInbandPath);
    bool listed = false;
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof url)
        Fail("GetFileNames", "Error formatting the URL, the credential is too long.");
    else
        listed = List(m_curlLibrary, m_curl, url, names);
    WipeBytes(url, sizeof url);
    DebugLog("Exiting TQMMFFDC::GetFileNames().");
    return listed;
}
