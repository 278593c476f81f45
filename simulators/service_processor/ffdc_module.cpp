// A module of OpenIPMI's ipmi_sim: the simulated BMC's answers to the three commands of the OEM
// network function 0x3A with which a service processor's data are collected.
//
// Options (loadlib's second string), separated by blanks:
//   credentials=FILE   file with the user name and the password, one a line
//   polls=N            "not finished" answers before a collection is finished
// Console commands; CMD and bytes in any C notation, an answer to a wrong one begins with "error:
// ":
//   ffdc show                how often each command was seen, and how the collection stands
//   ffdc polls N|never       as the option; never: a collection does not finish
//   ffdc credentials FILE    as the option
//   ffdc cc CMD CODE         completion code of a command (0: success)
//   ffdc data CMD [BYTE...]  answer data of a command (none: its own again)
//   ffdc cut CMD N           cuts the answer data of a command to N bytes
//   ffdc delay CMD MS        answers late; the simulator does nothing else meanwhile
//   ffdc reset               as after the start, all counts 0; the credentials stay
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

extern "C" {
#include <OpenIPMI/mcserv.h>
#include <OpenIPMI/serv.h>
}

namespace {

constexpr unsigned char kOemNetworkFunction = 0x3a;
constexpr unsigned char kCollect = 0x49;
constexpr unsigned char kIsFinished = 0x4d;
constexpr unsigned char kGetCredential = 0x79;
constexpr unsigned char kCommands[] = {kCollect, kIsFinished, kGetCredential};

constexpr unsigned char kBadLength = 0xc7;
constexpr unsigned char kTooMuchData = 0xc8;
constexpr unsigned char kBadData = 0xcc;

// The simulator's answer room is 36 bytes with the completion code; the lengths take two.
constexpr std::size_t kCredentialRoom = 33;

struct Answer {
    unsigned code = 0;
    std::vector<unsigned char> data; // empty: the command's own
    std::optional<unsigned> cut;
    unsigned delayMs = 0;
    unsigned seen = 0;
};

struct ServiceProcessor {
    std::string user;
    std::string password;
    unsigned configuredPolls = 2;
    std::optional<unsigned> polls = 2; // none: never finished
    unsigned polled = 0;
    bool collecting = false;
    std::array<Answer, 256> answers;
};

ServiceProcessor& TheServiceProcessor()
{
    static ServiceProcessor theOne;
    return theOne;
}

// Takes over what a credentials file says; otherwise says why not and leaves all as it was.
std::string ReadCredentials(const char* path)
{
    std::ifstream file(path);
    std::string user, password;
    if (!std::getline(file, user) || !std::getline(file, password))
        return std::string("no two lines in ") + path;
    if (user.size() + password.size() > kCredentialRoom)
        return "user name and password together hold more than " + std::to_string(kCredentialRoom) +
               " bytes";
    TheServiceProcessor().user = user;
    TheServiceProcessor().password = password;
    return {};
}

void AppendCounted(std::vector<unsigned char>& out, const std::string& text)
{
    out.push_back(static_cast<unsigned char>(text.size()));
    out.insert(out.end(), text.begin(), text.end());
}

// What a service processor does for the command, and its answer data.
std::vector<unsigned char> Perform(unsigned char command)
{
    ServiceProcessor& sp = TheServiceProcessor();
    std::vector<unsigned char> out;
    switch (command) {
    case kCollect:
        sp.collecting = true;
        sp.polled = 0;
        break;
    case kIsFinished:
        out.push_back(sp.collecting && sp.polls && sp.polled >= *sp.polls);
        ++sp.polled;
        break;
    default:
        AppendCounted(out, sp.user);
        AppendCounted(out, sp.password);
    }
    return out;
}

void Handle(lmc_data_t*, msg_t* message, unsigned char* answer, unsigned int* length, void*)
{
    // On entry the length is the room; a byte more would overwrite the simulator's stack.
    const std::size_t room = *length - 1;
    Answer& script = TheServiceProcessor().answers[message->cmd];
    ++script.seen;
    ::usleep(script.delayMs * 1000u);
    *length = 1;
    answer[0] = static_cast<unsigned char>(script.code);
    if (script.code != 0)
        return;
    if (message->len != 1 || message->data[0] != 0x01) {
        answer[0] = message->len != 1 ? kBadLength : kBadData;
        return;
    }
    std::vector<unsigned char> data = Perform(message->cmd);
    if (!script.data.empty())
        data = script.data;
    if (script.cut)
        data.resize(std::min<std::size_t>(data.size(), *script.cut));
    if (data.size() > room) {
        answer[0] = kTooMuchData;
        return;
    }
    std::copy(data.begin(), data.end(), answer + 1);
    *length = static_cast<unsigned>(data.size() + 1);
}

std::optional<unsigned> Number(const char* text)
{
    if (!text || !*text)
        return std::nullopt;
    char* end = nullptr;
    const unsigned long value = std::strtoul(text, &end, 0);
    if (*end != '\0')
        return std::nullopt;
    return static_cast<unsigned>(value);
}

// The words of one console command, in order.
using Words = std::vector<std::string>;

std::string Show()
{
    const ServiceProcessor& sp = TheServiceProcessor();
    char text[128];
    std::snprintf(text, sizeof text, "49=%u 4d=%u 79=%u collecting=%d polled=%u",
                  sp.answers[kCollect].seen, sp.answers[kIsFinished].seen,
                  sp.answers[kGetCredential].seen, sp.collecting, sp.polled);
    return text;
}

void Reset()
{
    ServiceProcessor& sp = TheServiceProcessor();
    sp.answers = {};
    sp.polls = sp.configuredPolls;
    sp.polled = 0;
    sp.collecting = false;
}

bool SetPolls(const std::string& text)
{
    const std::optional<unsigned> count = Number(text.c_str());
    if (count || text == "never")
        TheServiceProcessor().polls = count;
    return count || text == "never";
}

// The verbs that script the answers to one command.
bool Script(const Words& words)
{
    std::vector<unsigned> numbers;
    for (std::size_t i = 1; i < words.size(); ++i) {
        const std::optional<unsigned> number = Number(words[i].c_str());
        if (!number)
            return false;
        numbers.push_back(*number);
    }
    if (numbers.empty() || numbers[0] > 0xff)
        return false;
    Answer& script = TheServiceProcessor().answers[numbers[0]];
    if (words[0] == "data") {
        script.data.assign(numbers.begin() + 1, numbers.end());
        return true;
    }
    if (numbers.size() != 2)
        return false;
    if (words[0] == "cc")
        script.code = numbers[1];
    else if (words[0] == "cut")
        script.cut = numbers[1];
    else if (words[0] == "delay")
        script.delayMs = numbers[1];
    else
        return false;
    return true;
}

// The answer to a console command; empty when it was obeyed and has nothing to say.
std::string Obey(const Words& words)
{
    if (words == Words{"show"})
        return Show();
    if (words == Words{"reset"}) {
        Reset();
        return {};
    }
    if (words.size() == 2 && words[0] == "credentials") {
        const std::string fault = ReadCredentials(words[1].c_str());
        return fault.empty() ? fault : "error: " + fault;
    }
    const bool obeyed =
        !words.empty() &&
        (words[0] == "polls" ? words.size() == 2 && SetPolls(words[1]) : Script(words));
    return obeyed ? "" : "error: not understood";
}

int Console(emu_out_t* out, emu_data_t*, lmc_data_t*, char** tokens)
{
    Words words;
    while (const char* word = ::strtok_r(nullptr, " \t\r\n", tokens))
        words.push_back(word);
    const std::string answer = Obey(words);
    if (!answer.empty())
        out->eprintf(out, const_cast<char*>("%s\n"), answer.c_str());
    return 0;
}

// Takes one option; says what is wrong with it.
std::string TakeOption(const std::string& option)
{
    const std::size_t equals = std::min(option.find('='), option.size());
    const std::string key = option.substr(0, equals);
    const std::string value = option.substr(std::min(equals + 1, option.size()));
    const std::optional<unsigned> number = Number(value.c_str());
    if (key == "credentials")
        return ReadCredentials(value.c_str());
    if (key != "polls" || !number)
        return "unknown option " + key;
    TheServiceProcessor().configuredPolls = *number;
    TheServiceProcessor().polls = number;
    return {};
}

} // namespace

extern "C" int ipmi_sim_module_print_version(sys_data_t*, char*)
{
    std::puts("ffdc module 1");
    return 0;
}

extern "C" int ipmi_sim_module_init(sys_data_t*, const char* options)
{
    std::string text = options ? options : "";
    char* rest = nullptr;
    for (const char* option = ::strtok_r(text.data(), " ", &rest); option;
         option = ::strtok_r(nullptr, " ", &rest)) {
        const std::string fault = TakeOption(option);
        if (!fault.empty()) {
            std::fprintf(stderr, "ffdc module: %s\n", fault.c_str());
            return EINVAL;
        }
    }
    for (const unsigned char command : kCommands)
        if (const int error =
                ipmi_emu_register_cmd_handler(kOemNetworkFunction, command, Handle, nullptr))
            return error;
    return ipmi_emu_add_cmd("ffdc", NOMC, Console);
}
