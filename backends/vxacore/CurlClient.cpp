#include "backends/vxacore/CurlClient.h"

#include "common/TVXAException.h"
#include "osdep/DynamicLibrary.h"
#include "platform/vxacore/TOSSpecific.h"

namespace NORXVXA20 {

namespace {

template <typename Function>
bool Find(void* library, const char* name, Function& function)
{
    function = FindLibraryFunction<Function>(library, name);
    return function != nullptr;
}

} // namespace

const CurlLibrary* CurlLibrary::Get()
{
    // Deliberate: never unloaded and never cleaned up; connections may be open until the very end.
    static CurlLibrary* loaded = nullptr;
    if (loaded != nullptr)
        return loaded;
    // The library that lists directories looks in this order too, so both find the same one.
    const std::string root = TOSSpecific::GetVXARootPath();
    const std::string candidates[] = {
        "libcurl.dll",  root + "/libcurl.so", root + "/libcurl.so.4", "libcurl.so",
        "libcurl.so.4", "libcurl.so.3",       "libcurl.so.2",
    };
    CurlLibrary library;
    for (const std::string& candidate : candidates) {
        if (library.Load(candidate))
            return loaded = new CurlLibrary(library);
    }
    return nullptr;
}

bool CurlLibrary::Load(const std::string& name)
{
    void* library = LoadDynamicLibrary(name.c_str());
    if (library == nullptr)
        return false;
    curl::GlobalInit globalInit = nullptr;
    if (Find(library, "curl_global_init", globalInit) &&
        Find(library, "curl_easy_init", easyInit) &&
        Find(library, "curl_easy_setopt", easySetopt) &&
        Find(library, "curl_easy_perform", easyPerform) &&
        Find(library, "curl_easy_getinfo", easyGetinfo) &&
        Find(library, "curl_easy_strerror", easyStrerror) &&
        Find(library, "curl_easy_cleanup", easyCleanup) &&
        globalInit(curl::kGlobalAll) == curl::kOk)
        return true;
    UnloadDynamicLibrary(library);
    return false;
}

CurlEasy::CurlEasy() : m_library(CurlLibrary::Get()), m_easy(nullptr)
{
    if (m_library != nullptr)
        m_easy = m_library->easyInit();
    if (m_easy == nullptr)
        throw TVXAException(TVXAStatusCode::eNoTransferLibrary);
    // No optional option: without it a transfer's signals would hit the whole process.
    m_library->easySetopt(m_easy, curl::kNoSignal, 1L);
    m_library->easySetopt(m_easy, curl::kErrorBuffer, static_cast<char*>(m_error));
}

CurlEasy::~CurlEasy()
{
    m_library->easyCleanup(m_easy);
}

template <typename Value>
void CurlEasy::Set(curl::Option option, Value value)
{
    if (m_library->easySetopt(m_easy, option, value) != curl::kOk)
        throw TVXAException(TVXAStatusCode::eNoTransferLibrary);
}

void CurlEasy::SetNumber(curl::Option option, long value)
{
    Set(option, value);
}

void CurlEasy::SetOffset(curl::Option option, curl::Offset value)
{
    Set(option, value);
}

void CurlEasy::SetText(curl::Option option, const std::string& value)
{
    Set(option, value.c_str());
}

void CurlEasy::ClearText(curl::Option option)
{
    Set(option, static_cast<const char*>(nullptr));
}

void CurlEasy::SetPointer(curl::Option option, void* value)
{
    Set(option, value);
}

void CurlEasy::SetHeaderReader(curl::WriteCallback callback, void* user)
{
    Set(curl::kHeaderFunction, callback);
    Set(curl::kHeaderData, user);
}

void CurlEasy::SetWriter(curl::WriteCallback callback, void* user)
{
    Set(curl::kWriteFunction, callback);
    Set(curl::kWriteData, user);
}

void CurlEasy::SetReader(curl::ReadCallback callback, void* user)
{
    Set(curl::kReadFunction, callback);
    Set(curl::kReadData, user);
}

void CurlEasy::SetProgress(curl::ProgressCallback callback, void* user)
{
    Set(curl::kProgressFunction, callback);
    Set(curl::kProgressData, user);
    Set(curl::kNoProgress, 0L);
}

void CurlEasy::SetKeyCheck(curl::KeyCallback callback, void* user)
{
    Set(curl::kSshKeyFunction, callback);
    Set(curl::kSshKeyData, user);
}

curl::Code CurlEasy::Perform()
{
    m_error[0] = '\0';
    return static_cast<curl::Code>(m_library->easyPerform(m_easy));
}

void CurlEasy::WatchSocket()
{
    Set(curl::kSocketFunction, static_cast<curl::SocketCallback>(&TakeSocket));
    Set(curl::kSocketData, this);
    Set(curl::kCloseSocketFunction, static_cast<curl::CloseSocketCallback>(&EndSocket));
    Set(curl::kCloseSocketData, this);
}

int CurlEasy::TakeSocket(void* user, curl::Socket socket, int)
{
    static_cast<CurlEasy*>(user)->m_socket = socket;
    return 0;
}

int CurlEasy::EndSocket(void* user, curl::Socket socket)
{
    curl::Socket& known = static_cast<CurlEasy*>(user)->m_socket;
    if (known == socket)
        known = curl::kNoSocket;
    return CloseSocket(socket);
}

void CurlEasy::BreakConnection() const
{
    if (m_socket != curl::kNoSocket)
        ShutSocket(m_socket);
}

long CurlEasy::Number(curl::Info info) const
{
    long value = 0;
    m_library->easyGetinfo(m_easy, info, &value);
    return value;
}

double CurlEasy::Seconds(curl::Info info) const
{
    double value = 0;
    m_library->easyGetinfo(m_easy, info, &value);
    return value;
}

curl::Offset CurlEasy::LongNumber(curl::Info info) const
{
    curl::Offset value = -1;
    m_library->easyGetinfo(m_easy, info, &value);
    return value;
}

std::string CurlEasy::Explain(curl::Code code) const
{
    return m_error[0] != '\0' ? m_error : m_library->easyStrerror(code);
}

std::optional<EVXAStatusCode> StatusOf(curl::Code code, long osError)
{
    switch (code) {
    case curl::kUnsupportedProtocol:
    case curl::kNotBuiltIn:
    case curl::kUnknownOption:
        return TVXAStatusCode::eNoTransferLibrary;
    case curl::kCouldNotResolveHost:
        return TVXAStatusCode::eNoRoute;
    case curl::kCouldNotConnect:
        return IsNoRoute(osError) ? TVXAStatusCode::eNoRoute : TVXAStatusCode::eCannotConnect;
    case curl::kFailedInit:
    case curl::kUrlMalformed:
    case curl::kPeerFailedVerification:
        return TVXAStatusCode::eCannotConnect;
    case curl::kLoginDenied:
        return TVXAStatusCode::ePermissionDenied;
    default:
        return std::nullopt;
    }
}

} // namespace NORXVXA20
