#pragma once

#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>

#include "contract/common/Export.h"
#include "contract/http/HttpTypes.h"
#include "contract/messaging/MessageAPI.h"
#include "contract/messaging/ServiceProviderAPI.h"
#include "contract/streams/DataBuffer.h"
#include "contract/streams/Streams.h"

namespace connector::http {

class HttpClientServiceProvider;

/// One outgoing HTTP request.
class CONNECTOR_API HttpClientRequest final
    : public MessageAPI<HttpClientRequest, HttpClientServiceProvider>
{
public:
    /// @param url absolute, "http" or "https".
    /// @param method in any letter case.
    /// @param cookies name to value, sent beside the headers.
    /// @param body may be null: no body.
    HttpClientRequest(std::string url, std::string method, StringMultimap&& headers,
                      StringMultimap&& cookies,
                      std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>> body);
    ~HttpClientRequest() override;

    std::string url;
    std::string method;
    StringMultimap headers;
    StringMultimap cookies;
    std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>> body;

    /// Stopped once nobody waits for the answer any more; see HttpRequest.
    std::stop_token stopToken;
};

/// The reply to an HttpClientRequest.
class CONNECTOR_API HttpClientResponse final : public Message
{
public:
    HttpClientResponse(std::uint16_t status, StringMultimap&& headers, StringMultimap&& cookies,
                       std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>> body);
    ~HttpClientResponse() override;

    std::uint16_t status;
    StringMultimap headers; ///< Names in lower case.
    StringMultimap cookies; ///< Name to value, attributes dropped.
    std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>> body;
};

/// The provider interface of outgoing HTTP.
class CONNECTOR_API HttpClientServiceProvider : public ServiceProviderAPI<HttpClientServiceProvider>
{
public:
    /// Carries the request out.
    /// @return the future of an HttpClientResponse.
    virtual Future<std::unique_ptr<Message>> handle(std::unique_ptr<HttpClientRequest>&& request,
                                                    Address&& address,
                                                    std::shared_ptr<Context>&& context) = 0;
};

} // namespace connector::http
