#pragma once

#include "simulators/chassis/Faults.h"
#include "simulators/chassis/Model.h"

#include <httplib.h>

#include <memory>
#include <mutex>
#include <ostream>
#include <string>

namespace chassis {

struct Settings {
    std::string user;
    std::string password;
    std::string certificate; // https when not empty
    std::string key;
};

// Answers CIM-XML requests over HTTP, as well or as badly as the faults say.
class Server {
public:
    // Every request that was understood is written to log, a line each: name and object.
    Server(const Settings& settings, const Model& model, const Faults& faults, std::ostream& log);

    // Binds to a port of host, any free one for 0. Returns the port; throws when it is not to be
    // had.
    int Bind(const std::string& host, int port);
    // Serves until the process ends.
    void Run();

private:
    void Handle(const httplib::Request& request, httplib::Response& response);
    void Answer(const httplib::Request& request, httplib::Response& response);
    Fault Note(const std::string& name, const std::string& object);

    Settings m_settings;
    Model m_model;
    Faults m_faults;
    std::ostream& m_log;
    std::mutex m_mutex; // requests are handled on several threads
    std::unique_ptr<httplib::Server> m_http;
};

} // namespace chassis
