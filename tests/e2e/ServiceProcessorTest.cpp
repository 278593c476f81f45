#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TestedProgram.h"

#include <gmock/gmock.h>

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr std::size_t kMebibyte = 1024 * 1024;
constexpr std::chrono::seconds kPatience{150};
const std::string kBegun = "Running QMM FFDC(First Failure Data Capture) collection.\n";

std::string Variable(const char* name)
{
    const char* value = std::getenv(name);
    if (value == nullptr)
        throw std::runtime_error(std::string("not in the sandbox: no ") + name);
    return value;
}

// Bytes in which every position is recognisable.
std::string Pattern(std::size_t size, unsigned seed = 1)
{
    std::string bytes(size, '\0');
    unsigned state = seed;
    for (char& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}

// The shipped program, a BMC and a file server as a service processor has them. After each test
// neither the log nor what was printed holds the password, and nothing runs on.
class ServiceProcessorRoad : public testing::Test {
protected:
    void SetUp() override
    {
        Empty();
        Control("ffdc reset");
        Control("ffdc polls 0");
        Control("ffdc credentials " + Variable("SP_STATE") + "/credentials");
    }

    void TearDown() override
    {
        for (const char* name : {"core.log", "stdout", "stderr"})
            EXPECT_THAT(ContentsOf(m_scratch / name), Not(HasSubstr(m_password))) << name;
        EXPECT_TRUE(WaitUntil([] { return CommandLinesWith("ffdc-collect").empty(); }));
        Control("sshd resume");
        Empty();
    }

    void Empty() const
    {
        for (const fs::directory_entry& entry : fs::directory_iterator(m_served))
            fs::remove_all(entry.path());
    }

    void Serve(const std::string& name, const std::string& contents) const
    {
        std::ofstream file(m_served + "/" + name, std::ios::binary);
        file << contents;
        ASSERT_TRUE(file.flush()) << name;
    }

    std::unique_ptr<TestedProgram> Start(std::map<std::string, std::string> environment = {},
                                         const std::vector<std::string>& more = {})
    {
        environment.emplace("VXA_KNOWN_HOSTS", Variable("SP_STATE") + "/known_hosts");
        std::vector<std::string> arguments = {
            "service-processor", "--verbose", "--out", m_out, "--log", m_scratch / "core.log"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return std::make_unique<TestedProgram>("ffdc-collect", arguments, environment,
                                               m_scratch.Path());
    }

    void Control(const std::string& words)
    {
        const std::string command = Variable("SP_CONTROL") + " " + words + " >/dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0) << words;
    }

    // Stops the file server where it stands.
    void PauseServer()
    {
        if (::geteuid() != 0) {
            Control("sshd pause"); // slower: it looks for the processes first
            return;
        }
        for (const fs::directory_entry& entry : fs::directory_iterator("/proc")) {
            if (ContentsOf(entry.path() / "comm") == "sshd\n")
                ::kill(std::atoi(entry.path().filename().c_str()), SIGSTOP);
        }
    }

    // Runs until some of big.bin has arrived and the server has been paused.
    std::unique_ptr<TestedProgram>
    StartAndPauseInside(const std::map<std::string, std::string>& environment = {})
    {
        Serve("big.bin", Pattern(64 * kMebibyte)); // long enough on its way
        auto run = Start(environment);
        const auto isInside = [&] {
            std::error_code error;
            const auto size = fs::file_size(m_out + "/big.bin.part", error);
            return !error && size > kMebibyte;
        };
        EXPECT_TRUE(WaitUntil(isInside, kPatience)) << run->Errors();
        PauseServer();
        return run;
    }

    bool IsCopied(const std::string& name) const
    {
        return fs::exists(m_out + "/" + name) &&
               ContentsOf(m_out + "/" + name) == ContentsOf(m_served + "/" + name);
    }

    std::ptrdiff_t CountOfCollected() const
    {
        return std::distance(fs::directory_iterator(m_out), fs::directory_iterator());
    }

    const TemporaryDirectory m_scratch;
    const std::string m_out = m_scratch / "new/out";
    const std::string m_served = Variable("SP_SERVED");
    std::string m_password = Variable("SP_PASSWORD");
};

TEST_F(ServiceProcessorRoad, EveryFileArrivesByteForByte)
{
    constexpr int kFiles = 300;
    for (int i = 0; i < kFiles - 4; ++i)
        Serve("ffdc_" + std::to_string(i) + ".bin", Pattern(i * 37, i));
    Serve("event log.txt", "a blank in the name");
    // Windows has no question mark in names.
    Serve(TestedProgram::IsForWindows() ? "%41#&;$(x)'.bin" : "\xc3\xbc%41#?&;$(x)'.bin",
          "characters with a meaning elsewhere");
    Serve(std::string(200, 'n'), "a long name");
    Serve("big.bin", Pattern(5 * kMebibyte + 3));

    const auto run = Start();
    int code = Program::kStillRunning;
    while ((code = run->Wait(std::chrono::milliseconds(20))) == Program::kStillRunning)
        EXPECT_THAT(CommandLinesWith(m_password), testing::IsEmpty());
    ASSERT_EQ(code, 0) << run->Errors();

    const std::string output = run->Output();
    EXPECT_THAT(output, StartsWith(kBegun + "In progress.\n"));
    EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), kFiles + 2);
    int equal = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(m_served)) {
        const std::string name = entry.path().filename();
        equal += IsCopied(name);
        EXPECT_THAT(output, HasSubstr("\nCaptured QMM FFDC data: " + m_out + "/" + name + "\n"));
    }
    EXPECT_EQ(equal, kFiles);
    EXPECT_EQ(CountOfCollected(), kFiles);
    EXPECT_THAT(run->Errors(), EndsWith("300 of 300 files collected into " + m_out + "\n"));
    EXPECT_THAT(ContentsOf(m_scratch / "core.log"), HasSubstr("Exiting TQMMFFDC::Capture()."));
}

TEST_F(ServiceProcessorRoad, LinksAreUpForTheCollectionAndNoFileIsNoFailure)
{
    const std::string stubs = fs::current_path() / "stubs/whole"; // node 0 is up, node 1 down
    const auto run = Start({TestedProgram::LibrariesFrom(stubs)}, {"--usb-lan", "restore"});
    EXPECT_EQ(run->Wait(kPatience), 0) << run->Errors();
    EXPECT_THAT(run->Output(), StartsWith("up 1\n" + kBegun + "In progress.\ndown 1\n"));
    EXPECT_THAT(run->Errors(), StartsWith("ffdc-collect: LAN over USB, node 1: was disabled, now "
                                          "enabled\n"));
    EXPECT_THAT(run->Errors(), EndsWith("ffdc-collect: LAN over USB, node 1: now disabled\n"
                                        "ffdc-collect: the service processor has no FFDC files: "
                                        "nothing to collect\n"));
}

TEST_F(ServiceProcessorRoad, RefusedFileAndHostileNamesAreNamedAndTheOthersArrive)
{
    const std::string longest(255, 'l'); // no room for a longer name beside it
    // Each as it is shown.
    const std::map<std::string, std::string> names = {
        {"first", "first"}, {"refused", "refused"},
        {"last", "last"},   {" blanks around ", " blanks around "},
        {"   ", "   "},     {"ctl\x1b[2J\x01", "ctl\\x1b[2J\\x01"},
        {longest, longest}, {"back\\..\\slash", "back\\..\\slash"},
    };
    for (const auto& [name, shown] : names)
        Serve(name, name);
    Serve(".hidden", "");
    ::chmod((m_served + "/refused").c_str(), 0);
    fs::create_directory(m_served + "/folder");

    const auto run = Start();
    EXPECT_EQ(run->Wait(kPatience), 3);
    const std::string errors = run->Errors();
    for (const char* name : {"refused", " blanks around ", "   ", "folder"})
        EXPECT_THAT(errors, HasSubstr("missing: \"" + std::string(name) + "\": "));
    EXPECT_THAT(errors, Not(HasSubstr("\x1b")));
    EXPECT_TRUE(IsCopied("first"));
    EXPECT_TRUE(IsCopied("last"));
    // Whatever becomes of the others, what is there is right, and what is not has been named.
    std::ptrdiff_t copied = 0;
    for (const auto& [name, shown] : names) {
        const bool isMissing = errors.find("missing: \"" + shown + "\": ") != std::string::npos;
        EXPECT_NE(IsCopied(name), isMissing) << shown;
        copied += isMissing ? 0 : 1;
    }
    EXPECT_EQ(CountOfCollected(), copied);
}

TEST_F(ServiceProcessorRoad, ServerKilledInMidFileAndBackAgain)
{
    const auto run = StartAndPauseInside();
    Control("sshd kill");
    Control("sshd start");
    EXPECT_EQ(run->Wait(kPatience), 0) << run->Errors();
    EXPECT_TRUE(IsCopied("big.bin"));
    EXPECT_THAT(run->Errors(), HasSubstr(" tries, "));
}

TEST_F(ServiceProcessorRoad, ServerThatStopsAnsweringEndsWithinTheLimit)
{
    const auto run = StartAndPauseInside({{"VXA_STALL_SECONDS", "4"}});
    EXPECT_EQ(run->Wait(std::chrono::seconds(14)), 1) << run->Errors();
    EXPECT_FALSE(fs::exists(m_out + "/big.bin"));
    EXPECT_THAT(run->Output(), EndsWith("Failed transfering QMM FFDC data files.\n"));
    EXPECT_THAT(run->Errors(), HasSubstr("missing: \"big.bin\": "));
}

TEST_F(ServiceProcessorRoad, RefusalsAreFailures)
{
    Serve("a", "1");
    const std::string credentials =
        m_scratch.Write("credentials", Variable("SP_USER") + "\ncanary-4711\n");
    const std::pair<std::string, std::string> cases[] = {
        {"ffdc cc 0x79 0xd4", "In progress.\nFailed getting QMM credential.\n"},
        {"ffdc credentials " + credentials, "In progress.\nFailed getting QMM FFDC data files.\n"},
    };
    m_password = "canary-4711";
    for (const auto& [fault, output] : cases) {
        SCOPED_TRACE(fault);
        Control("ffdc reset");
        Control("ffdc polls 0");
        Control(fault);
        const auto run = Start();
        EXPECT_EQ(run->Wait(kPatience), 1);
        EXPECT_EQ(run->Output(), kBegun + output);
        EXPECT_EQ(run->Errors(),
                  "ffdc-collect: the collection failed; the debug log (--log FILE) tells why\n"
                  "ffdc-collect: no files collected into " +
                      m_out + "\n");
    }
}

TEST_F(ServiceProcessorRoad, FullDiskCostsOnlyTheFileThatDoesNotFit)
{
    fs::create_directories(m_out);
    if (::mount("tmpfs", m_out.c_str(), "tmpfs", 0, "size=4m") != 0)
        GTEST_SKIP() << "needs the right to mount";
    Serve("small.bin", Pattern(1000));
    Serve("big.bin", Pattern(8 * kMebibyte));
    Serve("tiny.bin", Pattern(10));
    const auto run = Start();
    EXPECT_EQ(run->Wait(kPatience), 3) << run->Errors();
    // Wine tells the room of the whole drive.
    EXPECT_THAT(run->Errors(),
                StartsWith(TestedProgram::IsForWindows() ? "" : "ffdc-collect: only "));
    EXPECT_THAT(run->Errors(), HasSubstr("missing: \"big.bin\": "));
    EXPECT_FALSE(fs::exists(m_out + "/big.bin"));
    EXPECT_TRUE(IsCopied("small.bin"));
    EXPECT_TRUE(IsCopied("tiny.bin"));
    ::umount2(m_out.c_str(), MNT_DETACH);
}

TEST_F(ServiceProcessorRoad, MissingRequirementsAreFoundBeforeAnythingStarts)
{
    // Somebody else's key under the server's name.
    const std::string known = ContentsOf(Variable("SP_STATE") + "/known_hosts");
    const std::string other = m_scratch / "other";
    ASSERT_EQ(std::system(("ssh-keygen -q -t ed25519 -N '' -f " + other).c_str()), 0);
    const std::string keys = known.substr(0, known.find(' ') + 1) + ContentsOf(other + ".pub");
    const struct {
        const char* variable;
        std::string value;
        const char* refusal;
    } cases[] = {
        {"VXA_IPMI_SIMULATOR", "127.0.0.1:1", "no way to the service processor: "},
        {"VXA_KNOWN_HOSTS", m_scratch.Write("keys", keys), "file server is not trusted: "},
    };
    for (const auto& c : cases) {
        const auto run = Start({{c.variable, c.value}});
        EXPECT_EQ(run->Wait(kPatience), 2);
        EXPECT_EQ(run->Output(), "");
        EXPECT_THAT(run->Errors(), HasSubstr(c.refusal));
    }
}

} // namespace
