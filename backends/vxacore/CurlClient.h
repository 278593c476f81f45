#pragma once

#include "common/TVXAStatusCode.h"
#include "platform/curl/Curl.h"

#include <cstdint>
#include <optional>
#include <string>

namespace NORXVXA20 {

// libcurl as the core library uses it: loaded by name at the first use and kept until the process
// ends, with a load and a global initialisation of its own, so that another user of the same
// library who cleans up and unloads takes nothing away from here.
class CurlLibrary {
public:
    // Null when no libcurl with every wanted function is found; the search is then made anew next
    // time.
    static const CurlLibrary* Get();

    curl::EasyInit easyInit = nullptr;
    curl::EasySetopt easySetopt = nullptr;
    curl::EasyPerform easyPerform = nullptr;
    curl::EasyGetinfo easyGetinfo = nullptr;
    curl::EasyStrerror easyStrerror = nullptr;
    curl::EasyCleanup easyCleanup = nullptr;

private:
    bool Load(const std::string& name);
};

// One easy handle: options, transfers, and the connections that it keeps open between them.
// It may not be moved: libcurl holds addresses inside it.
class CurlEasy {
public:
    // Throws TVXAException 35 when there is no usable libcurl.
    CurlEasy();
    ~CurlEasy();
    CurlEasy(const CurlEasy&) = delete;
    CurlEasy& operator=(const CurlEasy&) = delete;

    // Each setter takes the options of its type only. An option that this libcurl does not know
    // throws TVXAException 35: what it was to prevent or to do would be missing.
    void SetNumber(curl::Option option, long value);
    void SetOffset(curl::Option option, curl::Offset value);
    void SetText(curl::Option option, const std::string& value); // libcurl takes a copy
    void ClearText(curl::Option option);
    void SetPointer(curl::Option option, void* value); // must outlive the transfers
    void SetHeaderReader(curl::WriteCallback callback, void* user);
    void SetWriter(curl::WriteCallback callback, void* user);
    void SetReader(curl::ReadCallback callback, void* user);
    void SetProgress(curl::ProgressCallback callback, void* user);
    void SetKeyCheck(curl::KeyCallback callback, void* user);

    curl::Code Perform();
    // For a callback that ends the running transfer because the other side is silent: libcurl would
    // take up to two seconds to part from it properly. Needs WatchSocket beforehand.
    void BreakConnection() const;
    void WatchSocket();

    // Of the last transfer, or of the running one in a callback.
    long Number(curl::Info info) const;
    double Seconds(curl::Info info) const;
    curl::Offset LongNumber(curl::Info info) const; // -1 when not known
    // What libcurl says about the code that Perform returned.
    std::string Explain(curl::Code code) const;

private:
    static int TakeSocket(void* user, curl::Socket socket, int purpose);
    static int EndSocket(void* user, curl::Socket socket);
    template <typename Value>
    void Set(curl::Option option, Value value);

    const CurlLibrary* m_library;
    void* m_easy;
    curl::Socket m_socket = curl::kNoSocket; // the newest one, while it is open
    char m_error[curl::kErrorBufferSize] = {};
};

// The status for a transfer that ended with code because of the server as a whole: 35 for a libcurl
// that cannot do it, 33, 34 or 27. Nothing when the code is about the transferred thing itself.
// osError is what libcurl reports as kInfoOsErrno.
std::optional<EVXAStatusCode> StatusOf(curl::Code code, long osError);
// Whether a system's error number means that there is no way to the network of the server.
bool IsNoRoute(long osError);
// Ends both directions of a connection; the socket stays open.
void ShutSocket(curl::Socket socket);
int CloseSocket(curl::Socket socket);

} // namespace NORXVXA20
