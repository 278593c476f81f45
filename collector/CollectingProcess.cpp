#include "collector/CollectingProcess.h"

#include "backends/vxacore/CoreLog.h"
#include "backends/vxacore/TransferRecord.h"
#include "collector/Event.h"
#include "collector/ServiceProcessor.h"

#include <cstdlib>
#include <iostream>

using NORXVXA20::TransferredFile;

namespace {

// Turns what the core library tells into events.
class Reporter : public NORXVXA20::ITransferListener {
public:
    explicit Reporter(EventChannel& channel) : m_channel(channel) {}

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
    void End(bool good)
    {
        Event event;
        event.kind = Event::Kind::kEnded;
        event.good = good;
        Send(event);
    }

private:
    void Send(const Event& event) { m_channel.Write(EncodeEvent(event)); }

    EventChannel& m_channel;
};

} // namespace

ChildCommand CollectingProcess(const Options& options, std::chrono::milliseconds silence)
{
    ChildCommand command;
    // One word each: a value that begins with a dash is no option.
    command.arguments = {kChildCommand, "--out=" + options.out};
    if (!options.log.empty())
        command.arguments.push_back("--log=" + options.log);
    command.silence = silence;
    return command;
}

int RunCollectingProcess(const Options& options)
{
    EventChannel channel(options.events);
    Reporter reporter(channel);
    // The first sign of life ends a process whose parent has gone in the meantime.
    reporter.OnAlive();
    if (!options.log.empty() && !NORXVXA20::OpenCoreLog(options.log)) {
        reporter.Refuse("cannot write the log file " + options.log);
        return EXIT_FAILURE;
    }
    NORXVXA20::SetTransferListener(&reporter);
    const bool good = CaptureServiceProcessor(options.out);
    NORXVXA20::SetTransferListener(nullptr);
    std::cout.flush();
    reporter.End(good);
    NORXVXA20::EndTransfers();
    NORXVXA20::CloseCoreLog();
    return good ? EXIT_SUCCESS : EXIT_FAILURE;
}
