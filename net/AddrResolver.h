#pragma once

#include "UtilsExport.h"

#include <string>

// The whole Windows header turns the name into another one.
#if defined(SetPort)
#undef SetPort
#endif

// A log-in address, "user:password@host:port", taken apart. Nothing is looked up or connected to.
// A new one has the user "root", port 0, and no host and no password.
class UTILS_API AddrResolver {
public:
    AddrResolver();
    ~AddrResolver();
    // Copied with all its parts:
    AddrResolver(const AddrResolver& other);
    AddrResolver& operator=(const AddrResolver& other);

    // Splits leniently at the first "@" and strips the blanks around each part. Without "@" the
    // whole address is the host, blanks included. Everything is accepted, and what the address does
    // not hold becomes empty, the user too.
    void Parse(const std::string address);
    // Splits strictly at the last "@", which must have something on both sides. An IPv6 host stands
    // in brackets; without them a host of one to four characters cannot have a port. An empty user
    // becomes "root" when there is a host. Returns false, with nothing changed, for what it
    // refuses.
    bool Set(const std::string address);

    // The parts; empty when the address does not hold them:
    std::string Host() const;
    std::string User() const;
    std::string Pw() const;
    // 0 when the address had no port or its text was no number.
    int Port() const;

    // Each sets one part as it is, unchecked, and leaves the others:
    void SetHost(const std::string host);
    void SetUser(const std::string user);
    void SetPw(const std::string password);
    void SetPort(int port);

private:
    int m_port = 0;
    std::string m_host;
    std::string m_user = "root";
    std::string m_password;
};
