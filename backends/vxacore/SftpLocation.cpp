#include "backends/vxacore/SftpLocation.h"

#include "backends/vxacore/PartFile.h"
#include "common/Wipe.h"

#include <algorithm>

namespace NORXVXA20 {

namespace {

bool IsControl(char c)
{
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

bool IsAlphanumeric(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

} // namespace

SftpLocation::SftpLocation(const std::string& remote)
{
    const std::size_t at = remote.rfind('@');
    const std::size_t serverBegin = at == std::string::npos ? 0 : at + 1;
    if (at != std::string::npos) {
        const std::size_t colon = std::min(remote.find(':'), at);
        user.assign(remote, 0, colon);
        if (colon < at)
            password.assign(remote, colon + 1, at - colon - 1);
    }
    const std::size_t slash = std::min(remote.find('/', serverBegin), remote.size());
    server.assign(remote, serverBegin, slash - serverBegin);
    directory.assign(remote, slash, std::string::npos);
    while (!directory.empty() && directory.back() == '/')
        directory.pop_back();
}

SftpLocation::~SftpLocation()
{
    WipeBytes(user);
    WipeBytes(password);
}

std::string SftpLocation::Url(const std::string& name) const
{
    return "sftp://" + server + PercentEncode(directory + "/" + name);
}

bool SftpLocation::HasServer() const
{
    return !server.empty() && std::all_of(server.begin(), server.end(), [](char c) {
        return IsAlphanumeric(c) || std::string("-._:[]").find(c) != std::string::npos;
    });
}

std::string PercentEncode(const std::string& path)
{
    const char* const digits = "0123456789ABCDEF";
    std::string encoded;
    for (const char c : path) {
        if (IsAlphanumeric(c) || std::string("/-._~").find(c) != std::string::npos) {
            encoded += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        encoded += '%';
        encoded += digits[byte >> 4];
        encoded += digits[byte & 0xf];
    }
    return encoded;
}

bool IsSafeFileName(const std::string& name)
{
    if (name.empty() || name == "." || name == "..")
        return false;
    if (name.find_first_of("/\\") != std::string::npos ||
        std::any_of(name.begin(), name.end(), IsControl))
        return false;
    return !IsSpecialFileName(name);
}

std::string Printable(const std::string& text)
{
    std::string printable = text;
    std::replace_if(printable.begin(), printable.end(), IsControl, '?');
    return printable;
}

} // namespace NORXVXA20
