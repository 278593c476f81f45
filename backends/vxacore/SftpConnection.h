#pragma once

#include "backends/vxacore/CurlClient.h"
#include "backends/vxacore/HostKey.h"
#include "backends/vxacore/SftpLocation.h"
#include "backends/vxacore/StallClock.h"

#include <chrono>
#include <optional>
#include <string>

namespace NORXVXA20 {

// A connection to one SFTP location, kept between the copies from there. It is made by the first
// transfer, and again by the next transfer whenever it has been lost.
class SftpConnection {
public:
    // Throws TVXAException: 34 when remote names no server, 35 when there is no usable libcurl.
    explicit SftpConnection(const std::string& remote);
    ~SftpConnection();

    bool IsFor(const std::string& remote) const { return remote == m_remote; }
    bool IsStale() const;

    // One transfer of the named file, or with an empty name a listing of the directory. callback
    // gets the bytes from offset on. The clock ends the transfer at its limit, or at its half when
    // the transfer began in the first half. progress may be called at any time meanwhile.
    class IReceiver {
    public:
        virtual ~IReceiver() = default;
        virtual bool OnBlock(const char* bytes, std::size_t count) = 0; // false ends the transfer
        virtual void OnProgress() = 0;
    };
    curl::Code Fetch(const std::string& name, std::int64_t offset, const StallClock& clock,
                     IReceiver& receiver);
    // Gives the connection up; the next transfer makes a new one.
    void Drop();

    // About the last transfer: whether it got past the log-in; its code in words.
    bool WasLoggedIn() const { return m_loggedIn; }
    std::string Explain(curl::Code code) const;
    // The status when, after a transfer that ended with code, no other try can help: what is wrong
    // is no matter of time, or the server has never been there and so is not waited for.
    std::optional<EVXAStatusCode> LossBy(curl::Code code) const;
    // The status if it does not get better.
    EVXAStatusCode StatusBy(curl::Code code) const;

    // About the remote file, within a transfer and after it; -1 when not known.
    std::int64_t RemainingBytes() const;
    std::int64_t FileTime() const { return m_easy->LongNumber(curl::kInfoFileTime); }

    const SftpLocation& Location() const { return m_location; }

private:
    struct Transfer;
    void SetUp();
    bool WasReused(curl::Code code) const;

    std::string m_remote;
    SftpLocation m_location;
    HostKeyRule m_hostKeys;
    std::optional<CurlEasy> m_easy;
    bool m_beenThere = false; // the server has let us in at least once
    bool m_loggedIn = false;
    bool m_mayBeOpen = false; // a connection may have been left open by an earlier transfer
    std::chrono::steady_clock::time_point m_lastUse = std::chrono::steady_clock::now();
};

} // namespace NORXVXA20
