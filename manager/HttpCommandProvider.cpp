#include "manager/HttpCommandProvider.h"

#include <cstdint>
#include <utility>

#include "contract/http/Addresses.h"
#include "contract/http/HttpManagerMessages.h"
#include "server/NetworkInterfaces.h"

namespace connector::http {

namespace {

constexpr const char* kListServers = "connector.http.listServers";
constexpr const char* kDefaultServers = "connector.http.defaultServers";
constexpr const char* kListNetworkInterfaces = "connector.http.listNetworkInterfaces";

constexpr const char* kUnexpectedReply = "Failure to convert the response message!";

constexpr const char* kMainServer = "main";
constexpr std::uint16_t kMainPort = 31415;
constexpr const char* kSecureServer = "secure";
constexpr std::uint16_t kSecurePort = 31515;

/// The way to the manager. Commands hold it by value, for one may outlive its provider.
struct Manager
{
    std::shared_ptr<Connector> connector;
    Address address;

    /// The future of a reply. Messages that belong together are all sent before one is waited for.
    Future<std::unique_ptr<Message>> send(std::unique_ptr<Message> message) const
    {
        return connector->createContext()->send(std::move(message), Address(address));
    }
};

std::string listServers(const Manager& manager)
{
    const auto reply = manager.send(std::make_unique<ListHttpServers>()).get();
    const auto* listed = messageAs<ListHttpServersResponse>(reply);
    if (listed == nullptr) {
        return kUnexpectedReply;
    }
    std::string text;
    for (const auto& name : listed->serverNames) {
        text += name + "\n";
    }
    return text;
}

std::unique_ptr<CreateHttpServer> createServer(const char* name, ServerType type,
                                               std::uint16_t port)
{
    return std::make_unique<CreateHttpServer>(name, Address(kPipelineEntry), port, "", type, L"");
}

std::string startDefaultServers(const Manager& manager)
{
    auto mainCreated = manager.send(createServer(kMainServer, ServerType::HTTP, kMainPort));
    auto secureCreated = manager.send(createServer(kSecureServer, ServerType::HTTPS, kSecurePort));
    mainCreated.get();
    secureCreated.get();
    auto mainStarted = manager.send(std::make_unique<StartHttpServer>(kMainServer));
    auto secureStarted = manager.send(std::make_unique<StartHttpServer>(kSecureServer));
    const auto mainReply = mainStarted.get();
    const auto secureReply = secureStarted.get();
    const auto* mainStatus = messageAs<HttpServerStatusResponse>(mainReply);
    const auto* secureStatus = messageAs<HttpServerStatusResponse>(secureReply);
    if (mainStatus == nullptr || secureStatus == nullptr) {
        return kUnexpectedReply;
    }
    return "Default set of HTTP servers started. HTTP: " + std::to_string(mainStatus->port) +
           ", HTTPS: " + std::to_string(secureStatus->port);
}

} // namespace

HttpCommandProvider::HttpCommandProvider(
    std::shared_ptr<administration::Administration> administration)
    : administration_(std::move(administration))
{}

HttpCommandProvider::HttpCommandProvider(
    std::shared_ptr<Connector> connector,
    std::shared_ptr<administration::Administration> administration, const Address& manager)
    : HttpCommandProvider(std::move(administration))
{
    const Manager way{std::move(connector), manager};
    addCommand(kListServers, "List all the HTTP servers managed by the Http Manager.",
               [way] { return listServers(way); });
    addCommand(kDefaultServers, "Create and start the default set of servers.",
               [way] { return startDefaultServers(way); });
    addCommand(kListNetworkInterfaces, "List all network interfaces available on the machine.",
               [] { return listNetworkInterfaces(); });
}

HttpCommandProvider::~HttpCommandProvider()
{
    for (const auto& command : registered_) {
        administration_->removeCommand(command);
    }
}

void HttpCommandProvider::addCommand(std::string name, const std::string& description,
                                     administration::Administration::Function function)
{
    registered_.reserve(registered_.size() + 1); // so that nothing fails once it is registered
    administration_->addCommand(name, description, std::move(function));
    registered_.push_back(std::move(name));
}

} // namespace connector::http
