#include "tests/support/ScriptedUpstream.h"

#include <Poco/Exception.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/SocketStream.h>

namespace connector::test {

namespace {

using Poco::Net::StreamSocket;

/// Head and body; less if the client ends before.
std::string readRequest(const StreamSocket& connection, ScriptedUpstream::Reads reads)
{
    Poco::Net::SocketInputStream stream(connection);
    std::string request;
    std::string body;
    for (std::string line; line != "\r" && std::getline(stream, line);) {
        request += line + "\n";
        if (reads == ScriptedUpstream::Reads::All && line.starts_with("Content-Length: ")) {
            body.resize(std::stoul(line.substr(16)));
        }
    }
    stream.read(body.data(), static_cast<std::streamsize>(body.size()));
    return request + body.substr(0, static_cast<std::size_t>(stream.gcount()));
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
