#include "tests/backends/spdriver/ScriptedPeer.h"

#include "backends/spdriver/SocketSystem.h"

#include <stdexcept>

namespace {

constexpr char kMessageEnd = '\xA0';

// Long enough for a loaded machine; a test that needs it has failed.
Deadline Soon()
{
    return std::chrono::steady_clock::now() + std::chrono::seconds(30);
}

// Reads to the mark, or to the end with none.
std::string Read(const Socket& socket, bool toMark)
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

} // namespace

ScriptedPeer::ScriptedPeer(std::vector<Connection> script)
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

ScriptedPeer::~ScriptedPeer()
{
    if (m_thread.joinable())
        m_thread.join();
}

const std::vector<std::string>& ScriptedPeer::Received()
{
    if (m_thread.joinable())
        m_thread.join();
    return m_received;
}

void ScriptedPeer::Serve(const std::vector<Connection>& script)
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

std::string VmMessage(const std::string& bytes)
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
    return line + kMessageEnd;
}
