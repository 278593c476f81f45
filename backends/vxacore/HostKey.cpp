#include "backends/vxacore/HostKey.h"

#include "backends/vxacore/TransferRecord.h"
#include "common/TVXAException.h"
#include "platform/vxacore/TRootObject.h"

#include <cstdlib>
#include <fstream>
#include <utility>

namespace NORXVXA20 {

namespace {

constexpr long kConnectLimit = 10; // seconds
constexpr int kWarningLevel = 1;   // never that of the library, whose lines are fixed

std::string Option(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string Base64(const std::string& bytes)
{
    const char* const digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        unsigned int group = 0;
        for (std::size_t j = 0; j < 3; ++j)
            group =
                group << 8 | (i + j < bytes.size() ? static_cast<unsigned char>(bytes[i + j]) : 0U);
        for (std::size_t j = 0; j < 4; ++j)
            text += i + j <= bytes.size() ? digits[group >> (18 - 6 * j) & 0x3f] : '=';
    }
    return text;
}

// The name of the key's algorithm, which the key begins with, after its length in four bytes.
std::string KeyType(const std::string& key)
{
    constexpr std::size_t lengthSize = 4;
    if (key.size() <= lengthSize)
        return std::string();
    return key.substr(lengthSize, static_cast<unsigned char>(key[lengthSize - 1]));
}

// How a known-hosts file names the server: the host alone on the standard port, else with its port.
std::string KnownHostName(const std::string& server)
{
    const std::size_t bracket = server.find(']');
    const std::size_t colon = server.find(':', bracket == std::string::npos ? 0 : bracket);
    std::string host = server.substr(0, colon);
    if (bracket != std::string::npos)
        host = server.substr(1, bracket - 1);
    const std::string port = colon == std::string::npos ? "22" : server.substr(colon + 1);
    return port == "22" ? host : "[" + host + "]:" + port;
}

bool EndsWithinLine(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    char last = '\n';
    if (file.seekg(-1, std::ios::end))
        file.get(last);
    return last != '\n';
}

} // namespace

void LogLine(const std::string& message)
{
    if (ILogger* logger = TRootObject::GetCoreLogger())
        logger->Log(kWarningLevel, message);
}

HostKeyRule::HostKeyRule(const SftpLocation& location)
    : m_server(location.server), m_file(Option("VXA_KNOWN_HOSTS")),
      m_pins(Option("VXA_HOST_KEYS") == "pin")
{}

void HostKeyRule::ApplyTo(CurlEasy& easy)
{
    if (IsOff()) {
        static bool said = false;
        if (!std::exchange(said, true))
            LogLine("vxacore: host keys are not verified, VXA_KNOWN_HOSTS names no file");
        return;
    }
    easy.SetText(curl::kSshKnownHosts, m_file);
    easy.SetKeyCheck(&HostKeyRule::Decide, this);
}

void HostKeyRule::ApplyForLook(CurlEasy& easy)
{
    m_onlyLooks = true;
    ApplyTo(easy);
}

int HostKeyRule::Decide(void*, const curl::HostKey*, const curl::HostKey* found, int match,
                        void* user)
{
    HostKeyRule& rule = *static_cast<HostKeyRule*>(user);
    rule.m_asked = true;
    rule.m_refusal.clear();
    const bool accepted = rule.IsAcceptable(*found, match);
    return accepted && !rule.m_onlyLooks ? curl::kAcceptKey : curl::kRejectKey;
}

bool HostKeyRule::IsAcceptable(const curl::HostKey& found, int match)
{
    if (match == curl::kKeyMatches)
        return true;
    if (match == curl::kKeyDiffers)
        m_refusal = "the host key of " + m_server + " is not the one in " + m_file;
    else if (!m_pins)
        m_refusal = "the host key of " + m_server + " is not in " + m_file;
    else if (!m_onlyLooks && !Add(found))
        m_refusal = "the host key of " + m_server + " cannot be added to " + m_file;
    return m_refusal.empty();
}

bool HostKeyRule::Add(const curl::HostKey& key) const
{
    // libcurl would write the whole file anew, and without the port.
    if (key.length == 0)
        return false;
    const std::string raw(key.key, key.length);
    const bool endsWithinLine = EndsWithinLine(m_file);
    std::ofstream file(m_file, std::ios::app | std::ios::binary);
    file << (endsWithinLine ? "\n" : "") << KnownHostName(m_server) << ' ' << KeyType(raw) << ' '
         << Base64(raw) << '\n';
    file.close();
    return !file.fail();
}

std::string CheckHostKey(const std::string& text)
{
    const SftpLocation location(text);
    HostKeyRule rule(location);
    if (rule.IsOff())
        return std::string();
    if (!location.HasServer())
        return "no file server is named";
    try {
        CurlEasy easy;
        easy.SetText(curl::kProxy, "");
        easy.SetNumber(curl::kConnectTimeout, kConnectLimit);
        easy.SetText(curl::kUrl, location.Url(""));
        rule.ApplyForLook(easy);
        const curl::Code code = easy.Perform();
        return rule.WasAsked() ? rule.Refusal() : location.server + ": " + easy.Explain(code);
    } catch (const TVXAException&) {
        return "no usable libcurl";
    }
}

} // namespace NORXVXA20
