#include "tests/support/RawClient.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

#include "contract/common/Text.h"

namespace connector::test {

namespace {

sockaddr_in loopback(std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/// @param count what a call for the socket returned
ssize_t requireInTime(ssize_t count)
{
    if (count < 0 && errno == EAGAIN) {
        throw std::runtime_error("the server did nothing for the whole deadline");
    }
    return count;
}

WireResponse parseHead(const std::string& head)
{
    WireResponse response;
    response.head = head;
    if (!head.starts_with("HTTP/1.")) {
        throw std::runtime_error("no HTTP answer: " + head);
    }
    response.status = std::stoi(head.substr(9, 3));
    auto begin = head.find("\r\n") + 2;
    for (auto end = head.find("\r\n", begin); end != begin; end = head.find("\r\n", begin)) {
        const auto line = head.substr(begin, end - begin);
        const auto colon = line.find(':');
        const auto value = line.find_first_not_of(' ', colon + 1);
        response.headers.emplace(common::toLowerAscii(line.substr(0, colon)),
                                 value == std::string::npos ? "" : line.substr(value));
        begin = end + 2;
    }
    return response;
}

} // namespace

std::string WireResponse::header(const std::string& name) const
{
    const auto found = headers.find(name);
    return found == headers.end() ? "(none)" : found->second;
}

RawClient::RawClient(std::uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    const timeval deadline = {kDeadline.count(), 0};
    setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &deadline, sizeof(deadline));
    setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &deadline, sizeof(deadline));
    const auto address = loopback(port);
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        close(socket_);
        throw std::runtime_error("cannot connect to port " + std::to_string(port));
    }
}

RawClient::~RawClient()
{
    if (socket_ >= 0) {
        close(socket_);
    }
}

void RawClient::send(std::string_view bytes) const
{
    while (!bytes.empty()) {
        const auto count = requireInTime(::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL));
        if (count < 0) {
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

WireResponse RawClient::readResponse(bool head)
{
    auto end = received_.find("\r\n\r\n");
    for (; end == std::string::npos; end = received_.find("\r\n\r\n")) {
        if (!receiveMore()) {
            throw std::runtime_error("closed before the end of a head: \"" + received_ + "\"");
        }
    }
    auto response = parseHead(read(end + 4));
    const auto hasBody = !head && response.status != 304 && response.status != 204;
    if (hasBody) {
        response.body = read(std::stoul(response.header("content-length")));
    }
    return response;
}

std::string RawClient::read(std::size_t count)
{
    while (received_.size() < count) {
        if (!receiveMore()) {
            throw std::runtime_error("closed " + std::to_string(count - received_.size()) +
                                     " bytes too early");
        }
    }
    auto result = received_.substr(0, count);
    received_.erase(0, count);
    return result;
}

std::string RawClient::readUntilClosed()
{
    while (receiveMore()) {
    }
    return std::exchange(received_, {});
}

void RawClient::finishSending() const
{
    shutdown(socket_, SHUT_WR);
}

void RawClient::reset()
{
    const linger abrupt = {1, 0};
    setsockopt(socket_, SOL_SOCKET, SO_LINGER, &abrupt, sizeof(abrupt));
    close(std::exchange(socket_, -1));
}

bool RawClient::receiveMore()
{
    std::array<char, 64 * 1024> bytes;
    const auto count = requireInTime(recv(socket_, bytes.data(), bytes.size(), 0));
    if (count > 0) {
        received_.append(bytes.data(), static_cast<std::size_t>(count));
    }
    return count > 0;
}

WireResponse exchange(std::uint16_t port, std::string_view request)
{
    RawClient client(port);
    client.send(request);
    return client.readResponse(request.starts_with("HEAD "));
}

std::string makeRequest(const std::string& method, const std::string& target,
                        const std::string& headers)
{
    return method + " " + target + " HTTP/1.1\r\nHost: localhost\r\n" + headers + "\r\n";
}

std::uint16_t findFreePort()
{
    const auto listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    auto address = loopback(0);
    socklen_t size = sizeof(address);
    auto* const bound = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener, bound, size) != 0 || getsockname(listener, bound, &size) != 0) {
        throw std::runtime_error("no free port");
    }
    close(listener);
    return ntohs(address.sin_port);
}

} // namespace connector::test
