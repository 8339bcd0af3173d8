#include "tests/fuzz/ClientChunks.h"

#include <stdexcept>

#include "client/ResponseReader.h"
#include "tests/fuzz/Fuzz.h"

namespace connector::fuzz {

std::optional<std::string> readAsClient(std::string_view input, std::size_t step)
{
    Pieces pieces(input, step);
    static http::ResponseReader::Buffer buffer;
    http::ResponseReader reader(
        [&pieces](char* into, std::size_t count) { return pieces.read(into, count); }, buffer);
    try {
        return std::string(reader.readBody({http::BodyFraming::Kind::Chunked, 0}).view());
    } catch (const std::runtime_error& failure) {
        require(std::string_view(failure.what()).starts_with("The upstream"),
                "The client's texts begin so.");
        return std::nullopt;
    }
}

} // namespace connector::fuzz
