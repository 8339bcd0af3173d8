// Embeds the HTTP layer in a program: a bus, a router, a provider of one's own, a directory, and a
// server in front of them. Serves until the end of its standard input.
//
// usage: connector-embed DIRECTORY [PORT]

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "contract/common/Text.h"
#include "contract/messaging/LocalConnector.h"
#include "examples/embed/GreetingServiceProvider.h"
#include "pipeline/HttpRouterImpl.h"
#include "pipeline/HttpRouterServiceProvider.h"
#include "server/PocoHttpServer.h"
#include "staticcontent/StaticContentServiceImpl.h"
#include "staticcontent/StaticContentServiceProvider.h"

using namespace connector;
using namespace connector::http;

namespace {

/// Registers the providers on the bus and the routes that lead to them.
void assemble(LocalConnector& bus, const std::string& directory)
{
    const auto router =
        std::make_shared<HttpRouterImpl>(std::vector<std::pair<std::string, Address>>());
    bus.registerProvider("example/router", std::make_shared<HttpRouterServiceProvider>(router));

    bus.registerProvider("example/greeting", std::make_shared<GreetingServiceProvider>());
    router->addRoute("/hello", "example/greeting");

    const auto files = std::make_shared<StaticContentServiceImpl>(
        nullptr, std::map<std::string, std::wstring, std::greater<std::string>>(),
        std::map<std::string, bool, std::greater<std::string>>(), false);
    files->addStaticContentPath("/", common::utf8ToWide(directory), false);
    bus.registerProvider("example/files", std::make_shared<StaticContentServiceProvider>(files));
    router->addRoute("", "example/files"); // the empty prefix matches every path
}

/// @throws std::invalid_argument naming what is no port.
unsigned short parsePort(const std::string& text)
{
    unsigned short port = 0;
    const auto* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, port);
    if (error != std::errc() || rest != end) {
        throw std::invalid_argument("\"" + text + "\" is no port from 0 to 65535.");
    }
    return port;
}

/// The static content service would answer 404 for every file of a directory that is not there.
void requireReadable(const std::string& directory)
{
    std::error_code fault;
    const std::filesystem::directory_iterator entries(directory, fault);
    if (fault) {
        throw std::runtime_error("Cannot serve " + directory + ": " + fault.message());
    }
}

void serve(const std::string& directory, unsigned short port)
{
    const auto bus = std::make_shared<LocalConnector>();
    assemble(*bus, directory);
    const auto server = std::make_shared<PocoHttpServer>(bus, port);
    server->setAddress("example/router");
    server->start();
    std::cout << "HTTP: " << server->getPort() << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
    }
    server->stop();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2 || argc > 3) {
        std::fputs("usage: connector-embed DIRECTORY [PORT]\n", stderr);
        return 2;
    }
    try {
        const auto port = parsePort(argc == 3 ? argv[2] : "0");
        requireReadable(argv[1]);
        serve(argv[1], port);
        return EXIT_SUCCESS;
    } catch (const std::invalid_argument& fault) {
        std::fprintf(stderr, "connector-embed: %s\n", fault.what());
        return 2;
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "connector-embed: %s\n", fault.what());
        return EXIT_FAILURE;
    }
}
