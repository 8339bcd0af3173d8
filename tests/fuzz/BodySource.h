#pragma once

#include "server/RequestBody.h"
#include "tests/fuzz/Fuzz.h"

namespace connector::fuzz {

/// A text as the source of a request's body.
class BodySource final : public http::ByteSource
{
public:
    BodySource(std::string_view text, std::size_t step) : pieces_(text, step) {}

    int get() override
    {
        char byte = 0;
        return pieces_.read(&byte, 1) == 1 ? static_cast<unsigned char>(byte) : -1;
    }

    std::size_t read(char* into, std::size_t count) override { return pieces_.read(into, count); }

    [[nodiscard]] std::string_view rest() const { return pieces_.rest(); }

private:
    Pieces pieces_;
};

} // namespace connector::fuzz
