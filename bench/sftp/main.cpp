// How long the core library takes for whole copyings over SFTP, as a multiple of what OpenSSH's
// client takes for the same files from the same server. Runs inside the sandbox; see run.sh.
#include "backends/vxacore/TransferRecord.h"
#include "platform/vxacore/TOSSpecific.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

using NORXVXA20::EndTransfers;
using NORXVXA20::ITransferListener;
using NORXVXA20::SetTransferListener;
using NORXVXA20::TOSSpecific;
using NORXVXA20::TransferredFile;
namespace fs = std::filesystem;

namespace {

struct FileSet {
    const char* name;
    int count;
    std::size_t size;
    double goal; // of the ratio
    double worst;
};

constexpr FileSet kSets[] = {
    {"200 files of 16 KiB", 200, 16 * 1024, 0.75, 0.9},
    {"4 files of 64 MiB", 4, 64 * 1024 * 1024, 1.15, 1.3},
};

// With one, the names are listed first, as in every collection.
class SilentListener : public ITransferListener {
public:
    void OnNamesListed(const std::vector<std::string>&) override {}
    void OnFileBegun(const std::string&) override {}
    void OnBytes(const std::string&, std::int64_t, std::int64_t) override {}
    void OnFileDone(const TransferredFile&) override {}
    void OnAlive() override {}
};

std::string Setting(const char* name)
{
    const char* value = std::getenv(name);
    if (value == nullptr)
        throw std::runtime_error(std::string("not in the sandbox: no ") + name);
    return value;
}

std::string FileName(int index)
{
    return "file" + std::to_string(index);
}

void Serve(const FileSet& set)
{
    const fs::path served = Setting("SP_SERVED");
    for (const auto& entry : fs::directory_iterator(served))
        fs::remove_all(entry);
    std::mt19937_64 random(1);
    std::string bytes(set.size, '\0');
    for (int i = 0; i < set.count; ++i) {
        for (char& byte : bytes)
            byte = static_cast<char>(random());
        std::ofstream(served / FileName(i), std::ios::binary) << bytes;
    }
}

int Logins()
{
    std::ifstream log(Setting("SP_WORKDIR") + "/sshd.log");
    int logins = 0;
    for (std::string line; std::getline(log, line);)
        logins += line.compare(0, 17, "Accepted password") == 0 ? 1 : 0;
    return logins;
}

void CopyByLibrary(const FileSet& set, const fs::path& target)
{
    const std::string remote = Setting("SP_USER") + ":" + Setting("SP_PASSWORD") + "@" +
                               Setting("SP_ADDRESS") + ":115/download/ffdc";
    for (int i = 0; i < set.count; ++i)
        TOSSpecific::sFTPFileFromORX(remote, (target / FileName(i)).string(), FileName(i));
    EndTransfers();
}

// The client's files: its batch, the program that it asks for the password, and what it says.
void PrepareClient(const FileSet& set, const fs::path& scratch)
{
    std::ofstream askpass(scratch / "askpass");
    askpass << "#!/bin/sh\nprintf '%s\\n' \"$SP_PASSWORD\"\n";
    askpass.close();
    fs::permissions(scratch / "askpass", fs::perms::owner_all);
    ::setenv("SSH_ASKPASS", (scratch / "askpass").c_str(), 1);
    ::setenv("SSH_ASKPASS_REQUIRE", "force", 1);
    std::ofstream batch(scratch / "batch");
    for (int i = 0; i < set.count; ++i)
        batch << "get download/ffdc/" << FileName(i) << "\n";
}

void CopyByClient(const fs::path& scratch, const fs::path& target)
{
    // A batch forbids to ask for passwords, unless that is allowed before.
    const std::string command =
        "cd '" + target.string() + "' && sftp -q -oBatchMode=no -oUserKnownHostsFile='" +
        Setting("SP_STATE") + "/known_hosts' -oPubkeyAuthentication=no -F none -P 115 -b '" +
        (scratch / "batch").string() + "' " + Setting("SP_USER") + "@" + Setting("SP_ADDRESS") +
        " > '" + (scratch / "client.log").string() + "' 2>&1";
    if (std::system(command.c_str()) != 0)
        throw std::runtime_error("sftp failed, see " + (scratch / "client.log").string());
}

// Seconds that copy takes into an empty target, which must then hold all files.
double Time(const FileSet& set, const fs::path& target, const std::function<void()>& copy)
{
    fs::remove_all(target);
    fs::create_directories(target);
    const auto begin = std::chrono::steady_clock::now();
    copy();
    const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - begin;
    for (int i = 0; i < set.count; ++i) {
        if (fs::file_size(target / FileName(i)) != set.size)
            throw std::runtime_error("file missing or short: " + FileName(i));
    }
    fs::remove_all(target);
    return duration.count();
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

bool Measure(const FileSet& set, int rounds, const fs::path& scratch)
{
    Serve(set);
    PrepareClient(set, scratch);
    const fs::path target = scratch / "target";
    std::vector<double> ours;
    std::vector<double> theirs;
    int logins = 0;
    for (int round = 0; round < rounds; ++round) {
        theirs.push_back(Time(set, target, [&] { CopyByClient(scratch, target); }));
        const int before = Logins();
        ours.push_back(Time(set, target, [&] { CopyByLibrary(set, target); }));
        logins = std::max(logins, Logins() - before);
    }
    const double ratio = Median(ours) / Median(theirs);
    const char* verdict = ratio <= set.goal    ? "goal met"
                          : ratio <= set.worst ? "passable"
                                               : "TOO SLOW";
    std::printf(
        "%-20s library %7.3f s   sftp -b %7.3f s   ratio %.2f (goal %.2f, worst %.2f: %s)   "
        "%d log-in\n",
        set.name, Median(ours), Median(theirs), ratio, set.goal, set.worst, verdict, logins);
    return ratio <= set.worst && logins == 1;
}

} // namespace

int main(int argc, char** argv)
{
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;
    SilentListener listener;
    SetTransferListener(&listener);
    const fs::path scratch =
        fs::temp_directory_path() / ("sftp_bench." + std::to_string(::getpid()));
    fs::create_directories(scratch);
    bool passed = true;
    try {
        for (const FileSet& set : kSets)
            passed = Measure(set, rounds, scratch) && passed;
        fs::remove_all(scratch);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "sftp_bench: %s\n", e.what());
        return 2;
    }
    return passed ? 0 : 1;
}
