// The baseline of the WebSocket measures: the networking library's own WebSocket in the usual loop,
// one frame received into a buffer that stays, and sent back.
//
//   bare-websocket-server PORT
//
// It ends with the process: SIGTERM.

#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/WebSocket.h>
#include <Poco/ThreadPool.h>
#include <Poco/Timespan.h>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <pthread.h>

namespace {

constexpr int kLargestFrame = 8'000'000;

class EchoHandler : public Poco::Net::HTTPRequestHandler
{
public:
    void handleRequest(Poco::Net::HTTPServerRequest& request,
                       Poco::Net::HTTPServerResponse& response) override
    {
        try {
            Poco::Net::WebSocket socket(request, response);
            socket.setNoDelay(true);
            socket.setReceiveTimeout(Poco::Timespan(60, 0));
            const auto buffer = std::make_unique_for_overwrite<char[]>(kLargestFrame);
            for (;;) {
                int flags = 0;
                const auto size = socket.receiveFrame(buffer.get(), kLargestFrame, flags);
                if (size <= 0) {
                    return;
                }
                socket.sendFrame(buffer.get(), size, flags);
            }
        } catch (const std::exception&) {
            return; // the client went away
        }
    }
};

class Factory : public Poco::Net::HTTPRequestHandlerFactory
{
public:
    Poco::Net::HTTPRequestHandler*
    createRequestHandler(const Poco::Net::HTTPServerRequest& /*request*/) override
    {
        return new EchoHandler; // the library deletes it
    }
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: bare-websocket-server PORT\n";
        return 2;
    }
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);

    Poco::ThreadPool pool(4, 64);
    Poco::Net::HTTPServerParams::Ptr parameters = new Poco::Net::HTTPServerParams;
    parameters->setMaxThreads(64);
    const Poco::Net::ServerSocket socket(static_cast<Poco::UInt16>(std::atoi(argv[1])));
    Poco::Net::HTTPServer server(new Factory, pool, socket, parameters);
    server.start();
    std::cout << "HTTP: " << socket.address().port() << std::endl;
    int signal = 0;
    sigwait(&ending, &signal);
    std::_Exit(0);
}
