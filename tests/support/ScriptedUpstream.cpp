#include "tests/support/ScriptedUpstream.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace connector::test {

namespace {

/// Head and body; less if the client ends before.
std::string readRequest(int connection)
{
    std::string request;
    char buffer[65536];
    for (;;) {
        const auto headEnd = request.find("\r\n\r\n");
        if (headEnd != std::string::npos) {
            const auto field = request.find("Content-Length: ");
            const auto body =
                field < headEnd ? std::stoul(request.substr(field + 16)) : std::size_t{0};
            if (request.size() >= headEnd + 4 + body) {
                return request;
            }
        }
        const auto received = ::recv(connection, buffer, sizeof(buffer), 0);
        if (received <= 0) {
            return request;
        }
        request.append(buffer, static_cast<std::size_t>(received));
    }
}

} // namespace

ScriptedUpstream::ScriptedUpstream(Script script)
    : script_(std::move(script)), listener_(::socket(AF_INET, SOCK_STREAM, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof(address);
    if (::bind(listener_, generic, size) != 0 || ::listen(listener_, 64) != 0 ||
        ::getsockname(listener_, generic, &size) != 0) {
        throw std::runtime_error("The scripted upstream can't listen.");
    }
    port_ = ntohs(address.sin_port);
    thread_ = std::jthread([this] { serve(); });
}

ScriptedUpstream::~ScriptedUpstream()
{
    ::shutdown(listener_, SHUT_RDWR);
    thread_.join();
    ::close(listener_);
}

std::vector<std::string> ScriptedUpstream::requests()
{
    const std::lock_guard lock(mutex_);
    return requests_;
}

void ScriptedUpstream::serve()
{
    for (int index = 0;; ++index) {
        const auto connection = ::accept(listener_, nullptr, nullptr);
        if (connection < 0) {
            return;
        }
        converse(connection, index);
        ::close(connection);
    }
}

void ScriptedUpstream::converse(int connection, int index)
{
    const auto request = readRequest(connection);
    {
        const std::lock_guard lock(mutex_);
        requests_.push_back(request);
    }
    const auto [bytes, then] = script_(request, index);
    for (std::size_t sent = 0; sent < bytes.size();) {
        const auto count =
            ::send(connection, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            return;
        }
        sent += static_cast<std::size_t>(count);
    }
    if (then == Then::Reset) {
        const linger abort{1, 0};
        ::setsockopt(connection, SOL_SOCKET, SO_LINGER, &abort, sizeof(abort));
    }
    char byte = 0;
    while (then == Then::Hold && ::recv(connection, &byte, 1, 0) > 0) {
    }
}

} // namespace connector::test
