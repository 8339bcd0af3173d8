#include "manager/HttpManagerJsonSerialization.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <string>
#include <utility>
#include <vector>

#include "contract/common/Text.h"
#include "contract/http/HttpManagerMessages.h"
#include "contract/platform/JsonReading.h"

namespace connector::http {

namespace {

using json::readBool;
using json::readString;
using json::readStringArray;
using json::readUInt16;
using Poco::JSON::Array;
using Poco::JSON::Object;

constexpr std::uint16_t kDefaultJsonPort = 31415;

Array::Ptr writeStrings(const std::vector<std::string>& strings)
{
    auto array = Poco::makeShared<Array>();
    for (const auto& string : strings) {
        array->add(string);
    }
    return array;
}

Array::Ptr writeAddress(Address address)
{
    auto array = Poco::makeShared<Array>();
    while (!address.empty()) {
        array->add(address.pop());
    }
    return array;
}

Address readAddress(const Object::Ptr& object, const std::string& key)
{
    return Address(readStringArray(object, key));
}

std::string writeServerType(ServerType type)
{
    switch (type) {
    case ServerType::HTTP:
        return "http";
    case ServerType::HTTPS:
        return "https";
    }
    return "";
}

ServerType readServerType(const Object::Ptr& object)
{
    return readString(object, "serverType", "http") == "https" ? ServerType::HTTPS
                                                               : ServerType::HTTP;
}

template <typename M>
Object::Ptr writeNamed(const M& message)
{
    auto object = Poco::makeShared<Object>();
    object->set("name", message.name);
    return object;
}

template <typename M>
std::unique_ptr<M> readNamed(const Object::Ptr& object)
{
    return std::make_unique<M>(readString(object, "name"));
}

Object::Ptr writeCreate(const CreateHttpServer& message)
{
    auto object = writeNamed(message);
    object->set("address", writeAddress(message.address));
    object->set("port", message.port);
    object->set("socketAddress", message.socketAddress);
    object->set("serverType", writeServerType(message.serverType));
    object->set("certLocation", common::wideToUtf8(message.certLocation));
    return object;
}

std::unique_ptr<CreateHttpServer> readCreate(const Object::Ptr& object)
{
    return std::make_unique<CreateHttpServer>(
        readString(object, "name"), readAddress(object, "address"),
        readUInt16(object, "port", kDefaultJsonPort), readString(object, "socketAddress"),
        readServerType(object), common::utf8ToWide(readString(object, "certLocation")));
}

Object::Ptr writeList(const ListHttpServers& /*message*/)
{
    return Poco::makeShared<Object>();
}

std::unique_ptr<ListHttpServers> readList(const Object::Ptr& object)
{
    static_cast<void>(object->size()); // throws on null, as every other reading function
    return std::make_unique<ListHttpServers>();
}

Object::Ptr writeListResponse(const ListHttpServersResponse& message)
{
    auto object = Poco::makeShared<Object>();
    object->set("serverNames", writeStrings(message.serverNames));
    return object;
}

std::unique_ptr<ListHttpServersResponse> readListResponse(const Object::Ptr& object)
{
    return std::make_unique<ListHttpServersResponse>(readStringArray(object, "serverNames"));
}

Object::Ptr writeSetAddress(const SetHttpServerAddress& message)
{
    auto object = writeNamed(message);
    object->set("address", writeAddress(message.address));
    return object;
}

std::unique_ptr<SetHttpServerAddress> readSetAddress(const Object::Ptr& object)
{
    return std::make_unique<SetHttpServerAddress>(readString(object, "name"),
                                                  readAddress(object, "address"));
}

Object::Ptr writeSetPort(const SetHttpServerPort& message)
{
    auto object = writeNamed(message);
    object->set("port", message.port);
    return object;
}

std::unique_ptr<SetHttpServerPort> readSetPort(const Object::Ptr& object)
{
    return std::make_unique<SetHttpServerPort>(readString(object, "name"),
                                               readUInt16(object, "port", kDefaultJsonPort));
}

Object::Ptr writeSetSocketAddress(const SetHttpServerSocketAddress& message)
{
    auto object = writeNamed(message);
    object->set("socketAddress", message.socketAddress);
    return object;
}

std::unique_ptr<SetHttpServerSocketAddress> readSetSocketAddress(const Object::Ptr& object)
{
    return std::make_unique<SetHttpServerSocketAddress>(readString(object, "name"),
                                                        readString(object, "socketAddress"));
}

Object::Ptr writeStatus(const HttpServerStatusResponse& message)
{
    auto object = writeNamed(message);
    object->set("address", writeAddress(message.address));
    object->set("protocol", message.protocol);
    object->set("dnsName", message.dnsName);
    object->set("routableAddress", message.routableAddress);
    object->set("socketAddress", message.socketAddress);
    object->set("port", message.port);
    object->set("serverType", writeServerType(message.serverType));
    object->set("started", message.started);
    object->set("running", message.running);
    return object;
}

std::unique_ptr<HttpServerStatusResponse> readStatus(const Object::Ptr& object)
{
    // Kept: the address comes from "name", whose string gives an empty one.
    return std::make_unique<HttpServerStatusResponse>(
        readString(object, "name"), readAddress(object, "name"),
        readString(object, "protocol", "http"), readString(object, "dnsName", "localhost"),
        readString(object, "routableAddress"), readString(object, "socketAddress"),
        readUInt16(object, "port", 0), readServerType(object), readBool(object, "started", false),
        readBool(object, "running", false));
}

} // namespace

HttpManagerJsonSerialization::HttpManagerJsonSerialization(
    std::shared_ptr<json::JsonSerializer> serializer)
    : JsonSerialization(std::move(serializer))
{
    registerMessage<CreateHttpServer>("connector/http/CreateHttpServer", writeCreate, readCreate);
    registerMessage<StartHttpServer>("connector/http/StartHttpServer", writeNamed, readNamed);
    registerMessage<StopHttpServer>("connector/http/StopHttpServer", writeNamed, readNamed);
    registerMessage<DestroyHttpServer>("connector/http/DestroyHttpServer", writeNamed, readNamed);
    registerMessage<ListHttpServers>("connector/http/ListHttpServers", writeList, readList);
    registerMessage<ListHttpServersResponse>("connector/http/ListHttpServersResponse",
                                             writeListResponse, readListResponse);
    registerMessage<GetHttpServerStatus>("connector/http/GetHttpServerStatus", writeNamed,
                                         readNamed);
    registerMessage<SetHttpServerAddress>("connector/http/SetHttpServerAddress", writeSetAddress,
                                          readSetAddress);
    registerMessage<SetHttpServerPort>("connector/http/SetHttpServerPort", writeSetPort,
                                       readSetPort);
    registerMessage<SetHttpServerSocketAddress>("connector/http/SetHttpServerSocketAddress",
                                                writeSetSocketAddress, readSetSocketAddress);
    registerMessage<HttpServerStatusResponse>("connector/http/HttpServerStatusResponse",
                                              writeStatus, readStatus);
}

HttpManagerJsonSerialization::~HttpManagerJsonSerialization() = default;

} // namespace connector::http
