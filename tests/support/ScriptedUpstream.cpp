#include "tests/support/ScriptedUpstream.h"

#include <Poco/Exception.h>
#include <Poco/Net/SocketAddress.h>

namespace connector::test {

namespace {

using Poco::Net::StreamSocket;

/// Head and body; less if the client ends before.
std::string readRequest(StreamSocket& connection, ScriptedUpstream::Reads reads)
{
    std::string request;
    char buffer[65536];
    for (int received = 1; received > 0;) {
        const auto headEnd = request.find("\r\n\r\n");
        const auto field = request.find("Content-Length: ");
        if (headEnd != std::string::npos) {
            const auto announces = reads == ScriptedUpstream::Reads::All && field < headEnd;
            const auto body = announces ? std::stoul(request.substr(field + 16)) : 0;
            if (request.size() >= headEnd + 4 + body) {
                break;
            }
        }
        received = connection.receiveBytes(buffer, sizeof(buffer));
        request.append(buffer, static_cast<std::size_t>(received));
    }
    return request;
}

} // namespace

ScriptedUpstream::ScriptedUpstream(Script script, Reads reads)
    : script_(std::move(script)), reads_(reads), listener_({"127.0.0.1", 0}), thread_([this] {
          try {
              while (true) {
                  converse(listener_.acceptConnection());
              }
          } catch (const Poco::Exception&) { // the end of the listener
          }
      })
{}

ScriptedUpstream::~ScriptedUpstream()
{
    listener_.impl()->shutdown();
}

void ScriptedUpstream::converse(StreamSocket connection) const
{
    try {
        const auto [bytes, then] = script_(readRequest(connection, reads_));
        connection.sendBytes(bytes.data(), static_cast<int>(bytes.size()), MSG_NOSIGNAL);
        if (then == Then::Reset) {
            connection.setLinger(true, 0);
        }
        for (char byte = 0; then == Then::Hold && connection.receiveBytes(&byte, 1) > 0;) {
        }
    } catch (const Poco::IOException&) { // the client has gone
    }
}

} // namespace connector::test
