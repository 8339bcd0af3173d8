#include <array>
#include <charconv>
#include <optional>
#include <string>

#include "server/RequestRefusal.h"
#include "tests/fuzz/ReadAnswer.h"
#include "tests/fuzz/ReadBody.h"

namespace connector::fuzz {
namespace {

std::optional<std::string> readAsServer(std::string_view input, std::size_t step)
{
    try {
        return readBody(input, step, {true, 0});
    } catch (const http::RequestRefusal&) {
        return std::nullopt;
    }
}

std::optional<std::string> readAsClient(std::string_view input, std::size_t step)
{
    auto complete = false;
    auto body = readAnswer(input, step, [&complete](http::client::ResponseReader& reader) {
        using http::client::BodyFraming;
        std::string all(reader.readBody({BodyFraming::Kind::Chunked, 0}).view());
        complete = true;
        return all;
    });
    return complete ? std::optional(std::move(body)) : std::nullopt;
}

/// A body in chunks of sizes that its first byte chooses.
std::string encode(std::string_view body)
{
    std::string coded;
    const std::size_t step = body.empty() ? 1 : static_cast<unsigned char>(body[0]) % 32 + 1;
    for (; !body.empty(); body.remove_prefix(std::min(step, body.size()))) {
        const auto chunk = body.substr(0, step);
        std::array<char, 8> digits = {};
        const auto end = std::to_chars(digits.begin(), digits.end(), chunk.size(), 16).ptr;
        coded.append(digits.data(), end).append("\r\n").append(chunk).append("\r\n");
    }
    return coded + "0\r\n\r\n";
}

} // namespace
} // namespace connector::fuzz

/// The input is read as a chunked body, and written as one.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace connector::fuzz;
    const auto input = textOf(data, size);
    const auto server = readInPieces(input, readAsServer);
    const auto client = readInPieces(input, readAsClient);
    require(server == client, "The client reads what the server reads.");
    const auto coded = encode(input);
    require(readInPieces(coded, readAsServer) == input, "The server reads what was written.");
    require(readInPieces(coded, readAsClient) == input, "The client reads what was written.");
    return 0;
}
