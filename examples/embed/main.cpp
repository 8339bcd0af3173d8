// Embeds the HTTP layer in a program: the default pipeline, a provider of one's own, a directory,
// and a server in front of them. Serves until the end of its standard input.
//
// usage: connector-embed DIRECTORY [PORT]

#include <charconv>
#include <connector/application/Application.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>

#include "GreetingServiceProvider.h"

namespace {

/// @throws std::invalid_argument naming what is no port.
std::uint16_t parsePort(const std::string& text)
{
    std::uint16_t port = 0;
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

void serve(const std::string& directory, std::uint16_t port)
{
    connector::http::Application application;
    application.mount("/hello", std::make_shared<GreetingServiceProvider>());
    application.pipeline().mountDirectory("/", directory);
    connector::http::ServerOptions server;
    server.port = port;
    std::cout << "HTTP: " << application.startServer(server) << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
    }
    application.stop();
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
