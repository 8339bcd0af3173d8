#include "tests/support/ScriptedUpstream.h"

#include <arpa/inet.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace connector::test {

namespace {

/// Head and body; less if the client ends before.
std::string readRequest(int connection, ScriptedUpstream::Reads reads)
{
    std::string request;
    char buffer[65536];
    for (ssize_t received = 1; received > 0;) {
        const auto headEnd = request.find("\r\n\r\n");
        const auto field = request.find("Content-Length: ");
        if (headEnd != std::string::npos) {
            const auto announces = reads == ScriptedUpstream::Reads::All && field < headEnd;
            const auto body = announces ? std::stoul(request.substr(field + 16)) : 0;
            if (request.size() >= headEnd + 4 + body) {
                break;
            }
        }
        received = ::recv(connection, buffer, sizeof(buffer), 0);
        request.append(buffer, static_cast<std::size_t>(received > 0 ? received : 0));
    }
    return request;
}

} // namespace

ScriptedUpstream::ScriptedUpstream(Script script, Reads reads)
    : script_(std::move(script)), reads_(reads), listener_(::socket(AF_INET, SOCK_STREAM, 0))
{
    sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof(address);
    if (::bind(listener_, generic, size) != 0 || ::listen(listener_, 64) != 0 ||
        ::getsockname(listener_, generic, &size) != 0) {
        throw std::runtime_error("The scripted upstream can't listen.");
    }
    port_ = ntohs(address.sin_port);
    thread_ = std::jthread([this] {
        for (auto connection = ::accept(listener_, nullptr, nullptr); connection >= 0;
             connection = ::accept(listener_, nullptr, nullptr)) {
            converse(connection);
            ::close(connection);
        }
    });
}

ScriptedUpstream::~ScriptedUpstream()
{
    ::shutdown(listener_, SHUT_RDWR);
    thread_.join();
    ::close(listener_);
}

void ScriptedUpstream::converse(int connection) const
{
    const auto [bytes, then] = script_(readRequest(connection, reads_));
    ssize_t count = 1;
    for (std::string_view rest = bytes; count > 0 && !rest.empty();
         rest.remove_prefix(static_cast<std::size_t>(count > 0 ? count : 0))) {
        count = ::send(connection, rest.data(), rest.size(), MSG_NOSIGNAL);
    }
    if (then == Then::Reset) {
        const linger abort{1, 0};
        ::setsockopt(connection, SOL_SOCKET, SO_LINGER, &abort, sizeof(abort));
    }
    for (char byte = 0; then == Then::Hold && ::recv(connection, &byte, 1, 0) > 0;) {
    }
}

} // namespace connector::test
