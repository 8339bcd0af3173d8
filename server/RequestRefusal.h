#pragma once

#include <array>
#include <cstddef>
#include <exception>
#include <string_view>

namespace connector::http {

/// A request that can't be trusted to be read as its sender meant it, or that asks for too much. It
/// is answered with a status and the text, and its connection closes.
class RequestRefusal : public std::exception
{
public:
    /// @param text a literal, so that a refusal needs no memory.
    RequestRefusal(unsigned short status, const char* text) noexcept : status_(status), text_(text)
    {}

    [[nodiscard]] unsigned short status() const noexcept { return status_; }
    [[nodiscard]] const char* what() const noexcept override { return text_; }

private:
    unsigned short status_;
    const char* text_;
};

/// Logs the limit that a request was refused for: its size, or the memory of bodies. Nothing if it
/// was refused for something else.
void logLimitOf(const RequestRefusal& refusal);

/// A refusal as it goes out where there is no request to answer yet: an HTTP/1.1 answer that closes
/// the connection. Built in place, since memory may be what is short.
class RefusalAnswer
{
public:
    explicit RefusalAnswer(const RequestRefusal& refusal) noexcept;

    [[nodiscard]] std::string_view text() const noexcept { return {text_.data(), size_}; }

private:
    std::array<char, 512> text_;
    std::size_t size_;
};

} // namespace connector::http
