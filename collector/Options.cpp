#include "collector/Options.h"

#include "collector/ExitCodes.h"
#include "collector/Paths.h"

#include <CLI/CLI.hpp>

const char* const kChildCommand = "collecting-process";

namespace {

constexpr const char* kFooter =
    "Exit codes:\n"
    "  0    everything that was listed is here\n"
    "  1    nothing usable was collected\n"
    "  2    wrong arguments or a missing requirement, found before anything was started\n"
    "  3    some of the files are missing; they are named on standard error\n"
    "  130  ended by Ctrl-C (128 + the number of the signal)";

constexpr const char* kUploadFooter = "Exit codes:\n"
                                      "  0    the file has arrived\n"
                                      "  1    it has not, or you have cancelled\n"
                                      "  2    wrong arguments, found before anything was started";

void AddLog(CLI::App& command, Options& options)
{
    command
        .add_option("--log", options.log, "Write the debug log to this file, behind what it holds")
        ->type_name("FILE");
}

void AddOutput(CLI::App& command, Options& options)
{
    command
        .add_option("--out", options.out, "Directory for the files; created when it is not there")
        ->required()
        ->type_name("DIR");
    AddLog(command, options);
}

void AddUpload(CLI::App& app, Options& options)
{
    CLI::App* upload = app.add_subcommand(
        "upload", "Send a file over FTP, which is not encrypted; ten seconds to cancel by any key");
    upload->add_option("FILE", options.file, "The file to send")->required()->type_name("");
    CLI::Option_group* target = upload->add_option_group("Target");
    target->add_option("--ftp", options.ftpServer, "A server of your own; without USER anonymously")
        ->type_name("[USER@]HOST[:PORT]");
    target->add_flag("--service", options.toService, "The maker's service");
    target->require_option(1);
    upload
        ->add_option("--password-file", options.passwordFile,
                     "File with USER's password in its first line; - for standard input")
        ->type_name("FILE");
    upload->add_flag("--yes", options.yes, "Send at once");
    AddLog(*upload, options);
    upload->footer(kUploadFooter);
    upload->callback([&] { options.command = Options::Command::kUpload; });
}

void AddChassis(CLI::App& command, Options& options)
{
    command.add_option("--host", options.host, "Name or address of the chassis manager");
    command.add_option("--user", options.user, "Account on the chassis manager, for CIM and SFTP");
    command.add_option("--port", options.port, "Its CIM port; 5989 is https")
        ->default_str("5988")
        ->check(CLI::Range(1, 65535));
}

} // namespace

std::optional<Options> ReadOptions(int argc, const char* const* argv, int& exitCode)
{
    Options options;
    CLI::App app("Collects first-failure data (FFDC) with the diagnostics services library.",
                 "ffdc-collect");
    app.set_version_flag("--version", "ffdc-collect " FFDC_COLLECT_VERSION);
    app.require_subcommand(1);
    // A path may begin with a slash, on every system.
    app.allow_windows_style_options(false);
    app.footer(kFooter);

    CLI::App* processor = app.add_subcommand(
        "service-processor", "Collect the FFDC files of this server's service processor");
    AddOutput(*processor, options);
    processor->add_flag("--verbose", options.verbose,
                        "Say on standard error what becomes of each file: bytes, tries, SHA-256");
    processor
        ->add_option("--usb-lan", options.usbLan,
                     "Bring the LAN-over-USB links up first, and in the end restore, enable or "
                     "disable them; without this they are not touched")
        ->check(CLI::IsMember({"restore", "enable", "disable"}));
    processor->footer(kFooter);
    processor->callback([&] { options.command = Options::Command::kServiceProcessor; });

    CLI::App* chassis = app.add_subcommand(
        "chassis", "Collect the FFDC of a chassis management module into an archive");
    AddOutput(*chassis, options);
    AddChassis(*chassis, options);
    chassis
        ->add_option("--password-file", options.passwordFile,
                     "File whose first line is the password, - for standard input; without it the "
                     "environment variable FFDC_CHASSIS_PASSWORD is taken, else you are asked")
        ->type_name("FILE");
    chassis->add_flag("--verbose", options.verbose,
                      "Say on standard error what becomes of each file: bytes, tries, SHA-256");
    chassis->get_option("--host")->required();
    chassis->get_option("--user")->required();
    chassis->footer(kFooter);
    chassis->callback([&] { options.command = Options::Command::kChassis; });

    AddUpload(app, options);

    // An empty group hides it from the help.
    CLI::App* child = app.add_subcommand(kChildCommand, "")->group("");
    AddOutput(*child, options);
    AddChassis(*child, options);
    child->add_option("--events", options.events)->required();
    child->add_option("--keep", options.keep);
    child->callback([&] { options.command = Options::Command::kChild; });

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& reason) {
        exitCode = app.exit(reason) == 0 ? kEverythingIsHere : kNotStarted;
        return std::nullopt;
    }
    // The library cuts paths at the system's own separator alone.
    for (std::string* const path : {&options.out, &options.file})
        *path = TextOf(PathOf(*path).make_preferred());
    return options;
}
