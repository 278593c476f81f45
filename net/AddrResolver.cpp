#include "net/AddrResolver.h"

#include "common/Strings.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <optional>

namespace {

constexpr std::size_t kNone = std::string::npos;
// Deliberate: a colon before this index makes an address that the strict form refuses.
constexpr std::size_t kShortestHost = 5;

// The two parts of a text around one character.
struct Halves {
    std::string left;
    std::string right;
};

// Splits at a character's place; everything is left of a place that is none.
Halves SplitAt(const std::string& text, std::size_t place)
{
    if (place == kNone)
        return {text, std::string()};
    return {text.substr(0, place), text.substr(place + 1)};
}

std::string Stripped(std::string text)
{
    return TrimString(text);
}

// The leading decimal number of text, 0 when there is none.
int ToPort(const std::string& text)
{
    const long number = std::strtol(text.c_str(), nullptr, 10);
    return static_cast<int>(
        std::clamp<long>(number, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

// What stands between the first character and place; nothing when there is no room for it.
std::string AfterFirstUpTo(const std::string& text, std::size_t place)
{
    return place > 1 ? text.substr(1, place - 1) : std::string();
}

// A bracketed host and, right, its port text.
Halves SplitBracketed(const std::string& location)
{
    const std::size_t end = location.find("]:");
    if (end == kNone)
        return {AfterFirstUpTo(location, location.size() - 1), std::string()};
    return {AfterFirstUpTo(location, end), location.substr(end + 2)};
}

// Host and port text by the strict rules; nothing when they refuse.
std::optional<Halves> SplitLocation(const std::string& location)
{
    const std::size_t colon = location.find(':');
    if (colon != 0 && location.find('[') != kNone)
        return SplitBracketed(location);
    if (colon > 0 && colon < kShortestHost)
        return std::nullopt;
    return SplitAt(location, colon);
}

} // namespace

AddrResolver::AddrResolver() = default;
AddrResolver::~AddrResolver() = default;
AddrResolver::AddrResolver(const AddrResolver& other) = default;
AddrResolver& AddrResolver::operator=(const AddrResolver& other) = default;

void AddrResolver::Parse(const std::string address)
{
    m_host.clear();
    // Deliberate: not the default user of a new object.
    m_user.clear();
    m_password.clear();
    m_port = 0;
    const std::size_t at = address.find('@');
    if (at == kNone) {
        m_host = address;
        return;
    }
    const Halves sides = SplitAt(address, at);
    const Halves credentials = SplitAt(sides.left, sides.left.find(':'));
    const Halves location = SplitAt(sides.right, sides.right.find(':'));
    m_user = Stripped(credentials.left);
    m_password = Stripped(credentials.right);
    m_host = Stripped(location.left);
    m_port = ToPort(Stripped(location.right));
}

bool AddrResolver::Set(const std::string address)
{
    const std::size_t at = address.rfind('@');
    if (at == kNone)
        return false;
    const Halves sides = SplitAt(address, at);
    if (sides.left.empty() || sides.right.empty())
        return false;
    const std::optional<Halves> location = SplitLocation(sides.right);
    if (!location)
        return false;
    const Halves credentials = SplitAt(sides.left, sides.left.find(':'));
    m_host = location->left;
    m_port = ToPort(location->right);
    m_user = credentials.left;
    m_password = credentials.right;
    if (!m_host.empty() && m_user.empty())
        m_user = "root";
    return true;
}

std::string AddrResolver::Host() const
{
    return m_host;
}

std::string AddrResolver::User() const
{
    return m_user;
}

std::string AddrResolver::Pw() const
{
    return m_password;
}

int AddrResolver::Port() const
{
    return m_port;
}

void AddrResolver::SetHost(const std::string host)
{
    m_host = host;
}

void AddrResolver::SetUser(const std::string user)
{
    m_user = user;
}

void AddrResolver::SetPw(const std::string password)
{
    m_password = password;
}

void AddrResolver::SetPort(int port)
{
    m_port = port;
}
