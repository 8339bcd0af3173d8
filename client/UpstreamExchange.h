#pragma once

#include <stop_token>
#include <string>
#include <string_view>

#include "client/ClientLimits.h"
#include "client/ResponseReader.h"
#include "client/UpstreamConnection.h"

namespace connector::http::client {

/// One request and its answer, on a connection of its own.
class UpstreamExchange
{
public:
    /// Connects, sends the request and reads the head of the answer, which may come before the
    /// request has left whole: the rest follows while the answer's body is read, as far as the
    /// upstream takes it.
    /// @param head of the request, up to the empty line; like @p body and @p buffer it outlives the
    /// exchange.
    /// @throws as UpstreamConnection and `ResponseReader::readHead`.
    UpstreamExchange(const UpstreamUrl& url, const std::string& head, std::string_view body,
                     const ClientLimits& limits, const std::stop_token& stopToken,
                     ResponseReader::Buffer& buffer);

    /// The head of the answer.
    [[nodiscard]] ResponseHead& head() noexcept { return head_; }

    /// Reads the body of the answer, once.
    /// @throws as `ResponseReader::readBody`.
    common::DataBuffer readBody(const BodyFraming& framing) { return reader_.readBody(framing); }

private:
    std::string joined_; ///< A small body with its head.
    UpstreamConnection connection_;
    ResponseReader reader_;
    ResponseHead head_;
};

} // namespace connector::http::client
