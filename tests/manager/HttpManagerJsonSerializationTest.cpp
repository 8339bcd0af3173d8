#include "manager/HttpManagerJsonSerialization.h"

#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include "contract/http/HttpManagerMessages.h"

namespace connector::http {
namespace {

class HttpManagerJsonSerializationTest : public testing::Test
{
protected:
    /// Reads the message and writes it again.
    std::string roundTrip(const std::string& type, const std::string& json)
    {
        return serializer_->toText(*serializer_->fromText("connector/http/" + type, json));
    }

    std::shared_ptr<json::JsonSerializer> serializer_ = std::make_shared<json::JsonSerializer>();
    HttpManagerJsonSerialization serialization_{serializer_};
};

TEST_F(HttpManagerJsonSerializationTest, EveryMessageReadsAndWritesItsMembersAndDefaults)
{
    const std::string named = R"({"name":"main"})";
    struct Case
    {
        const char* type;
        std::string full;     ///< Reads to a message that writes the same.
        std::string defaults; ///< What an empty object writes.
    };
    const Case cases[] = {
        {"CreateHttpServer",
         R"({"address":["a","b","c"],"certLocation":"/zertifikat/ü.pem","name":"main","port":1,)"
         R"("serverType":"https","socketAddress":"::1"})",
         R"({"address":[],"certLocation":"","name":"","port":31415,"serverType":"http",)"
         R"("socketAddress":""})"},
        {"StartHttpServer", named, R"({"name":""})"},
        {"StopHttpServer", named, R"({"name":""})"},
        {"DestroyHttpServer", named, R"({"name":""})"},
        {"GetHttpServerStatus", named, R"({"name":""})"},
        {"ListHttpServers", "{}", "{}"},
        {"ListHttpServersResponse", R"({"serverNames":["b","a"]})", R"({"serverNames":[]})"},
        {"SetHttpServerAddress", R"({"address":["a"],"name":"main"})",
         R"({"address":[],"name":""})"},
        {"SetHttpServerPort", R"({"name":"main","port":65535})", R"({"name":"","port":31415})"},
        {"SetHttpServerSocketAddress", R"({"name":"main","socketAddress":"::"})",
         R"({"name":"","socketAddress":""})"},
        {"HttpServerStatusResponse",
         R"({"address":[],"dnsName":"h","name":"main","port":7,"protocol":"https",)"
         R"("routableAddress":"r","running":true,"serverType":"https","socketAddress":"s",)"
         R"("started":true})",
         R"({"address":[],"dnsName":"localhost","name":"","port":0,"protocol":"http",)"
         R"("routableAddress":"","running":false,"serverType":"http","socketAddress":"",)"
         R"("started":false})"},
    };
    for (const auto& [type, full, defaults] : cases) {
        SCOPED_TRACE(type);
        EXPECT_EQ(roundTrip(type, full), full);
        EXPECT_EQ(roundTrip(type, "{}"), defaults);
        EXPECT_THROW(static_cast<void>(
                         serializer_->fromJson(std::string("connector/http/") + type, nullptr)),
                     Poco::NullPointerException);
    }
}

TEST_F(HttpManagerJsonSerializationTest, StrangeValuesReadAsStated)
{
    const std::pair<const char*, const char*> cases[] = {
        {R"({"serverType":"HTTPS"})", R"("serverType":"http")"},
        {R"({"address":"a/b"})", R"("address":[])"},
        {R"({"address":["a/b",7]})", R"("address":["a/b","7"])"}};
    for (const auto& [json, part] : cases) {
        EXPECT_NE(roundTrip("CreateHttpServer", json).find(part), std::string::npos) << json;
    }
    EXPECT_THROW(roundTrip("SetHttpServerPort", R"({"port":70000})"), Poco::RangeException);
    EXPECT_THROW(roundTrip("CreateHttpServer", R"({"address":[["a"]]})"), Poco::BadCastException);
}

} // namespace
} // namespace connector::http
