#include "collector/CollectingProcess.h"

#include "backends/vxacore/CoreLog.h"
#include "backends/vxacore/TransferRecord.h"
#include "collector/Archive.h"
#include "collector/Chassis.h"
#include "collector/Event.h"
#include "collector/ServiceProcessor.h"
#include "common/Wipe.h"

#include <cstdlib>
#include <iostream>
#include <iterator>

using NORXVXA20::TransferredFile;

namespace {

// Turns what the core library tells into events.
class Reporter : public NORXVXA20::ITransferListener {
public:
    Reporter(EventChannel& channel, const std::string& keepDirectory)
        : m_channel(channel), m_keepDirectory(keepDirectory)
    {}

    void OnNamesListed(const std::vector<std::string>& names) override
    {
        Event event;
        event.kind = Event::Kind::kListed;
        event.names = names;
        Send(event);
    }
    void OnFileBegun(const std::string& name) override
    {
        Event event;
        event.kind = Event::Kind::kBegun;
        event.file.name = name;
        Send(event);
    }
    void OnBytes(const std::string& name, std::int64_t received, std::int64_t expected) override
    {
        Event event;
        event.kind = Event::Kind::kBytes;
        event.file.name = name;
        event.file.receivedBytes = received;
        event.file.expectedBytes = expected;
        Send(event);
    }
    void OnFileDone(const TransferredFile& file) override
    {
        // Here and now: the library may take the file away as soon as this returns.
        if (file.complete && !m_keepDirectory.empty())
            KeepArrived(file.localPath, m_keepDirectory);
        Event event;
        event.kind = Event::Kind::kDone;
        event.file = file;
        Send(event);
    }
    void OnAlive() override { Send(Event()); }

    void Refuse(const std::string& reason)
    {
        Event event;
        event.kind = Event::Kind::kRefused;
        event.text = reason;
        Send(event);
    }
    void End(bool good, const std::string& text)
    {
        Event event;
        event.kind = Event::Kind::kEnded;
        event.good = good;
        event.text = text;
        Send(event);
    }

private:
    void Send(const Event& event) { m_channel.Write(EncodeEvent(event)); }

    EventChannel& m_channel;
    std::string m_keepDirectory;
};

// Makes the call that the options ask for.
ChassisResult MakeCall(const Options& options)
{
    if (options.host.empty())
        return {CaptureServiceProcessor(options.out), ""};
    ChassisAccess access{options.host, options.user, "", options.port};
    const ScopedWipe wipe(access.password);
    access.password.assign(std::istreambuf_iterator<char>(std::cin), {});
    return CollectChassis(access, options.out);
}

} // namespace

ChildCommand CollectingProcess(const Options& options, const std::string& password,
                               std::chrono::milliseconds silence)
{
    ChildCommand command;
    // One word each: a value that begins with a dash is no option.
    command.arguments = {kChildCommand, "--out=" + options.out};
    if (!options.log.empty())
        command.arguments.push_back("--log=" + options.log);
    if (options.command == Options::Command::kChassis) {
        for (const std::string& word :
             {"--host=" + options.host, "--user=" + options.user, "--keep=" + options.keep})
            command.arguments.push_back(word);
        if (options.port != 0)
            command.arguments.push_back("--port=" + std::to_string(options.port));
        command.input = password;
    }
    command.silence = silence;
    return command;
}

int RunCollectingProcess(const Options& options)
{
    EventChannel channel(options.events);
    Reporter reporter(channel, options.keep);
    // The first sign of life ends a process whose parent has gone in the meantime.
    reporter.OnAlive();
    if (!options.log.empty() && !NORXVXA20::OpenCoreLog(options.log)) {
        reporter.Refuse("cannot write the log file " + options.log);
        return EXIT_FAILURE;
    }
    NORXVXA20::SetTransferListener(&reporter);
    const ChassisResult result = MakeCall(options);
    NORXVXA20::SetTransferListener(nullptr);
    std::cout.flush();
    reporter.End(result.good, result.text);
    NORXVXA20::EndTransfers();
    NORXVXA20::CloseCoreLog();
    return result.good ? EXIT_SUCCESS : EXIT_FAILURE;
}
