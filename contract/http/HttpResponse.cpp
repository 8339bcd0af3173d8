#include "contract/http/HttpResponse.h"

#include <utility>

namespace connector::http {

HttpResponse::HttpResponse(
    std::uint16_t status_, StringMultimap&& headers_, StringMultimap&& cookies_,
    std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>> body_)
    : status(status_), headers(std::move(headers_)), cookies(std::move(cookies_)),
      body(std::move(body_))
{}

HttpResponse::HttpResponse(
    std::uint16_t status_,
    std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>> body_)
    : HttpResponse(status_, {}, {}, std::move(body_))
{}

HttpResponse::~HttpResponse() = default;

} // namespace connector::http
