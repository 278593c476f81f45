#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

// The two processes: this program starts itself once more, with one channel for events besides the
// standard ones, watches it and ends it with everything that it has started.

struct ChildCommand {
    std::vector<std::string> arguments; // behind the program's name; the event channel is appended
    std::string input;                 // for its standard input; wiped when it has been handed over
    std::chrono::milliseconds silence; // it is ended when nothing has come from it for so long
};

struct ChildEnd {
    enum class Cause {
        kExited,     // number: its exit code
        kCrashed,    // number: the signal or exception that ended it
        kSilent,     // ended by the parent, after the limit
        kSignalled,  // ended by the parent; number: the signal that asked for it
        kNotStarted, // number: the system's error code
    };
    Cause cause = Cause::kNotStarted;
    int number = 0;
};

// Gives a standard stream that the caller has closed a place that swallows everything, or the next
// file or socket would be taken for it. Comes before anything is opened.
void OpenStandardStreams();

// From now on, to the end of the process, a request to stop (SIGINT, SIGTERM, SIGHUP, a console
// event) no longer ends this process: RunChild acts on the first one. A request that was ignored
// when the program started stays ignored.
void CatchStopRequests();

// Starts this program with the command's arguments and waits for its end, at which nothing of it is
// left running. Its standard output is passed on byte for byte as it comes, onEvent gets each
// line of its event channel. CatchStopRequests comes first.
ChildEnd RunChild(ChildCommand command, const std::function<void(const std::string&)>& onEvent);

// What to call the numbers of kCrashed and of kNotStarted.
std::string DescribeCrash(int number);
std::string DescribeError(int number);

// The child's end of the event channel. As soon as it exists the process ends with its parent.
class EventChannel {
public:
    // name is the value of the --events option.
    explicit EventChannel(const std::string& name);
    EventChannel(const EventChannel&) = delete;
    EventChannel& operator=(const EventChannel&) = delete;
    ~EventChannel();

    // Ends the process when nobody reads any more.
    void Write(const std::string& line);

private:
    long long m_handle;
};
