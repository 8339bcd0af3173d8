#pragma once

#include <memory>
#include <stop_token>
#include <string>

#include "contract/common/Export.h"
#include "contract/http/HttpTypes.h"
#include "contract/messaging/MessageAPI.h"
#include "contract/streams/DataBuffer.h"
#include "contract/streams/Streams.h"

namespace connector::http {

class HttpServiceProvider;

/// One incoming HTTP request. Providers read the fields, may change them, and forward the same
/// object to the next address.
class CONNECTOR_API HttpRequest final : public MessageAPI<HttpRequest, HttpServiceProvider>
{
public:
    HttpRequest(std::string baseUrl, std::string path, std::string query, std::string method,
                StringMultimap&& headers, StringMultimap&& cookies, StringMultimap&& parameters,
                bool local,
                std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>> body);
    ~HttpRequest() override;

    std::string baseUrl;       ///< Protocol, "://", host, "/".
    std::string path;          ///< Decoded and normalised; begins with "/" or is empty.
    std::string query;         ///< Decoded, without the "?".
    std::string method;        ///< In lower case, such as "get".
    StringMultimap headers;    ///< Names in lower case.
    StringMultimap cookies;    ///< By name.
    StringMultimap parameters; ///< Of the query: names in lower case, values decoded.
    bool local = false;        ///< The client is on this machine.
    std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>> body; ///< May be null.

    /// Stopped once nobody waits for the answer any more: the server stops. A provider that blocks
    /// its thread must watch it, and give up within a tenth of a second, since the server's `stop`
    /// waits for every provider to return. It travels in the request, for stages replace contexts.
    std::stop_token stopToken;
};

} // namespace connector::http
