// The baseline of every load measure: a server of the networking library alone, with the thread
// pool and the parameters of ours, that does nothing but answer.
//
//   bare-server PORT constant           answers "Hello, world!" to everything
//   bare-server PORT files DIRECTORY    serves the files of the directory
//
// A file is read as ours reads it: its status, one buffer of its size, one read. It ends with the
// process: SIGTERM.

#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/ThreadPool.h>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <iostream>
#include <memory>
#include <pthread.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class ConstantHandler : public Poco::Net::HTTPRequestHandler
{
public:
    void handleRequest(Poco::Net::HTTPServerRequest& /*request*/,
                       Poco::Net::HTTPServerResponse& response) override
    {
        static const std::string text = "Hello, world!";
        response.setContentLength64(static_cast<Poco::Int64>(text.size()));
        response.send() << text;
    }
};

class FileHandler : public Poco::Net::HTTPRequestHandler
{
public:
    explicit FileHandler(std::string directory) : directory_(std::move(directory)) {}

    void handleRequest(Poco::Net::HTTPServerRequest& request,
                       Poco::Net::HTTPServerResponse& response) override
    {
        const auto path = directory_ + request.getURI();
        struct stat status = {};
        const int file = ::stat(path.c_str(), &status) == 0 ? ::open(path.c_str(), O_RDONLY) : -1;
        if (file < 0) {
            response.setStatusAndReason(Poco::Net::HTTPResponse::HTTP_NOT_FOUND);
            response.setContentLength64(0);
            response.send();
            return;
        }
        const auto size = static_cast<std::size_t>(status.st_size);
        const auto buffer = std::make_unique_for_overwrite<char[]>(size);
        const auto read = ::read(file, buffer.get(), size);
        ::close(file);
        response.setContentType("text/plain");
        response.setContentLength64(static_cast<Poco::Int64>(read));
        response.send().write(buffer.get(), read);
    }

private:
    std::string directory_;
};

class Factory : public Poco::Net::HTTPRequestHandlerFactory
{
public:
    explicit Factory(std::string directory) : directory_(std::move(directory)) {}

    Poco::Net::HTTPRequestHandler*
    createRequestHandler(const Poco::Net::HTTPServerRequest& /*request*/) override
    {
        if (directory_.empty()) {
            return new ConstantHandler;
        }
        return new FileHandler(directory_);
    }

private:
    std::string directory_;
};

} // namespace

int main(int argc, char** argv)
{
    const std::string mode = argc > 2 ? argv[2] : "";
    if (!(mode == "constant" && argc == 3) && !(mode == "files" && argc == 4)) {
        std::cerr << "usage: bare-server PORT constant | PORT files DIRECTORY\n";
        return 2;
    }
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    Poco::Net::HTTPServerParams::Ptr parameters(new Poco::Net::HTTPServerParams);
    parameters->setSoftwareVersion("KORVELConnector/1.0");
    parameters->setKeepAlive(true);
    parameters->setMaxThreads(64);
    Poco::ThreadPool pool("Connector", 4, 64, 60);
    const Poco::Net::ServerSocket socket(static_cast<Poco::UInt16>(std::atoi(argv[1])), 64);
    Poco::Net::HTTPServer server(new Factory(mode == "files" ? argv[3] : ""), pool, socket,
                                 parameters);
    server.start();
    std::cout << "HTTP: " << socket.address().port() << std::endl;
    sigdelset(&signals, SIGPIPE);
    int received = 0;
    sigwait(&signals, &received);
    std::_Exit(0); // clients may still be there: a measure needs no orderly stop
}
