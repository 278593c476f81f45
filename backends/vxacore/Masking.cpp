// What the log must not show: registered secrets, and what looks like "user:password@".
#include "backends/vxacore/CoreLog.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace NORXVXA20 {

namespace {

constexpr char kMask[] = "***";
constexpr std::size_t kShortestSecret = 2;

struct Secrets {
    std::mutex mutex;
    std::vector<std::string> texts; // longest first, so that none hides a part of another
};

Secrets& AllSecrets()
{
    // Never destroyed: lines may be logged until the very end of the process.
    static auto& secrets = *new Secrets;
    return secrets;
}

bool IsBlank(char c)
{
    return c == ' ' || c == '\t';
}

// True when the colon at position stands between a user and a password rather than in "::", before
// "//" or behind a label. A password may begin with a blank only where nothing stands before the
// user.
bool SeparatesCredential(const std::string& line, std::size_t position)
{
    const char before = position > 0 ? line[position - 1] : '\0';
    const char after = line[position + 1]; // the "@" comes later, so there is one
    if (before == ':' || after == ':' || line.compare(position, 3, "://") == 0)
        return false;
    if (!IsBlank(after))
        return true;
    return line.find(':') == position &&
           std::none_of(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(position),
                        IsBlank);
}

// The first byte of the word or, in a URL, of the authority that holds position.
std::size_t BeginOfUser(const std::string& line, std::size_t position)
{
    std::size_t begin = position;
    while (begin > 0 && !IsBlank(line[begin - 1]) &&
           !(begin >= 3 && line.compare(begin - 3, 3, "://") == 0))
        --begin;
    return begin;
}

// One line with everything from the first credential up to the last "@" masked. Rather too much
// than too little: a password may itself hold "@", ":" and "/".
std::string MaskCredentials(const std::string& line)
{
    const std::size_t at = line.rfind('@');
    if (at == std::string::npos)
        return line;
    for (std::size_t colon = line.find(':'); colon < at; colon = line.find(':', colon + 1)) {
        if (SeparatesCredential(line, colon))
            return line.substr(0, BeginOfUser(line, colon)) + kMask + line.substr(at);
    }
    return line;
}

void ReplaceAll(std::string& text, const std::string& from)
{
    for (std::size_t found = text.find(from); found != std::string::npos;
         found = text.find(from, found + sizeof kMask - 1))
        text.replace(found, from.size(), kMask);
}

} // namespace

void RegisterSecret(const std::string& secret)
{
    if (secret.size() < kShortestSecret)
        return;
    Secrets& secrets = AllSecrets();
    const std::lock_guard<std::mutex> lock(secrets.mutex);
    std::vector<std::string>& texts = secrets.texts;
    if (std::find(texts.begin(), texts.end(), secret) != texts.end())
        return;
    const auto longer = [&](const std::string& other) { return other.size() >= secret.size(); };
    texts.insert(std::find_if_not(texts.begin(), texts.end(), longer), secret);
}

std::string MaskSecrets(const std::string& text)
{
    std::string known = text;
    {
        Secrets& secrets = AllSecrets();
        const std::lock_guard<std::mutex> lock(secrets.mutex);
        for (const std::string& secret : secrets.texts)
            ReplaceAll(known, secret);
    }
    std::string masked;
    for (std::size_t begin = 0; begin < known.size();) {
        const std::size_t end = std::min(known.find('\n', begin), known.size() - 1) + 1;
        masked += MaskCredentials(known.substr(begin, end - begin));
        begin = end;
    }
    return masked;
}

} // namespace NORXVXA20
