#include "tests/support/RawClient.h"

#include <Poco/Exception.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>
#include <array>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <utility>

#include "contract/common/Text.h"

namespace connector::test {

namespace {

WireResponse parseHead(const std::string& head)
{
    WireResponse response;
    response.head = head;
    if (!head.starts_with("HTTP/1.")) {
        throw std::runtime_error("no HTTP answer: " + head);
    }
    response.status = std::stoi(head.substr(9, 3));
    std::istringstream lines(head);
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line) && line != "\r") {
        line.pop_back();
        const auto colon = line.find(':');
        const auto value = std::min(line.find_first_not_of(' ', colon + 1), line.size());
        response.headers.emplace(common::toLowerAscii(line.substr(0, colon)), line.substr(value));
    }
    return response;
}

} // namespace

std::string WireResponse::header(const std::string& name) const
{
    const auto found = headers.find(name);
    return found == headers.end() ? "(none)" : found->second;
}

RawClient::RawClient(std::uint16_t port) : socket_(Poco::Net::SocketAddress("127.0.0.1", port))
{
    socket_.setReceiveTimeout({kDeadline.count(), 0});
    socket_.setSendTimeout({kDeadline.count(), 0});
}

void RawClient::send(std::string_view bytes)
{
    try {
        socket_.sendBytes(bytes.data(), static_cast<int>(bytes.size()), MSG_NOSIGNAL);
    } catch (const Poco::IOException&) {
        return; // A timeout is none of these.
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

void RawClient::finishSending()
{
    shutdown(socket_.impl()->sockfd(), SHUT_WR);
}

void RawClient::reset()
{
    socket_.setLinger(true, 0);
    socket_.close();
}

bool RawClient::receiveMore()
{
    std::array<char, 64 * 1024> bytes;
    int count = 0;
    try {
        count = socket_.receiveBytes(bytes.data(), bytes.size());
    } catch (const Poco::IOException&) {
        return false; // reset
    }
    received_.append(bytes.data(), static_cast<std::size_t>(count));
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
    Poco::Net::ServerSocket listener;
    listener.bind({"127.0.0.1", 0}, false);
    return listener.address().port();
}

} // namespace connector::test
