#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "server/RequestBody.h"
#include "tests/fuzz/Fuzz.h"

namespace connector::fuzz {

/// Takes a request's body off the front of @p input, by turns in place and through `take`.
/// @param step the largest piece, in bytes.
/// @return nothing if the input ends within the body.
/// @throws RequestRefusal as RequestBody does.
inline std::optional<std::string> readBody(std::string_view& input, std::size_t step,
                                           const http::BodyFraming& framing)
{
    http::RequestBody body(framing);
    for (auto inPlace = true; !body.isComplete(); inPlace = !inPlace) {
        if (input.empty()) {
            return std::nullopt;
        }
        if (inPlace && body.dataLeft() > 0) {
            const auto room = body.prepare();
            require(!room.empty(), "There is room for data.");
            const auto received = input.copy(room.data(), std::min(room.size(), step));
            body.commit(received);
            input.remove_prefix(received);
        } else {
            const auto taken = body.take(input.substr(0, step));
            require(taken > 0, "A body takes input until it is complete.");
            input.remove_prefix(taken);
        }
    }
    return std::string(body.release().view());
}

} // namespace connector::fuzz
