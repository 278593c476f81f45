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
#include <optional>
#include <sstream>

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr std::size_t kMebibyte = 1024 * 1024;
constexpr std::size_t kBig = 64 * kMebibyte; // long enough on its way to be stopped there
constexpr std::chrono::seconds kPatience{150};

std::string Variable(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
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

const std::string& BigPattern()
{
    static const std::string bytes = Pattern(kBig);
    return bytes;
}

std::vector<std::string> LinesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream all(text);
    for (std::string line; std::getline(all, line);)
        lines.push_back(line);
    return lines;
}

// A small file system of its own, gone with the object. Needs root.
class Mount {
public:
    Mount(std::string path, unsigned long flags, const char* options) : m_path(std::move(path))
    {
        fs::create_directories(m_path);
        m_good = ::mount("tmpfs", m_path.c_str(), "tmpfs", flags, options) == 0;
    }
    Mount(const Mount&) = delete;
    Mount& operator=(const Mount&) = delete;
    ~Mount()
    {
        if (m_good)
            ::umount2(m_path.c_str(), MNT_DETACH);
    }
    explicit operator bool() const { return m_good; }

private:
    std::string m_path;
    bool m_good = false;
};

// The shipped program, a BMC and a file server as a service processor has them. After each test
// neither the log nor what was printed holds the password, and nothing runs on.
class ServiceProcessorRoad : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        if (Variable("SP_CONTROL").empty()) {
            std::cerr << "this test needs simulators/sandbox.sh around it\n";
            std::exit(EXIT_FAILURE);
        }
    }

    void SetUp() override
    {
        Empty();
        Control("ffdc reset");
        Control("ffdc polls 0");
        Control("ffdc credentials " + m_credentials);
        std::ifstream credentials(m_credentials);
        std::getline(credentials, m_user);
        std::getline(credentials, m_password);
        ASSERT_GE(m_password.size(), 8u);
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

    // Serves a file.
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
        return std::make_unique<TestedProgram>(TestedProgram::Words("ffdc-collect", arguments),
                                               environment, m_scratch.Path(), m_scratch.Path());
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

    // Runs until some of a big file has arrived and the server has been paused.
    std::unique_ptr<TestedProgram>
    StartAndPauseInside(const std::string& name,
                        std::map<std::string, std::string> environment = {})
    {
        auto run = Start(std::move(environment));
        const fs::path part = m_out + "/" + name + ".part";
        EXPECT_TRUE(WaitUntil(
            [&] {
                std::error_code error;
                const auto size = fs::file_size(part, error);
                return !error && size > kMebibyte;
            },
            kPatience))
            << run->Errors();
        PauseServer();
        return run;
    }

    bool IsCopied(const std::string& name) const
    {
        return fs::exists(m_out + "/" + name) &&
               ContentsOf(m_out + "/" + name) == ContentsOf(m_served + "/" + name);
    }

    const TemporaryDirectory m_scratch;
    const std::string m_out = m_scratch / "new/out";
    const std::string m_served = Variable("SP_SERVED");
    const std::string m_credentials = Variable("SP_STATE") + "/credentials";
    std::string m_user;
    std::string m_password;
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

    int equal = 0;
    std::vector<std::string> announced;
    for (const fs::directory_entry& entry : fs::directory_iterator(m_served)) {
        const std::string name = entry.path().filename();
        equal += IsCopied(name);
        announced.push_back("Captured QMM FFDC data: " + m_out + "/" + name);
    }
    EXPECT_EQ(equal, kFiles);
    EXPECT_EQ(std::distance(fs::directory_iterator(m_out), fs::directory_iterator()), kFiles);
    std::vector<std::string> lines = LinesOf(run->Output());
    ASSERT_GT(lines.size(), 2u);
    EXPECT_EQ(lines[0], "Running QMM FFDC(First Failure Data Capture) collection.");
    EXPECT_EQ(lines[1], "In progress.");
    lines.erase(lines.begin(), lines.begin() + 2);
    EXPECT_THAT(lines, testing::UnorderedElementsAreArray(announced));
    EXPECT_THAT(run->Errors(), EndsWith("300 of 300 files collected into " + m_out + "\n"));
    EXPECT_THAT(ContentsOf(m_scratch / "core.log"), HasSubstr("Exiting TQMMFFDC::Capture()."));
}

TEST_F(ServiceProcessorRoad, LinksAreUpForTheCollectionAndDownAgain)
{
    Serve("a", "1");
    const std::string stubs = fs::current_path() / "stubs/whole"; // node 0 is up, node 1 down
    const auto run = Start({TestedProgram::LibrariesFrom(stubs)}, {"--usb-lan", "restore"});
    EXPECT_EQ(run->Wait(kPatience), 0) << run->Errors();
    EXPECT_THAT(run->Output(), StartsWith("up 1\nRunning QMM FFDC"));
    EXPECT_THAT(run->Output(), HasSubstr("/a\ndown 1\n"));
    EXPECT_THAT(run->Errors(), StartsWith("ffdc-collect: LAN over USB, node 1: was disabled, now "
                                          "enabled\n"));
    EXPECT_THAT(run->Errors(), EndsWith("ffdc-collect: LAN over USB, node 1: now disabled\n"
                                        "ffdc-collect: 1 of 1 files collected into " +
                                        m_out + "\n"));
}

TEST_F(ServiceProcessorRoad, EmptyDirectoryIsNoFailure)
{
    const auto run = Start();
    EXPECT_EQ(run->Wait(kPatience), 0);
    EXPECT_THAT(run->Errors(), HasSubstr("has no FFDC files"));
}

TEST_F(ServiceProcessorRoad, RefusedFileAndHostileNamesAreNamedAndTheOthersArrive)
{
    Serve("first", "1");
    Serve("refused", "2");
    ::chmod((m_served + "/refused").c_str(), 0);
    Serve("last", "3");
    Serve(" blanks around ", "4");
    Serve("   ", "5");
    Serve(".hidden", "6");
    Serve("ctl\x1b[2J\x01", "7");
    Serve("back\\..\\slash", "8");
    Serve(std::string(255, 'l'), "9"); // no room for a longer name beside it
    fs::create_directory(m_served + "/folder");

    const auto run = Start();
    EXPECT_EQ(run->Wait(kPatience), 3);
    EXPECT_TRUE(IsCopied("first"));
    EXPECT_TRUE(IsCopied("last"));
    const std::string errors = run->Errors();
    for (const char* name : {"\"refused\": ", "\" blanks around \": ", "\"   \": ", "\"folder\": "})
        EXPECT_THAT(errors, HasSubstr(std::string("missing: ") + name));
    EXPECT_THAT(errors, Not(HasSubstr("\x1b")));
    // Whatever became of the others, what is there is right, and what is not there has been named.
    const std::pair<std::string, std::string> doubtful[] = {
        {"ctl\x1b[2J\x01", "\"ctl\\x1b[2J\\x01\": "},
        {"back\\..\\slash", "\"back\\..\\slash\": "},
        {std::string(255, 'l'), "\"" + std::string(255, 'l') + "\": "}};
    std::ptrdiff_t copied = 2;
    for (const auto& [name, shown] : doubtful) {
        const bool isMissing = errors.find("missing: " + shown) != std::string::npos;
        EXPECT_NE(IsCopied(name), isMissing) << shown;
        copied += isMissing ? 0 : 1;
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(m_out), fs::directory_iterator()), copied);
}

TEST_F(ServiceProcessorRoad, ServerKilledInMidFileAndBackAgain)
{
    Serve("big.bin", BigPattern());
    const auto run = StartAndPauseInside("big.bin");
    Control("sshd kill");
    Control("sshd start");
    EXPECT_EQ(run->Wait(kPatience), 0) << run->Errors();
    EXPECT_TRUE(IsCopied("big.bin"));
    EXPECT_THAT(run->Errors(), HasSubstr(" tries, "));
}

TEST_F(ServiceProcessorRoad, ServerThatStopsAnsweringEndsWithinTheLimit)
{
    Serve("big.bin", BigPattern());
    const auto run = StartAndPauseInside("big.bin", {{"VXA_STALL_SECONDS", "4"}});
    const int code = run->Wait(std::chrono::seconds(14));
    EXPECT_EQ(code, 1) << run->Errors();
    EXPECT_FALSE(fs::exists(m_out + "/big.bin"));
    EXPECT_THAT(run->Output(), EndsWith("Failed transfering QMM FFDC data files.\n"));
    EXPECT_THAT(run->Errors(), HasSubstr("missing: \"big.bin\": "));
}

TEST_F(ServiceProcessorRoad, WrongPassword)
{
    Serve("a", "1");
    m_password = "canary-4711-wrong";
    Control("ffdc credentials " +
            m_scratch.Write("credentials", m_user + "\n" + m_password + "\n"));
    const auto run = Start();
    EXPECT_EQ(run->Wait(kPatience), 1);
    EXPECT_THAT(run->Output(), EndsWith("Failed getting QMM FFDC data files.\n"));
    EXPECT_THAT(run->Errors(), HasSubstr("no files collected into " + m_out));
}

TEST_F(ServiceProcessorRoad, RefusalsOfTheServiceProcessorAreFailures)
{
    Serve("a", "1");
    const std::string begun = "Running QMM FFDC(First Failure Data Capture) collection.\n";
    const std::pair<const char*, std::string> cases[] = {
        {"ffdc cc 0x49 0xc1", begun + "Failed collecting QMM FFDC data.\n"},
        {"ffdc cc 0x4d 0xc0", begun + "In progress."},
        {"ffdc cc 0x79 0xd4", begun + "In progress.\nFailed getting QMM credential.\n"},
        {"ffdc data 0x79 250 0x41", begun + "In progress.\nFailed getting QMM credential.\n"},
    };
    for (const auto& [fault, output] : cases) {
        SCOPED_TRACE(fault);
        Control("ffdc reset");
        Control("ffdc polls 0");
        Control(fault);
        std::remove((m_scratch / "stdout").c_str());
        const auto run = Start();
        EXPECT_EQ(run->Wait(kPatience), 1);
        EXPECT_EQ(run->Output(), output);
    }
}

TEST_F(ServiceProcessorRoad, InterruptedInMidFile)
{
    Serve("big.bin", BigPattern());
    const auto run = StartAndPauseInside("big.bin");
    run->Signal(SIGINT);
    EXPECT_EQ(run->Wait(std::chrono::seconds(5)), 130) << run->Errors();
    EXPECT_FALSE(fs::exists(m_out + "/big.bin"));
    EXPECT_THAT(run->Errors(), HasSubstr("missing: \"big.bin\": ended after "));
    EXPECT_THAT(CommandLinesWith("ffdc-collect"), testing::IsEmpty());
}

TEST_F(ServiceProcessorRoad, KilledParentLeavesNothingRunning)
{
    Serve("big.bin", BigPattern());
    const auto run = StartAndPauseInside("big.bin");
    run->Signal(SIGKILL);
    EXPECT_EQ(run->Wait(kPatience), -SIGKILL);
    EXPECT_TRUE(WaitUntil([] { return CommandLinesWith("ffdc-collect").empty(); },
                          std::chrono::seconds(5)));
    EXPECT_FALSE(fs::exists(m_out + "/big.bin"));
}

TEST_F(ServiceProcessorRoad, FullDiskCostsOnlyTheFileThatDoesNotFit)
{
    const Mount disk(m_out, 0, "size=4m");
    if (!disk)
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
}

TEST_F(ServiceProcessorRoad, MissingRequirementsAreFoundBeforeAnythingStarts)
{
    {
        const auto run = Start({{"VXA_IPMI_SIMULATOR", "127.0.0.1:1"}});
        EXPECT_EQ(run->Wait(kPatience), 2);
        EXPECT_THAT(run->Errors(), HasSubstr("no way to the service processor: "));
    }
    // Somebody else's key under the server's name.
    const std::string known = ContentsOf(Variable("SP_STATE") + "/known_hosts");
    const std::string other = m_scratch / "other";
    ASSERT_EQ(std::system(("ssh-keygen -q -t ed25519 -N '' -f " + other).c_str()), 0);
    const std::string keys = known.substr(0, known.find(' ') + 1) + ContentsOf(other + ".pub");
    {
        const auto run = Start({{"VXA_KNOWN_HOSTS", m_scratch.Write("keys", keys)}});
        EXPECT_EQ(run->Wait(kPatience), 2);
        EXPECT_THAT(run->Errors(), HasSubstr("file server is not trusted: "));
    }
    const Mount disk(m_out, MS_RDONLY, "size=4m");
    if (disk) {
        const auto run = Start();
        EXPECT_EQ(run->Wait(kPatience), 2);
        const char* const why = TestedProgram::IsForWindows() ? "Permission" : "Read-only";
        EXPECT_THAT(run->Errors(), HasSubstr("cannot write into " + m_out + ": " + why));
    }
    EXPECT_EQ(ContentsOf(m_scratch / "stdout"), "");
}

} // namespace
