#include "backends/vxacore/SftpListing.h"

#include "backends/vxacore/TransferReports.h"
#include "common/TVXAException.h"

#include <sstream>

namespace NORXVXA20 {

namespace {

// A directory of a service processor holds a few files; this is far beyond and saves the memory.
constexpr std::size_t kMostBytes = std::size_t{4} * 1024 * 1024;

class ListingText : public SftpConnection::IReceiver {
public:
    bool OnBlock(const char* bytes, std::size_t count) override
    {
        if (m_text.size() + count > kMostBytes)
            return false;
        m_text.append(bytes, count);
        return true;
    }
    void OnProgress() override {}

    std::vector<std::string> Names() const
    {
        std::vector<std::string> names;
        std::istringstream lines(m_text);
        for (std::string line; std::getline(lines, line);) {
            if (!line.empty() && line.back() == '\r')
                line.pop_back();
            if (!line.empty() && line.front() != '.')
                names.push_back(line);
        }
        return names;
    }

private:
    std::string m_text;
};

} // namespace

std::optional<std::vector<std::string>> ListNames(SftpConnection& connection,
                                                  const StallClock& clock, std::string& reason)
{
    ListingText text;
    const curl::Code code = connection.Fetch(std::string(), 0, clock, text);
    if (code == curl::kOk)
        return text.Names();
    // A wrong password is not tried a second time; what is wrong with the listing alone does not
    // keep the copy from trying.
    if (const auto status = connection.LossBy(code)) {
        reason = connection.Explain(code);
        throw TVXAException(*status);
    }
    return std::nullopt;
}

} // namespace NORXVXA20
