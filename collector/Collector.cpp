#include "collector/Collector.h"

#include "backends/vxacore/CoreLog.h"
#include "collector/Archive.h"
#include "collector/Chassis.h"
#include "collector/ChildProcess.h"
#include "collector/CollectingProcess.h"
#include "collector/ExitCodes.h"
#include "collector/Ledger.h"
#include "collector/LookAhead.h"
#include "collector/Options.h"
#include "collector/Password.h"
#include "collector/Paths.h"
#include "collector/ServiceProcessor.h"
#include "collector/Upload.h"
#include "collector/UsbLinks.h"
#include "common/Wipe.h"
#include "osdep/VXAOSDep.h"

#include <cstdlib>
#include <iostream>
#include <optional>
#include <utility>

using NORXVXA20::TransferredFile;
using NORXVXA20::VXAOSDep;

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kProgressEvery{1};

void Say(const std::string& text)
{
    // One call a line: the child may write there too.
    std::cerr << "ffdc-collect: " + text + "\n" << std::flush;
}

// Says what becomes of each file, for --verbose.
class Progress {
public:
    void Show(const Event& event)
    {
        const std::string name = Quoted(event.file.name);
        switch (event.kind) {
        case Event::Kind::kListed:
            Say(std::to_string(event.names.size()) + " names listed");
            break;
        case Event::Kind::kBegun:
            m_shown = Clock::now();
            Say(name + ": begun");
            break;
        case Event::Kind::kBytes:
            if (Clock::now() - m_shown < kProgressEvery)
                break;
            m_shown = Clock::now();
            Say(name + ": " + Bytes(event.file));
            break;
        case Event::Kind::kDone:
            ShowDone(name, event.file);
            break;
        default:
            break;
        }
    }

private:
    static std::string Bytes(const TransferredFile& file)
    {
        const std::string received = std::to_string(file.receivedBytes);
        return file.expectedBytes < 0
                   ? received + " bytes"
                   : received + " of " + std::to_string(file.expectedBytes) + " bytes";
    }

    static void ShowDone(const std::string& name, const TransferredFile& file)
    {
        const std::string tries =
            std::to_string(file.tries) +
            (file.tries == 1 ? " try"
                             : " tries, the last from byte " + std::to_string(file.startByte));
        const std::string time = std::to_string(file.milliseconds) + " ms";
        Say(name + ": " + (file.complete ? "done, " : "not copied, ") + Bytes(file) + ", " + tries +
            ", " + time + (file.complete ? ", SHA-256 " + file.sha256 : ", " + file.reason));
    }

    Clock::time_point m_shown;
};

// Says what speaks against beginning, or for caution; false when it is no use to begin.
bool IsGood(const Finding& finding)
{
    if (!finding.warning.empty())
        Say(finding.warning);
    if (!finding.refusal.empty())
        Say(finding.refusal);
    return finding.refusal.empty();
}

std::int64_t SizeOnDisk(const std::string& path)
{
    return VXAOSDep::FileExists(path) ? static_cast<std::int64_t>(VXAOSDep::GetFileSize(path)) : -1;
}

// The child's log file, for the short times in which the parent has something to log.
std::string LogPath(const Options& options)
{
    const char* const path = std::getenv("VXA_LOG_FILE");
    return options.log.empty() && path != nullptr ? path : options.log;
}

// Runs the collecting process to its end, whatever that is.
ChildEnd Watch(const Options& options, const std::string& password, Ledger& ledger,
               std::chrono::milliseconds silence)
{
    // A log that the environment asks for belongs to the child alone from here on.
    NORXVXA20::CloseCoreLog();
    Progress progress;
    return RunChild(CollectingProcess(options, password, silence), [&](const std::string& line) {
        const std::optional<Event> event = DecodeEvent(line);
        if (!event)
            return;
        ledger.Take(*event);
        if (options.verbose)
            progress.Show(*event);
    });
}

int Collect(const Options& options, std::chrono::milliseconds silence)
{
    OpenStandardStreams();
    if (!IsGood(PrepareDirectory(options.out)))
        return kNotStarted;
    // Links that are up must go down again, so from then on a signal has to wait for its turn.
    const bool hasLinks = !options.usbLan.empty();
    if (hasLinks)
        CatchStopRequests();
    std::optional<UsbLinks> links(std::in_place, options.usbLan, LogPath(options), Say);
    if (!IsGood({FindServiceProcessorFault(), ""}))
        return kNotStarted;
    if (!hasLinks)
        CatchStopRequests();

    Ledger ledger;
    const ChildEnd end = Watch(options, "", ledger, silence);
    links.reset();
    const Outcome outcome = Conclude(ledger, end, options.out, silence, SizeOnDisk);
    for (const std::string& line : outcome.lines)
        Say(line);
    return outcome.exitCode;
}

// The password from where the options say, else from the user; nothing when there is none.
std::optional<std::string> ChassisPassword(const Options& options)
{
    if (!options.passwordFile.empty())
        return ReadPassword(options.passwordFile);
    if (const char* const value = std::getenv("FFDC_CHASSIS_PASSWORD"))
        return value;
    return AskPassword("Password of " + options.user + " at " + options.host + ": ");
}

// Tests the archive and says what became of it. Returns whether what arrived is safely in it.
bool JudgeArchive(const Ledger& ledger, const std::string& keepDirectory)
{
    if (!ledger.returned.value_or(false)) {
        if (!ledger.returnedText.empty())
            Say("the collection failed: " + ledger.returnedText);
        return false;
    }
    const std::string fault = FindArchiveFault(ledger.returnedText, keepDirectory);
    Say("the archive is " + ledger.returnedText + (fault.empty() ? "" : ", but " + fault));
    return fault.empty();
}

int CollectFromChassis(Options options, std::chrono::milliseconds silence)
{
    OpenStandardStreams();
    std::optional<std::string> password = ChassisPassword(options);
    if (!password) {
        Say("no password: neither --password-file nor FFDC_CHASSIS_PASSWORD nor the terminal gives "
            "one");
        return kNotStarted;
    }
    const ScopedWipe wipe(*password);
    if (!IsGood(PrepareDirectory(options.out)) || !IsGood({FindChassisFault(), ""}))
        return kNotStarted;
    options.keep = MakeKeepDirectory(options.out);
    if (options.keep.empty()) {
        Say("cannot create a directory in " + options.out);
        return kNotStarted;
    }

    CatchStopRequests();
    Ledger ledger;
    const ChildEnd end = Watch(options, *password, ledger, silence);
    // What else the chassis manager's directory holds is not ours.
    ledger.listed = std::vector<std::string>();
    const auto keptSize = [&](const std::string& path) {
        return SizeOnDisk(options.keep + VXAOSDep::gFileSeparator +
                          VXAOSDep::GetFileNameFromPath(path));
    };
    const Outcome outcome = Conclude(ledger, end, options.out, silence, keptSize);
    for (const std::string& line : outcome.lines)
        Say(line);

    const std::filesystem::path keep = PathOf(options.keep);
    std::error_code error;
    if (ledger.refused || JudgeArchive(ledger, options.keep) ||
        std::filesystem::is_empty(keep, error)) {
        std::filesystem::remove_all(keep, error);
        return outcome.exitCode;
    }
    Say("what arrived is in " + options.keep);
    return outcome.exitCode == kEverythingIsHere ? kFilesMissing : outcome.exitCode;
}

} // namespace

int RunCollector(int argc, const char* const* argv, std::chrono::milliseconds silence)
{
    int exitCode = 0;
    const std::optional<Options> options = ReadOptions(argc, argv, exitCode);
    if (!options)
        return exitCode;
    if (options->command == Options::Command::kChild)
        return RunCollectingProcess(*options);
    if (options->command == Options::Command::kUpload)
        return RunUpload(*options);
    if (options->command == Options::Command::kChassis)
        return CollectFromChassis(*options, silence);
    return Collect(*options, silence);
}
