#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "contract/http/FieldSyntax.h"
#include "server/ServerLimits.h"

namespace connector::http {

/// How the body of a request is delimited (RFC 9112 section 6).
struct BodyFraming
{
    bool chunked = false;
    std::uint64_t length = 0; ///< In bytes; without meaning if chunked.

    [[nodiscard]] bool hasBody() const noexcept { return chunked || length > 0; }
};

/// The head of a request: checked, and cut into its parts.
class RequestHead
{
public:
    RequestHead() = default;
    RequestHead(const RequestHead&) = delete; // the parts point into the text
    RequestHead& operator=(const RequestHead&) = delete;

    /// Takes over a head as it came over the wire, checked so that no intermediary can have read it
    /// another way. All views that were got from the head before it come to an end.
    /// @param text a whole request head, its empty line included.
    /// @throws RequestRefusal with status 400 for: a request line that is not method, target and
    ///         version with one blank between them; a method that is no token; control characters
    ///         in the target; a version other than HTTP/1.x; a line without a colon, continued, or
    ///         with a name that is no token; control characters in a value; several Host fields, or
    ///         one that names no host; a Content-Length that is repeated or no decimal number; a
    ///         Transfer-Encoding other than "chunked", repeated, beside a Content-Length, or in
    ///         HTTP/1.0. With status 413 for a body that is announced as too large, 431 for too
    ///         many fields, 501 for the method CONNECT.
    void assign(std::string_view text, const RequestLimits& limits = {});

    /// The head as it came.
    [[nodiscard]] const std::string& text() const noexcept { return text_; }
    [[nodiscard]] std::string_view method() const noexcept { return method_; }
    [[nodiscard]] std::string_view target() const noexcept { return target_; }
    [[nodiscard]] std::string_view version() const noexcept { return version_; }
    [[nodiscard]] const std::vector<HeaderField>& fields() const noexcept { return fields_; }
    [[nodiscard]] const BodyFraming& framing() const noexcept { return framing_; }

    /// @return the value of the first field of this name, in any letter case.
    [[nodiscard]] std::optional<std::string_view> find(std::string_view name) const noexcept;

    /// The value of the first field of this name, or nothing.
    [[nodiscard]] std::string_view get(std::string_view name) const noexcept;

    /// Whether a field that is a list of tokens holds @p token, on any of its lines and in any
    /// letter case (RFC 9110 section 5.6.1).
    [[nodiscard]] bool lists(std::string_view name, std::string_view token) const noexcept;

    [[nodiscard]] bool isHttp10() const noexcept { return version_ == "HTTP/1.0"; }

    /// Whether the connection persists behind the answer (RFC 9112 section 9.3).
    [[nodiscard]] bool keepsAlive() const noexcept;

    /// Whether the client waits for 100 Continue before it sends the body (RFC 9110
    /// section 10.1.1).
    [[nodiscard]] bool awaitsContinue() const noexcept;

private:
    void parseRequestLine(std::string_view line);
    void addField(std::string_view line, std::size_t maxFields);
    void checkHost() const;
    void determineFraming(std::uint64_t maxBody);

    std::string text_;
    std::string_view method_;
    std::string_view target_;
    std::string_view version_;
    std::vector<HeaderField> fields_;
    BodyFraming framing_;
};

} // namespace connector::http
