#pragma once

#include "backends/spdriver/SocketSystem.h"
#include "backends/spdriver/Sockets.h"

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

// A TCP server on loopback that serves as many connections as its script has, one after another.
class ScriptedPeer {
public:
    struct Connection {
        std::string greeting;   // sent at once
        std::string reply = {}; // sent when a whole request has arrived; else nothing is read
        bool hold = false;      // stay connected until the client leaves
    };

    explicit ScriptedPeer(std::vector<Connection> script)
    {
        StartSockets();
        m_listener.reset(static_cast<SocketTraits::Handle>(::socket(AF_INET, SOCK_STREAM, 0)));
        const auto listener = static_cast<NativeSocket>(m_listener.get());
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        if (::bind(listener, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
            ::listen(listener, 5) != 0 ||
            ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
            throw std::runtime_error("no listening socket");
        m_address = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
        m_thread = std::thread([this, script = std::move(script)] { Serve(script); });
    }
    ~ScriptedPeer()
    {
        if (m_thread.joinable())
            m_thread.join();
    }

    // "127.0.0.1:port"
    const std::string& Address() const { return m_address; }
    // What each connection brought; waits for the end of the script.
    const std::vector<std::string>& Received()
    {
        if (m_thread.joinable())
            m_thread.join();
        return m_received;
    }

private:
    static constexpr char kMessageEnd = '\xA0';

    // Long enough for a loaded machine; a test that needs it has failed.
    static Deadline Soon() { return std::chrono::steady_clock::now() + std::chrono::seconds(30); }

    // Reads to the mark, or to the end with none.
    static std::string Read(const Socket& socket, bool toMark)
    {
        std::string bytes;
        unsigned char byte = 0;
        while (ReceiveSome(socket, &byte, 1, Soon()) > 0) {
            bytes += static_cast<char>(byte);
            if (toMark && bytes.back() == kMessageEnd)
                break;
        }
        return bytes;
    }

    void Serve(const std::vector<Connection>& script)
    {
        const auto listener = static_cast<NativeSocket>(m_listener.get());
        for (const Connection& connection : script) {
            if (!Wait(listener, WaitUntil::kReadable, Soon()))
                return;
            const Socket client(
                static_cast<SocketTraits::Handle>(::accept(listener, nullptr, nullptr)));
            if (!client || !MakeNonBlocking(static_cast<NativeSocket>(client.get())))
                return;
            SendAll(client, connection.greeting, Soon());
            std::string received;
            if (!connection.reply.empty()) {
                received = Read(client, true);
                SendAll(client, connection.reply, Soon());
            }
            if (connection.hold)
                received += Read(client, false);
            m_received.push_back(received);
        }
    }

    Socket m_listener;
    std::string m_address;
    std::vector<std::string> m_received;
    std::thread m_thread;
};

// A message as the simulator sends it: the checksum and the mark are added, marks escaped.
inline std::string VmMessage(const std::string& bytes)
{
    unsigned sum = 0;
    for (const char byte : bytes)
        sum += static_cast<unsigned char>(byte);
    std::string line;
    for (const char byte : bytes + static_cast<char>(-sum)) {
        const bool mark = byte == '\xA0' || byte == '\xA1' || byte == '\xAA';
        if (mark)
            line += '\xAA';
        line += mark ? static_cast<char>(byte | 0x10) : byte;
    }
    return line + '\xA0';
}
