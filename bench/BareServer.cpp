// The baseline of every load measure: a server of the networking library alone, with the thread
// pool and the parameters of ours, that does nothing but answer.
//
//   bare-server PORT constant           answers "Hello, world!" to everything
//   bare-server PORT files DIRECTORY    serves the files of the directory
//   bare-server PORT proxy UPSTREAM     asks the server on that port of 127.0.0.1 for each answer
//
// With "secure CERTIFICATE KEY" after that, two PEM files, it speaks HTTPS.
//
// A file is sent as the library sends one (sendFile). A proxied request has a connection of its
// own, as ours has. It ends with the process: SIGTERM.

#include <Poco/Net/Context.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/SecureServerSocket.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/StreamCopier.h>
#include <Poco/ThreadPool.h>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <pthread.h>
#include <string>

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
        const auto& target = request.getURI();
        response.sendFile(directory_ + target.substr(0, target.find('?')), "text/plain");
    }

private:
    std::string directory_;
};

class ProxyHandler : public Poco::Net::HTTPRequestHandler
{
public:
    explicit ProxyHandler(Poco::UInt16 upstream) : upstream_(upstream) {}

    void handleRequest(Poco::Net::HTTPServerRequest& request,
                       Poco::Net::HTTPServerResponse& response) override
    {
        Poco::Net::HTTPClientSession session("127.0.0.1", upstream_);
        Poco::Net::HTTPRequest outgoing(request.getMethod(), request.getURI(),
                                        Poco::Net::HTTPMessage::HTTP_1_1);
        copyHeaders(request, outgoing);
        auto& body = session.sendRequest(outgoing);
        if (request.hasContentLength()) {
            Poco::StreamCopier::copyStream(request.stream(), body);
        }
        Poco::Net::HTTPResponse received;
        auto& answer = session.receiveResponse(received);
        response.setStatus(received.getStatus());
        copyHeaders(received, response);
        Poco::StreamCopier::copyStream(answer, response.send());
    }

private:
    static void copyHeaders(const Poco::Net::HTTPMessage& from, Poco::Net::HTTPMessage& to)
    {
        for (const auto& [name, value] : from) {
            if (name != Poco::Net::HTTPMessage::CONNECTION) {
                to.set(name, value);
            }
        }
    }

    Poco::UInt16 upstream_;
};

using MakeHandler = std::function<Poco::Net::HTTPRequestHandler*()>;

class Factory : public Poco::Net::HTTPRequestHandlerFactory
{
public:
    explicit Factory(MakeHandler makeHandler) : makeHandler_(std::move(makeHandler)) {}

    Poco::Net::HTTPRequestHandler*
    createRequestHandler(const Poco::Net::HTTPServerRequest& /*request*/) override
    {
        return makeHandler_();
    }

private:
    MakeHandler makeHandler_;
};

Poco::UInt16 parsePort(const char* text)
{
    return static_cast<Poco::UInt16>(std::atoi(text));
}

/// Nothing for wrong arguments.
MakeHandler parseMode(int argc, char** argv)
{
    const std::string mode = argc > 2 ? argv[2] : "";
    if (mode == "constant" && argc == 3) {
        return [] { return new ConstantHandler; };
    }
    if (mode == "files" && argc == 4) {
        return [directory = std::string(argv[3])] { return new FileHandler(directory); };
    }
    if (mode == "proxy" && argc == 4) {
        return [upstream = parsePort(argv[3])] { return new ProxyHandler(upstream); };
    }
    return nullptr;
}

constexpr int kSecureArguments = 3;

bool isSecure(int argc, char** argv)
{
    return argc > kSecureArguments && argv[argc - kSecureArguments] == std::string("secure");
}

Poco::Net::ServerSocket listenOn(int argc, char** argv)
{
    constexpr int kBacklog = 64;
    if (!isSecure(argc, argv)) {
        return Poco::Net::ServerSocket(parsePort(argv[1]), kBacklog);
    }
    using Poco::Net::Context;
    Context::Ptr context(
        new Context(Context::SERVER_USE, argv[argc - 1], argv[argc - 2], "", Context::VERIFY_NONE));
    context->requireMinimumProtocol(Context::PROTO_TLSV1_2);
    context->enableSessionCache(true, "bare");
    return Poco::Net::SecureServerSocket(parsePort(argv[1]), kBacklog, context);
}

} // namespace

int main(int argc, char** argv)
{
    const auto makeHandler = parseMode(isSecure(argc, argv) ? argc - kSecureArguments : argc, argv);
    if (makeHandler == nullptr) {
        std::cerr << "usage: bare-server PORT constant | PORT files DIRECTORY | PORT proxy UPSTREAM"
                     " [secure CERTIFICATE KEY]\n";
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
    const auto socket = listenOn(argc, argv);
    Poco::Net::HTTPServer server(new Factory(makeHandler), pool, socket, parameters);
    server.start();
    std::cout << "HTTP: " << socket.address().port() << std::endl;
    sigdelset(&signals, SIGPIPE);
    int received = 0;
    sigwait(&signals, &received);
    std::_Exit(0); // clients may still be there: a measure needs no orderly stop
}
