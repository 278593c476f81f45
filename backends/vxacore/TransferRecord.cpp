#include "backends/vxacore/Alive.h"
#include "backends/vxacore/TransferReports.h"

#include <algorithm>
#include <chrono>

namespace NORXVXA20 {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kBetweenSigns{900};

class SilentListener : public ITransferListener {
public:
    void OnNamesListed(const std::vector<std::string>&) override {}
    void OnFileBegun(const std::string&) override {}
    void OnBytes(const std::string&, std::int64_t, std::int64_t) override {}
    void OnFileDone(const TransferredFile&) override {}
    void OnAlive() override {}
};

struct Reports {
    SilentListener silent;
    ITransferListener* listener = nullptr;
    std::vector<TransferredFile> files;
    Clock::time_point lastSign{};
};

Reports& TheReports()
{
    // Never destroyed: copies may be made as long as the process lives.
    static Reports& reports = *new Reports;
    return reports;
}

} // namespace

void SetTransferListener(ITransferListener* listener)
{
    TheReports().listener = listener;
}

std::vector<TransferredFile> GetTransferRecord()
{
    return TheReports().files;
}

void ClearTransferRecord()
{
    TheReports().files.clear();
}

ITransferListener& TransferListener()
{
    Reports& reports = TheReports();
    if (reports.listener != nullptr)
        return *reports.listener;
    return reports.silent;
}

bool HasTransferListener()
{
    return TheReports().listener != nullptr;
}

void ReportFileDone(const TransferredFile& file)
{
    TheReports().files.push_back(file);
    TransferListener().OnFileDone(file);
}

bool IsCopiedFile(const std::string& localPath)
{
    const std::vector<TransferredFile>& files = TheReports().files;
    return std::any_of(files.begin(), files.end(), [&](const TransferredFile& file) {
        return file.complete && file.localPath == localPath;
    });
}

} // namespace NORXVXA20

void NotifyAlive()
{
    NORXVXA20::Reports& reports = NORXVXA20::TheReports();
    const NORXVXA20::Clock::time_point now = NORXVXA20::Clock::now();
    if (now - reports.lastSign < NORXVXA20::kBetweenSigns)
        return;
    reports.lastSign = now;
    NORXVXA20::TransferListener().OnAlive();
}
