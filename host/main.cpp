#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <string>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <variant>

#include "contract/common/QueuedOutput.h"
#include "contract/common/Thread.h"
#include "host/ConsoleLoop.h"
#include "host/DescriptorLimit.h"
#include "host/Host.h"
#include "host/MallocSettings.h"
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

/// Else the next descriptors that are opened, a socket or the signals', would be taken for the
/// standard ones that are closed.
bool openStandardDescriptors()
{
    int descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        descriptor = open("/dev/null", O_RDWR);
    }
    return close(descriptor) == 0;
}

/// Requires a regular file, or a place to make one. To open a FIFO would block the start.
/// @param use begins the text of the exception.
void requirePlaceForFile(const std::string& use, const std::filesystem::path& file)
{
    const auto status = std::filesystem::status(file);
    if (std::filesystem::is_regular_file(status)) {
        return;
    }
    if (std::filesystem::exists(status)) {
        throw std::runtime_error(use + file.string() + ": Not a regular file");
    }
    std::error_code fault;
    const auto directory = file.has_parent_path() ? file.parent_path() : ".";
    if (!std::filesystem::is_directory(directory, fault)) {
        throw std::runtime_error(use + file.string() + ": " +
                                 (fault ? fault.message() : "Not a directory"));
    }
}

void requirePlaceForLog(const Options& options)
{
    if (!options.logFile.empty()) {
        requirePlaceForFile("Cannot open the log file: ", options.logFile);
    }
}

/// Else every start would make a certificate that is gone with the process.
void requirePlaceForCertificate(const Options& options)
{
    if (options.secure && !options.certificate.empty()) {
        requirePlaceForFile("Cannot keep the certificate: ", options.certificate);
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
    shutdown.ending("the console");
    reader.join();
    host.stop([&shutdown](const std::string& what) { shutdown.ending(what); });
    shutdown.ending("the pipeline");
}

int run(const Options& options)
{
    Shutdown shutdown;
    try {
        requirePlaceForLog(options);
        requirePlaceForCertificate(options);
        for (const auto& content : options.contents) {
            requireReadable(content);
        }
        const auto trimming = trimMallocPeriodically();
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
    if (!openStandardDescriptors()) {
        complain("Cannot open /dev/null");
        return EXIT_FAILURE;
    }
    raiseDescriptorLimit();
    applyMallocSettings();
    const auto parsed = parseOptions(argc, argv, pluginValues());
    if (const auto* exit = std::get_if<EarlyExit>(&parsed)) {
        std::fputs(exit->text.c_str(), exit->status == 0 ? stdout : stderr);
        return exit->status;
    }
    return run(std::get<Options>(parsed));
}
