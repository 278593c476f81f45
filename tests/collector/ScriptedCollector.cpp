// The collector with a scripted library call: both processes are the real ones, COLLECTOR_SCRIPT
// says what the call does and COLLECTOR_SILENCE_MS how long it may be silent.
#include "backends/vxacore/CoreLog.h"
#include "backends/vxacore/TransferRecord.h"
#include "collector/Chassis.h"
#include "collector/Collector.h"
#include "collector/ServiceProcessor.h"
#include "collector/Upload.h"
#include "osdep/Process.h"
#include "osdep/VXAOSDep.h"
#include "tests/programs/Child.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>

using namespace NORXVXA20;

namespace {

ITransferListener* gListener = nullptr;
std::string gDirectory;
RunningProcess* gLeft = nullptr; // never ended from here

void Pause(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

void Deliver(const std::string& name, const std::string& contents)
{
    TransferredFile file;
    file.name = name;
    file.localPath = gDirectory + VXAOSDep::gFileSeparator + name;
    file.expectedBytes = file.receivedBytes = static_cast<std::int64_t>(contents.size());
    file.tries = 1;
    file.complete = true;
    file.sha256 = "00ff";
    std::ofstream(file.localPath, std::ios::binary) << contents;
    gListener->OnFileBegun(name);
    gListener->OnFileDone(file);
}

// Without the sanitizers' report.
[[gnu::no_sanitize("address", "undefined")]] void Crash()
{
    std::signal(SIGSEGV, SIG_DFL);
    volatile int* volatile nowhere = nullptr;
    *nowhere = 0;
}

// One step of a script: a word and, for some, a value behind a colon.
void Step(const std::string& word, const std::string& value)
{
    if (word == "list") {
        std::vector<std::string> names;
        std::istringstream all(value);
        for (std::string name; std::getline(all, name, ',');)
            names.push_back(name);
        gListener->OnNamesListed(names);
    } else if (word == "deliver") {
        Deliver(value, "contents of " + value);
    } else if (word == "begin") {
        gListener->OnFileBegun(value);
        gListener->OnBytes(value, 10, 100);
    } else if (word == "print") {
        std::cout << value << std::flush;
    } else if (word == "flood") { // so many KiB
        std::cout << std::string(std::stoul(value) * 1024, 'x') << std::flush;
    } else if (word == "pause") {
        Pause(std::atoi(value.c_str()));
    } else if (word == "alive") {
        for (int left = std::atoi(value.c_str()); left > 0; left -= 100) {
            gListener->OnAlive();
            Pause(100);
        }
    } else if (word == "leave") { // a program of the library's, in a group of its own
        gLeft =
            new RunningProcess(StartProcess(kTestChild + (" silent 600000 " + gDirectory), true));
    } else if (word == "ignore") {
        std::signal(SIGTERM, SIG_IGN);
    } else if (word == "crash") {
        Crash();
    } else if (word == "exit") {
        std::_Exit(std::atoi(value.c_str()));
    } else {
        std::cerr << "unknown step " << word << "\n";
        std::_Exit(99);
    }
}

} // namespace

// What else the program can do is tested with the real one.
std::string FindChassisFault()
{
    return "";
}
ChassisResult CollectChassis(const ChassisAccess&, const std::string&)
{
    return {};
}
int RunUpload(const Options&)
{
    return 99;
}

std::string FindServiceProcessorFault()
{
    const char* fault = std::getenv("COLLECTOR_FAULT");
    return fault != nullptr ? fault : "";
}

bool CaptureServiceProcessor(const std::string& directory)
{
    gDirectory = directory;
    std::istringstream script(std::getenv("COLLECTOR_SCRIPT"));
    for (std::string step; std::getline(script, step, ';');) {
        const std::size_t colon = step.find(':');
        Step(step.substr(0, colon), colon == std::string::npos ? "" : step.substr(colon + 1));
    }
    return true;
}

namespace NORXVXA20 {

void SetTransferListener(ITransferListener* listener)
{
    gListener = listener;
}
void EndTransfers() {}
bool OpenCoreLog(const std::string& path, int)
{
    return std::ofstream(path, std::ios::app).good();
}
void CloseCoreLog() {}

} // namespace NORXVXA20

int main(int argc, char** argv)
{
    const char* silence = std::getenv("COLLECTOR_SILENCE_MS");
    return silence == nullptr
               ? RunCollector(argc, argv)
               : RunCollector(argc, argv, std::chrono::milliseconds(std::atoi(silence)));
}
