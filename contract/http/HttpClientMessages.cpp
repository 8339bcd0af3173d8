#include "contract/http/HttpClientMessages.h"

#include <utility>

namespace connector::http {

HttpClientRequest::HttpClientRequest(
    std::string url_, std::string method_, StringMultimap&& headers_, StringMultimap&& cookies_,
    std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>> body_)
    : url(std::move(url_)), method(std::move(method_)), headers(std::move(headers_)),
      cookies(std::move(cookies_)), body(std::move(body_))
{}

HttpClientRequest::~HttpClientRequest() = default;

HttpClientResponse::HttpClientResponse(
    std::uint16_t status_, StringMultimap&& headers_, StringMultimap&& cookies_,
    std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>> body_)
    : status(status_), headers(std::move(headers_)), cookies(std::move(cookies_)),
      body(std::move(body_))
{}

HttpClientResponse::~HttpClientResponse() = default;

} // namespace connector::http
