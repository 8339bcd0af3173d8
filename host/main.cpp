#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <string>
#include <system_error>
#include <thread>
#include <variant>

#include "contract/common/Log.h"
#include "contract/common/QueuedOutput.h"
#include "contract/common/Thread.h"
#include "host/ConsoleLoop.h"
#include "host/FreedMemory.h"
#include "host/Host.h"
#include "host/Options.h"
#include "host/Shutdown.h"
#include "plugin/PluginInfo.h"

namespace {

using namespace connector;
using namespace connector::host;

std::string pluginValues()
{
    return std::string("libqxconnectorhttpimpl_version: ") + libqxconnectorhttpimpl_version +
           "\nlibqxconnectorhttpimpl_build_date: " + libqxconnectorhttpimpl_build_date +
           "\nlibqxconnectorhttpimpl_relative_path: " + libqxconnectorhttpimpl_relative_path;
}

void complain(const char* fault)
{
    std::fprintf(stderr, "connector-host: %s\n", fault);
}

void prepareLog(const Options& options)
{
    common::Log::setLevel(options.logLevel);
    if (!options.logFile.empty()) {
        common::Log::logToFile(options.logFile);
    }
}

/// Before anything is started: a route that leads nowhere is a mistake.
void requireReadable(const ContentRoute& content)
{
    std::error_code fault;
    const std::filesystem::directory_iterator entries(content.directory, fault);
    if (fault) {
        throw std::runtime_error("Cannot serve " + content.directory + ": " + fault.message());
    }
}

void serve(Host& host, Shutdown& shutdown)
{
    const auto greeting = host.start();
    common::QueuedOutput::standardOutput().post(greeting);
    const auto console = host.makeConsole(shutdown.token());
    auto reader = common::startThread("console", [&] { runConsole(console, shutdown); });
    shutdown.wait();
    reader.join();
}

int run(const Options& options)
{
    Shutdown shutdown;
    try {
        prepareLog(options);
        for (const auto& content : options.contents) {
            requireReadable(content);
        }
        const auto freedMemory = returnFreedMemoryLater();
        Host host(options);
        serve(host, shutdown);
        return EXIT_SUCCESS;
    } catch (const std::invalid_argument& fault) {
        complain(fault.what());
        return kWrongOptions;
    } catch (const std::exception& fault) {
        complain(fault.what());
        return EXIT_FAILURE;
    }
}

} // namespace

int main(int argc, char** argv)
{
    keepFreedMemory();
    const auto parsed = parseOptions(argc, argv, pluginValues());
    if (const auto* exit = std::get_if<EarlyExit>(&parsed)) {
        std::fputs(exit->text.c_str(), exit->status == 0 ? stdout : stderr);
        return exit->status;
    }
    return run(std::get<Options>(parsed));
}
