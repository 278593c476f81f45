#pragma once

#include <cstddef>
#include <cstdint>

// What the library and its backends use of libcurl, which is loaded by name at run time: its fixed
// binary interface. A `long` parameter has 32 bits on Windows, an Offset 64 everywhere.
namespace curl {

using Offset = std::int64_t; // curl_off_t

#ifdef _WIN32
using Socket = std::uintptr_t; // curl_socket_t
#else
using Socket = int;
#endif
constexpr Socket kNoSocket = static_cast<Socket>(-1);

enum Code : int {
    kOk = 0,
    kUnsupportedProtocol = 1,
    kFailedInit = 2, // for SSH: the handshake broke off
    kUrlMalformed = 3,
    kNotBuiltIn = 4,
    kCouldNotResolveHost = 6,
    kCouldNotConnect = 7,
    kRemoteAccessDenied = 9,
    kHttpReturnedError = 22,
    kUploadFailed = 25,
    kOperationTimedOut = 28,
    kBadDownloadResume = 36,
    kAbortedByCallback = 42,
    kUnknownOption = 48,
    kGotNothing = 52,
    kSendError = 55,
    kReceiveError = 56,
    kPeerFailedVerification = 60,
    kLoginDenied = 67,
    kRemoteFileNotFound = 78,
};

constexpr long kGlobalAll = 3; // CURL_GLOBAL_ALL
constexpr std::size_t kErrorBufferSize = 256;

// The number tells the parameter's type: below 10000 long, from 10000 a pointer (texts are copied,
// except the error buffer), from 20000 a function, from 30000 an Offset.
enum Option : int {
    kWriteData = 10001,
    kUrl = 10002,
    kProxy = 10004,
    kErrorBuffer = 10010,
    kReadData = 10009,
    kTimeout = 13,       // seconds
    kPostFields = 10015, // not copied
    kHttpHeader = 10023, // a TextList; not copied
    kHeaderData = 10029,
    kWriteFunction = 20011,
    kReadFunction = 20012,
    kNoProgress = 43,
    kNoBody = 44,
    kUpload = 46,
    kFailOnError = 45,
    kDirListOnly = 48,
    kFollowLocation = 52,
    kProgressData = 10057, // CURLOPT_XFERINFODATA
    kVerifyPeer = 64,
    kCaFile = 10065, // CURLOPT_CAINFO
    kFileTime = 69,
    kFreshConnect = 74,
    kConnectTimeout = 78, // seconds
    kHeaderFunction = 20079,
    kVerifyHost = 81,
    kBufferSize = 98,
    kNoSignal = 99,
    kUploadSize = 30115, // CURLOPT_INFILESIZE_LARGE
    kResumeFrom = 30116, // CURLOPT_RESUME_FROM_LARGE
    kFtpFileMethod = 138,
    kConnectOnly = 141,
    kHttpAuth = 107,
    kPostFieldSize = 30120,  // CURLOPT_POSTFIELDSIZE_LARGE
    kSocketFunction = 20148, // CURLOPT_SOCKOPTFUNCTION
    kSocketData = 10149,
    kSshAuthTypes = 151,
    kUserName = 10173,
    kPassword = 10174,
    kNoProxy = 10177,
    kSshKnownHosts = 10183,
    kSshKeyFunction = 20184,
    kSshKeyData = 10185,
    kTcpKeepAlive = 213,
    kCloseSocketFunction = 20208,
    kCloseSocketData = 10209,
    kProgressFunction = 20219, // CURLOPT_XFERINFOFUNCTION
    kPinnedPublicKey = 10230,
    kPathAsIs = 234,
    kUploadBufferSize = 280,
    kQuickExit = 322,
    kProtocols = 10318, // CURLOPT_PROTOCOLS_STR
};

constexpr long kHttpAuthBasic = 1L << 0;
constexpr long kSshAuthPassword = 1L << 1;
constexpr long kSshAuthKeyboard = 1L << 3;

constexpr long kFtpNoCwd = 2; // the whole path in one command

enum Info : int {
    kInfoResponseCode = 0x200000 + 2,           // long, the server's last one
    kInfoNameLookupTime = 0x300000 + 4,         // double, seconds; 0 before the host is found
    kInfoOsErrno = 0x200000 + 25,               // long
    kInfoNumConnects = 0x200000 + 26,           // long
    kInfoAppConnectTime = 0x300000 + 33,        // double, seconds; 0 before the log-in is done
    kInfoFileTime = 0x600000 + 14,              // Offset, -1 for not known
    kInfoContentLengthDownload = 0x600000 + 15, // Offset, -1 for not known
};

// How a host key compares with the known-hosts file, and what its callback answers.
enum KeyMatch : int { kKeyMatches = 0, kKeyDiffers = 1, kKeyMissing = 2 };
enum KeyAnswer : int { kAcceptKey = 1, kRejectKey = 2 };

struct HostKey {
    const char* key; // base64, ended by a zero byte, when length is 0; else the raw key
    std::size_t length;
    int type;
};

// A list of texts as some options take it (curl_slist).
struct TextList {
    char* text;
    TextList* next;
};

using GlobalInit = int (*)(long flags);
using GlobalCleanup = void (*)();
using EasyInit = void* (*)();
using EasySetopt = int (*)(void* easy, int option, ...);
using EasyPerform = int (*)(void* easy);
using EasyGetinfo = int (*)(void* easy, int info, ...);
using EasyStrerror = const char* (*)(int code);
using EasyCleanup = void (*)(void* easy);
using WriteCallback = std::size_t (*)(char* data, std::size_t size, std::size_t count, void* user);
using ReadCallback = WriteCallback;              // fills data; 0: the end
constexpr std::size_t kReadAborted = 0x10000000; // its answer that ends the transfer
// A result other than zero ends the transfer.
using ProgressCallback = int (*)(void* user, Offset downloadTotal, Offset downloaded,
                                 Offset uploadTotal, Offset uploaded);
// Is told of a new socket; anything but zero refuses it.
using SocketCallback = int (*)(void* user, Socket socket, int purpose);
using CloseSocketCallback = int (*)(void* user, Socket socket); // closes it
using KeyCallback = int (*)(void* easy, const HostKey* known, const HostKey* found, int match,
                            void* user);

} // namespace curl
