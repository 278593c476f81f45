// A chassis manager to collect from without the hardware. Its password comes from the environment
// variable CHASSIS_PASSWORD; it prints "port N" when it can be reached, and runs until it is ended.
#include "simulators/chassis/Server.h"

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <fstream>
#include <iostream>

int main(int argc, char** argv)
{
    std::string host = "127.0.0.1";
    int port = 0;
    std::string version = "2.6.0";
    std::string logFile = "/dev/null";
    std::vector<std::string> locations;
    std::vector<std::string> definitions;
    chassis::Settings settings;
    settings.user = "USERID";
    if (const char* const password = std::getenv("CHASSIS_PASSWORD"))
        settings.password = password;

    CLI::App app("Simulates a chassis manager that speaks CIM-XML.");
    app.add_option("--host", host, "address to listen on");
    app.add_option("--port", port, "port to listen on; 0: any free one");
    app.add_option("--user", settings.user, "account that may log in");
    app.add_option("--certificate", settings.certificate, "certificate (PEM); serves https");
    app.add_option("--key", settings.key, "private key of the certificate (PEM)");
    app.add_option("--firmware", version, "version text of the chassis manager's firmware");
    app.add_option("--location", locations,
                   "where a data instance's collection ends; one option an instance, an empty one "
                   "for none")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--fault", definitions,
                   "NAME=KIND[:ARGUMENT][@N-TH CALL], NAME an operation or *; kinds: error:CODE "
                   "status:CODE delay:MS drop cut huge chunked no-output replace:FILE")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--log", logFile, "file that receives the name and object of each request");
    CLI11_PARSE(app, argc, argv);

    try {
        chassis::Faults faults;
        for (const std::string& definition : definitions)
            faults.Add(definition);
        std::ofstream log(logFile);
        chassis::Server server(settings, chassis::Model(version, locations), faults, log);
        std::cout << "port " << server.Bind(host, port) << std::endl;
        server.Run();
    } catch (const std::exception& e) {
        std::cerr << "chassis_simulator: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
