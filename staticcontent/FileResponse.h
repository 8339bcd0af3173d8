#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "contract/http/HttpRequest.h"
#include "contract/http/HttpTypes.h"
#include "contract/messaging/Future.h"
#include "contract/messaging/Message.h"
#include "staticcontent/FileLookup.h"

namespace connector::http::staticcontent {

using BodyPublisher = std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>>;

/// The answer that serves @p found, a regular file: 200, 206, 304 or 416, always ready. Nothing is
/// read: the body is a filesystem::FilePublisher. A file that shrinks before it is read, or that
/// cannot be read, gives a body shorter than its announced length; one of 2 GiB or more, which no
/// server can announce, gives none.
///
/// Kept: 304 and 416 announce the full length of the file.
///
/// @param request its "if-modified-since", "if-none-match" and "range" headers count, the first of
///        each name. Either validator alone is enough for 304.
/// @param cacheControl the value of the header; empty: none is sent.
/// @param includeBody false leaves the body out and changes nothing else.
/// @throws Poco::SyntaxException for an "if-modified-since" that is no date.
/// @throws std::out_of_range as parseByteRange does.
Future<std::unique_ptr<Message>> returnFile(const HttpRequest& request, const FoundFile& found,
                                            const std::string& cacheControl, bool includeBody);

/// The whole file, as one buffer.
BodyPublisher getContent(const FoundFile& found);

/// The part of the file that a "range" header asks for, as one buffer. Sets "Content-Range" and,
/// unless the range cannot be satisfied, "Content-Length".
///
/// Kept: where it cannot, "Content-Range" is "*", without a unit and size.
///
/// @return 206 or 416, and null where there is no body.
std::pair<std::uint16_t, BodyPublisher> getContentRange(const FoundFile& found,
                                                        const std::string& rangeHeader,
                                                        bool includeBody, StringMultimap& headers);

} // namespace connector::http::staticcontent
