#include "simulators/chassis/Server.h"

#include "simulators/chassis/Operations.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace chassis {

namespace {

constexpr char kXml[] = "application/xml; charset=\"utf-8\"";
constexpr std::size_t kBlock = std::size_t{1024} * 1024;
constexpr std::size_t kHugeBlocks = 1024;
constexpr int kMaxDescriptor = 1024;

// Closes the connection to the client's port at once. The HTTP library knows the socket but does
// not tell, so it is looked for among the descriptors.
void Disconnect(const httplib::Request& request)
{
    for (int descriptor = 3; descriptor < kMaxDescriptor; ++descriptor) {
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0 &&
            peer.sin_family == AF_INET && ntohs(peer.sin_port) == request.remote_port)
            ::shutdown(descriptor, SHUT_RDWR);
    }
}

void Refuse(httplib::Response& response, int status, const std::string& cimError)
{
    response.status = status;
    if (!cimError.empty())
        response.set_header("CIMError", cimError);
}

// What the headers must say about the request in the body.
void CheckHeaders(const httplib::Request& request, const Call& call)
{
    const auto decoded = [&](const char* name) {
        return httplib::detail::decode_url(request.get_header_value(name), false);
    };
    if (decoded("CIMMethod") != call.name)
        throw BadRequest("header-mismatch");
    if (decoded("CIMObject") != call.object)
        throw BadRequest("header-mismatch");
}

bool IsXml(const std::string& contentType)
{
    return contentType.rfind("application/xml", 0) == 0 || contentType.rfind("text/xml", 0) == 0;
}

std::string Replacement(const std::string& path, const std::string& id)
{
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    if (const std::size_t place = text.find("@ID@"); place != std::string::npos)
        text.replace(place, 4, id);
    return text;
}

void SendHuge(httplib::Response& response)
{
    response.set_chunked_content_provider(kXml, [](std::size_t offset, httplib::DataSink& sink) {
        static const std::string block(kBlock, 'a');
        if (offset < kHugeBlocks * kBlock)
            return sink.write(block.data(), block.size());
        sink.done();
        return true;
    });
}

void SendChunked(httplib::Response& response, const std::string& body)
{
    response.set_chunked_content_provider(kXml, [body](std::size_t offset,
                                                       httplib::DataSink& sink) {
        if (offset < body.size())
            return sink.write(body.data() + offset, std::min<std::size_t>(7, body.size() - offset));
        sink.done();
        return true;
    });
}

void SendHalf(const httplib::Request& request, httplib::Response& response, const std::string& body)
{
    response.set_content_provider(
        body.size(), kXml,
        [body, request](std::size_t offset, std::size_t, httplib::DataSink& sink) {
            if (offset == 0)
                return sink.write(body.data(), body.size() / 2);
            Disconnect(request);
            return false;
        });
}

} // namespace

Server::Server(const Settings& settings, const Model& model, const Faults& faults,
               std::ostream& log)
    : m_settings(settings), m_model(model), m_faults(faults), m_log(log)
{
    if (settings.certificate.empty())
        m_http = std::make_unique<httplib::Server>();
    else
        m_http = std::make_unique<httplib::SSLServer>(settings.certificate.c_str(),
                                                      settings.key.c_str());
    m_http->Post("/cimom", [this](const httplib::Request& request, httplib::Response& response) {
        Handle(request, response);
    });
}

int Server::Bind(const std::string& host, int port)
{
    const int bound = port == 0                          ? m_http->bind_to_any_port(host)
                      : m_http->bind_to_port(host, port) ? port
                                                         : -1;
    if (bound < 0)
        throw std::runtime_error("cannot listen on " + host);
    return bound;
}

void Server::Run()
{
    m_http->listen_after_bind();
}

void Server::Handle(const httplib::Request& request, httplib::Response& response)
{
    const auto expected =
        httplib::make_basic_authentication_header(m_settings.user, m_settings.password);
    if (request.get_header_value("Authorization") != expected.second) {
        response.set_header("WWW-Authenticate", "Basic realm=\"chassis\"");
        Note("(log-in refused)", "");
        return Refuse(response, 401, "");
    }
    if (!IsXml(request.get_header_value("Content-Type")))
        return Refuse(response, 400, "request-not-valid");
    if (request.get_header_value("CIMOperation") != "MethodCall")
        return Refuse(response, 400, "unsupported-operation");
    try {
        Answer(request, response);
    } catch (const BadRequest& e) {
        Refuse(response, 400, e.what());
    }
}

void Server::Answer(const httplib::Request& request, httplib::Response& response)
{
    const Operation operation(request.body);
    CheckHeaders(request, operation.What());
    const Fault fault = Note(operation.What().name, operation.What().object);
    std::string body = operation.Answer(
        m_model,
        fault.kind == Fault::kError ? std::optional<int>(std::stoi(fault.argument)) : std::nullopt,
        fault.kind == Fault::kNoOutput);
    response.set_header("CIMOperation", "MethodResponse");
    switch (fault.kind) {
    case Fault::kStatus:
        return Refuse(response, std::stoi(fault.argument), "");
    case Fault::kDrop:
        return Disconnect(request);
    case Fault::kCut:
        return SendHalf(request, response, body);
    case Fault::kHuge:
        return SendHuge(response);
    case Fault::kChunked:
        return SendChunked(response, body);
    case Fault::kDelay:
        std::this_thread::sleep_for(std::chrono::milliseconds(std::stoi(fault.argument)));
        break;
    case Fault::kReplace:
        body = Replacement(fault.argument, operation.What().id);
        break;
    case Fault::kNone:
    case Fault::kError:
    case Fault::kNoOutput:
        break;
    }
    response.set_content(body, kXml);
}

Fault Server::Note(const std::string& name, const std::string& object)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_log << name << " " << object << std::endl;
    return m_faults.Next(name);
}

} // namespace chassis
