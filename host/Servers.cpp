#include "host/Servers.h"

#include <stdexcept>

#include "contract/common/Failure.h"
#include "contract/http/Addresses.h"
#include "contract/http/HttpManagerMessages.h"

namespace connector::host {

namespace {

using http::ServerType;

constexpr const char* kMain = "main";
constexpr const char* kSecure = "secure";
constexpr std::uint16_t kMainPort = 31415;
constexpr std::uint16_t kSecurePort = 31515;

bool asksForDefaultPair(const Options& options)
{
    return !options.port && !options.securePort && options.certificate.empty() && options.secure;
}

} // namespace

Servers::Servers(http::Application& application) : application_(application) {}

void Servers::stop(const std::function<void(const std::string& what)>& ending)
{
    application_.stop(
        [&ending](const std::string& name) { ending("the server \"" + name + "\""); });
}

std::string Servers::start(const Options& options)
{
    try {
        started_ = options.secure ? std::vector<std::string>{kMain, kSecure}
                                  : std::vector<std::string>{kMain};
        return asksForDefaultPair(options)
                   ? application_.administration()->runCommand("connector.http.defaultServers")
                   : startEach(options);
    } catch (const std::exception& failure) {
        throw std::runtime_error("Cannot start the servers: " + common::textOf(failure));
    }
}

std::string Servers::startEach(const Options& options)
{
    auto line = "HTTP servers started. HTTP: " +
                std::to_string(application_.startServer(
                    {kMain, ServerType::HTTP, options.port.value_or(kMainPort), {}}));
    if (options.secure) {
        line += ", HTTPS: " + std::to_string(application_.startServer(
                                  {kSecure, ServerType::HTTPS,
                                   options.securePort.value_or(kSecurePort), options.certificate}));
    }
    return line;
}

std::vector<std::string> Servers::origins() const
{
    std::vector<std::string> texts;
    for (const auto& name : started_) {
        const auto reply =
            application_.connector()
                ->createContext()
                ->send(std::make_unique<http::GetHttpServerStatus>(name), http::kServerManager)
                .get();
        if (const auto* status = messageAs<http::HttpServerStatusResponse>(reply)) {
            texts.push_back(status->protocol + "://localhost:" + std::to_string(status->port));
        }
    }
    return texts;
}

} // namespace connector::host
