#pragma once

#include <stdexcept>
#include <string>

#include "client/ResponseReader.h"
#include "tests/fuzz/Fuzz.h"

namespace connector::fuzz {

/// The result of @p read with a reader of @p input, or the text of its failure.
/// @param step the largest piece, in bytes.
template <typename Read>
std::string readAnswer(std::string_view input, std::size_t step, const Read& read)
{
    http::client::ResponseReader::Buffer buffer; // not initialised
    http::client::ResponseReader reader(
        [&input, step](char* into, std::size_t count) {
            const auto taken = input.copy(into, std::min(count, step));
            input.remove_prefix(taken);
            return taken;
        },
        buffer);
    try {
        return read(reader);
    } catch (const std::runtime_error& failure) {
        require(std::string_view(failure.what()).starts_with("The upstream"),
                "The client's texts begin so.");
        return failure.what();
    }
}

} // namespace connector::fuzz
