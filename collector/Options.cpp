#include "collector/Options.h"

#include "collector/ExitCodes.h"

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

void AddOutput(CLI::App& command, Options& options)
{
    command
        .add_option("--out", options.out, "Directory for the files; created when it is not there")
        ->required()
        ->type_name("DIR");
    command
        .add_option("--log", options.log, "Write the debug log to this file, behind what it holds")
        ->type_name("FILE");
}

} // namespace

std::optional<Options> ReadOptions(int argc, const char* const* argv, int& exitCode)
{
    Options options;
    CLI::App app("Collects first-failure data (FFDC) with the diagnostics services library.",
                 "ffdc-collect");
    app.set_version_flag("--version", "ffdc-collect " FFDC_COLLECT_VERSION);
    app.require_subcommand(1);
    app.footer(kFooter);

    CLI::App* processor = app.add_subcommand(
        "service-processor", "Collect the FFDC files of this server's service processor");
    AddOutput(*processor, options);
    processor->add_flag("--verbose", options.verbose,
                        "Say on standard error what becomes of each file: bytes, tries, SHA-256");
    processor->footer(kFooter);
    processor->callback([&] { options.command = Options::Command::kServiceProcessor; });

    // An empty group hides it from the help.
    CLI::App* child = app.add_subcommand(kChildCommand, "")->group("");
    AddOutput(*child, options);
    child->add_option("--events", options.events)->required();
    child->callback([&] { options.command = Options::Command::kChild; });

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& reason) {
        exitCode = app.exit(reason) == 0 ? kEverythingIsHere : kNotStarted;
        return std::nullopt;
    }
    return options;
}
