// Embeds the HTTP layer in a program: a bus, a router, a provider of one's own, a directory, and a
// server in front of them. Serves until the end of its standard input.
//
// usage: connector-embed DIRECTORY [PORT]

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <map>
#include <memory>
#include <string>
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
        serve(argv[1], argc == 3 ? static_cast<unsigned short>(std::stoul(argv[2])) : 0);
        return EXIT_SUCCESS;
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "connector-embed: %s\n", fault.what());
        return EXIT_FAILURE;
    }
}
