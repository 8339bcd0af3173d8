#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "contract/http/HttpResponse.h"

namespace connector::http {

/// The head of an answer, built as the text that goes out: the library's own response searches a
/// list of its fields for each one that is set, and formats them all twice.
///
/// The fields go out in this order: Date, Connection, Server, then as they were added.
class ResponseHead
{
public:
    /// A head of status 200.
    /// @param http10 whether the request's version was HTTP/1.0; else the answer's is 1.1.
    /// @param date the value of the Date field; outlives the head.
    ResponseHead(bool http10, bool keepAlive, std::string_view date);

    /// @throws std::out_of_range "The response status is out of range." unless it has three digits.
    void setStatus(unsigned short status);

    /// Says whether the connection goes on behind this answer.
    void setKeepAlive(bool keepAlive) noexcept { keepAlive_ = keepAlive; }

    /// Tells the client which protocol the address speaks, and that it may change to it (RFC 9110
    /// section 7.8).
    void offerUpgrade(std::string_view protocol);

    /// Adds a field, as it is.
    /// @throws std::invalid_argument "The response header is malformed." for control characters in
    ///         the name or the value, or a name that is no token.
    void add(std::string_view name, std::string_view value);

    /// Says that the body is plain text, so that no browser takes for markup what it repeats of the
    /// request.
    void addTextType() { add("Content-Type", "text/plain; charset=utf-8"); }

    /// Adds the Content-Length.
    /// @param name as it is to be spelt.
    void addContentLength(std::uint64_t length, std::string_view name = "Content-Length");

    /// Adds a reply's headers and cookies, and settles the content length: what the reply
    /// announces, else @p bodySize. A Transfer-Encoding is dropped, since the answer is sent whole;
    /// a "Connection: close" is honoured, any other Connection field is this server's own affair;
    /// Date and Server take the place of the server's own.
    /// @throws std::invalid_argument as `add`, and "The content length is malformed." for one that
    ///         is no decimal number; std::out_of_range "The content length is out of range." for
    ///         one that is negative or larger than 2,147,483,647.
    void addReply(const HttpResponse& reply, std::uint64_t bodySize);

    [[nodiscard]] unsigned short status() const noexcept { return status_; }
    [[nodiscard]] bool keepAlive() const noexcept { return keepAlive_; }
    [[nodiscard]] std::uint64_t contentLength() const noexcept { return contentLength_; }

    /// The status line and the fields, as they go out.
    [[nodiscard]] std::string format() const;

private:
    void addHeader(const std::string& name, const std::string& value,
                   std::optional<std::int32_t> announced);
    std::string_view connection() const noexcept;

    bool http10_;
    bool keepAlive_;
    bool offersUpgrade_ = false;
    bool hasContentLength_ = false;
    unsigned short status_ = 200;
    std::uint64_t contentLength_ = 0;
    std::string_view date_;
    std::string_view server_;
    std::string fields_; ///< Whole lines.
};

/// Whether an answer with this status to this method is sent without a body, whatever its headers
/// announce (RFC 9112 section 6.3).
bool isBodiless(unsigned short status, std::string_view method);

} // namespace connector::http
