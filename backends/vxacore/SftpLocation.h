#pragma once

#include <string>

namespace NORXVXA20 {

// Where files lie on an SFTP server, and who fetches them. The credentials are wiped at the end.
struct SftpLocation {
    // Takes "user:password@host:port/directory" apart, at the last "@" and the first ":" before it.
    // Whatever is missing stays empty; nothing is unescaped.
    explicit SftpLocation(const std::string& remote);
    ~SftpLocation();
    SftpLocation(const SftpLocation&) = delete;
    SftpLocation& operator=(const SftpLocation&) = delete;

    // The URL of a file, or with an empty name of the directory; it holds no credentials.
    std::string Url(const std::string& name) const;
    // Whether server can stand in a URL and mean nothing but a host and a port.
    bool HasServer() const;

    std::string user;
    std::string password;
    std::string server;    // "host" or "host:port", an IPv6 address in brackets
    std::string directory; // begins with "/" unless it is empty
};

// path as it stands in a URL: every byte but the unreserved ones and the slash as "%XX".
std::string PercentEncode(const std::string& path);
// Whether name is that of a file which lies directly in the directory and may be created here.
bool IsSafeFileName(const std::string& name);
// text with every byte that a terminal or a log line could take for an order replaced.
std::string Printable(const std::string& text);

} // namespace NORXVXA20
