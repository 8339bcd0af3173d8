#include <Poco/Exception.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "manager/HttpManagerJsonSerialization.h"
#include "staticcontent/StaticContentManagerJsonSerialization.h"
#include "tests/fuzz/Fuzz.h"

namespace connector::fuzz {
namespace {

json::JsonSerializer& serializer()
{
    static const auto serializer = std::make_shared<json::JsonSerializer>();
    static const http::HttpManagerJsonSerialization manager(serializer);
    static const http::StaticContentManagerJsonSerialization staticContent(serializer);
    return *serializer;
}

/// The message of that type, read and written; nothing where one of it is refused.
std::optional<std::string> rewrite(const std::string& type, const std::string& text)
{
    std::unique_ptr<Message> message;
    try {
        message = serializer().fromText(type, text);
    } catch (const std::invalid_argument&) {
        return std::nullopt;
    } catch (const Poco::Exception&) {
        return std::nullopt;
    }
    require(serializer().typeNameOf(*message) == type, "A message is of its type.");
    try {
        return serializer().toText(*message);
    } catch (const std::runtime_error& failure) {
        require(failure.what() == std::string_view("The message holds text that is not UTF-8."),
                "No other reason to write no message.");
        return std::nullopt;
    }
}

} // namespace
} // namespace connector::fuzz

/// The name of a type, a blank, an object: as at the console.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace connector::fuzz;
    auto input = textOf(data, size);
    const std::string type(takeUntil(input, ' '));
    const auto written = rewrite(type, std::string(input));
    if (written.has_value()) {
        require(written->find('\n') == std::string::npos, "A message is one line.");
        require(rewrite(type, *written) == written,
                "A message that is written and read again is the same.");
    }
    return 0;
}
