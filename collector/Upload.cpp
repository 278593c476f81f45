#include "collector/Upload.h"

#include "backends/vxacore/CoreLog.h"
#include "collector/ExitCodes.h"
#include "collector/Password.h"
#include "common/Wipe.h"
#include "net/Upload.h"
#include "osdep/VXAOSDep.h"

#include <iostream>
#include <optional>

using NORXVXA20::VXAOSDep;

namespace {

int Refuse(const std::string& reason)
{
    std::cerr << "ffdc-collect: " + reason + "\n" << std::flush;
    return kNotStarted;
}

int Upload(const Options& options, const std::string& server)
{
    const bool sent = options.toService
                          ? UploadFileToORX(options.file, !options.yes, nullptr, 0)
                          : UploadFile(options.file, server, false, !options.yes, nullptr, 0);
    NORXVXA20::CloseCoreLog();
    return sent ? kEverythingIsHere : kNothingUsable;
}

} // namespace

int RunUpload(const Options& options)
{
    const std::size_t at = options.ftpServer.rfind('@');
    if (at != std::string::npos && options.ftpServer.find(':') < at)
        return Refuse("no password on the command line, where others can read it; name a file "
                      "with --password-file");
    if (!VXAOSDep::FileExists(options.file))
        return Refuse("there is no file " + options.file);
    std::string password;
    const ScopedWipe wipePassword(password);
    if (!options.passwordFile.empty()) {
        if (at == std::string::npos)
            return Refuse("a password needs a user: --ftp USER@HOST");
        std::optional<std::string> given = ReadPassword(options.passwordFile);
        if (!given)
            return Refuse("no password in " + options.passwordFile);
        password.swap(*given);
        NORXVXA20::RegisterSecret(password);
    }
    if (!options.log.empty() && !NORXVXA20::OpenCoreLog(options.log))
        return Refuse("cannot write the log file " + options.log);
    std::string server = options.ftpServer;
    const ScopedWipe wipeServer(server);
    if (at != std::string::npos)
        server.insert(at, ":" + password);
    return Upload(options, server);
}
