#pragma once

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <pthread.h>
#include <string>

namespace connector::bench {

constexpr const char* kConstantPath = "/constant";
constexpr const char* kConstantText = "Hello, world!";

/// What every peer takes from its command line: PORT DIRECTORY [MODE].
struct PeerArguments
{
    int port = 0;
    std::string directory;
    std::string mode;
};

/// Reads the command line and blocks the signals that waitForEnd() waits for. Before any thread is
/// made.
inline PeerArguments readArguments(int argc, char** argv)
{
    if (argc < 3 || argc > 4) {
        std::cerr << "usage: " << argv[0] << " PORT DIRECTORY [MODE]\n";
        std::exit(2);
    }
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    return {std::atoi(argv[1]), argv[2], argc > 3 ? argv[3] : ""};
}

/// Waits for SIGTERM and ends the process: a measure needs no orderly stop.
[[noreturn]] inline void waitForEnd()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    int received = 0;
    sigwait(&signals, &received);
    std::_Exit(0);
}

} // namespace connector::bench
