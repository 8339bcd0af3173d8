#include "contract/http/HttpRequest.h"

#include <utility>

#include "contract/http/HttpServiceProvider.h"

namespace connector::http {

HttpRequest::HttpRequest(std::string baseUrl_, std::string path_, std::string query_,
                         std::string method_, StringMultimap&& headers_, StringMultimap&& cookies_,
                         StringMultimap&& parameters_, bool local_,
                         std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>> body_)
    : baseUrl(std::move(baseUrl_)), path(std::move(path_)), query(std::move(query_)),
      method(std::move(method_)), headers(std::move(headers_)), cookies(std::move(cookies_)),
      parameters(std::move(parameters_)), local(local_), body(std::move(body_))
{}

HttpRequest::~HttpRequest() = default;

} // namespace connector::http
