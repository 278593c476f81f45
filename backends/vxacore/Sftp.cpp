// TOSSpecific::sFTPFileFromORX, and the connection that is kept from one copy to the next.
#include "backends/vxacore/CoreLog.h"
#include "backends/vxacore/SftpCopy.h"
#include "backends/vxacore/SftpListing.h"
#include "backends/vxacore/TransferReports.h"
#include "common/TVXAException.h"
#include "common/Wipe.h"
#include "platform/vxacore/TOSSpecific.h"

#include <memory>

namespace NORXVXA20 {

namespace {

struct KeptConnection {
    std::unique_ptr<SftpConnection> connection;
    std::string listed; // server and directory whose names were told last
};

KeptConnection& Kept()
{
    // Never destroyed: at the end of the process libcurl may be gone already.
    static KeptConnection& kept = *new KeptConnection;
    return kept;
}

SftpConnection& ConnectionTo(const std::string& remote)
{
    std::unique_ptr<SftpConnection>& connection = Kept().connection;
    if (connection && (!connection->IsFor(remote) || connection->IsStale()))
        connection.reset();
    if (!connection)
        connection = std::make_unique<SftpConnection>(remote);
    return *connection;
}

// Before the first copy from a location its names are told, so that whoever listens can say what is
// missing even when the server is lost at once.
void TellNames(SftpConnection& connection, const StallClock& clock, std::string& reason)
{
    const std::string directory = connection.Location().Url(std::string());
    if (!HasTransferListener() || Kept().listed == directory)
        return;
    Kept().listed = directory;
    if (const auto names = ListNames(connection, clock, reason))
        TransferListener().OnNamesListed(*names);
}

// Where the bytes are collected: never in the place of a file that was copied before.
std::string PartPath(const std::string& localPath)
{
    std::string path = localPath + ".part";
    while (IsCopiedFile(path))
        path += ".part";
    return path;
}

bool Copy(const std::string& remote, TransferredFile& file)
{
    if (!IsSafeFileName(file.name)) {
        file.reason = file.name.empty() ? "it has no name" : "its name is not safe";
        return false;
    }
    PartFile part(file.localPath, PartPath(file.localPath));
    if (part.Begin()) {
        bool complete = false;
        try {
            SftpConnection& connection = ConnectionTo(remote);
            StallClock clock(StallClock::DefaultLimit());
            TellNames(connection, clock, file.reason);
            complete = SftpCopy(connection, clock, part, file).Run();
        } catch (...) {
            part.Abandon(true);
            throw;
        }
        if (complete && part.Finish()) {
            file.sha256 = part.Digest();
            return true;
        }
    }
    if (!part.Error().empty())
        file.reason = part.Error();
    // What has been received stays for whoever can use it, unless it is in the way here.
    part.Abandon(part.Error().empty());
    return false;
}

} // namespace

void EndTransfers()
{
    Kept().connection.reset();
    Kept().listed.clear();
}

bool TOSSpecific::sFTPFileFromORX(std::string remote, std::string localPath, std::string fileName)
{
    const ScopedWipe wipeRemote(remote);
    RegisterSecret(SftpLocation(remote).password);
    const auto begin = std::chrono::steady_clock::now();
    TransferredFile file;
    file.name = fileName;
    file.localPath = localPath;
    TransferListener().OnFileBegun(file.name);
    const auto report = [&] {
        const auto duration = std::chrono::steady_clock::now() - begin;
        file.milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
        file.reason = MaskSecrets(Printable(file.reason));
        if (!file.complete)
            LogLine("TOSSpecific::sFTPFileFromORX - '" + Printable(file.name) +
                    "' was not copied, " + file.reason);
        ReportFileDone(file);
    };
    try {
        file.complete = Copy(remote, file);
        report();
    } catch (const TVXAException& lost) {
        if (file.reason.empty())
            file.reason = lost.what();
        // The next copy begins with a connection of its own, or finds at once that nobody is there.
        Kept().connection.reset();
        report();
        throw;
    }
    return file.complete;
}

} // namespace NORXVXA20
