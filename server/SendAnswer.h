#pragma once

#include <Poco/Net/StreamSocket.h>
#include <string>
#include <string_view>

namespace connector::http {

/// Sends an answer's head and body past the library's stream, whose buffer would cut a body of
/// 10 MB into 2,561 sends. Blocks until the kernel has taken all.
/// @throws Poco::TimeoutException and Poco::Net::NetException as the socket does.
void sendAnswer(Poco::Net::StreamSocket& socket, std::string head, std::string_view body);

} // namespace connector::http
