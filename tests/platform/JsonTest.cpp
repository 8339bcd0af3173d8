#include <Poco/Exception.h>
#include <Poco/JSON/Array.h>
#include <gmock/gmock.h>

#include "contract/platform/JsonReading.h"
#include "contract/platform/JsonSerialization.h"

namespace {

using namespace connector::json;
using connector::Message;
using Poco::JSON::Object;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Throws;
using testing::ThrowsMessage;

struct Note : Message
{
    explicit Note(std::string theText, std::uint16_t thePort = 0)
        : text(std::move(theText)), port(thePort)
    {}

    std::string text;
    std::uint16_t port;
};

class NoteSerialization final : public JsonSerialization
{
public:
    explicit NoteSerialization(std::shared_ptr<JsonSerializer> serializer)
        : JsonSerialization(std::move(serializer))
    {
        registerMessage<Note>("test/Note", &write, &read);
    }

private:
    static Object::Ptr write(const Note& note)
    {
        Object::Ptr object = new Object;
        object->set("text", note.text);
        object->set("port", note.port);
        return object;
    }

    static std::unique_ptr<Note> read(const Object::Ptr& object)
    {
        return std::make_unique<Note>(readString(object, "text", "default"),
                                      readUInt16(object, "port", 31415));
    }
};

class Json : public testing::Test
{
protected:
    std::unique_ptr<Note> fromText(const std::string& text) const
    {
        auto message = serializer->fromText("test/Note", text);
        return std::unique_ptr<Note>(dynamic_cast<Note*>(message.release()));
    }

    const std::shared_ptr<JsonSerializer> serializer = std::make_shared<JsonSerializer>();
    std::unique_ptr<NoteSerialization> notes = std::make_unique<NoteSerialization>(serializer);
};

TEST_F(Json, TextSurvivesTheWayOutAndBack)
{
    const std::string text = "\"quoted\" \\ / \n\t\x01\x7F \xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80";
    const auto json = serializer->toText(Note(text, 65535));
    EXPECT_THAT(json, testing::StartsWith(R"({"port":65535,"text":"\"quoted\" \\ )"));
    EXPECT_EQ(json.find('\n'), std::string::npos);
    const auto note = fromText(json);
    EXPECT_EQ(note->text, text);
    EXPECT_EQ(note->port, 65535);
    EXPECT_THAT([&] { (void)serializer->toText(Note("\xFF")); }, Throws<std::runtime_error>());
}

TEST_F(Json, ReadsEscapesAndTheLastOfEqualNames)
{
    EXPECT_EQ(fromText(" {\"text\":\"\\ud83d\\ude00\\u00e4\"} ")->text, "\xF0\x9F\x98\x80\xC3\xA4");
    EXPECT_EQ(fromText(R"({"text":"a","text":"b"})")->text, "b");
}

TEST_F(Json, RefusesWhatIsNotOneObject)
{
    const std::string deep = R"({"a":)" + std::string(100'000, '[');
    for (const std::string& text : {std::string(),
                                    std::string("  "),
                                    std::string("[1]"),
                                    std::string("null"),
                                    std::string("\"x\""),
                                    std::string("5"),
                                    std::string(R"({"text":"x")"),
                                    std::string(R"({"text":"x"}})"),
                                    std::string("{} {}"),
                                    std::string("{} x"),
                                    std::string("{}\0", 3),
                                    std::string("{'a':1}"),
                                    std::string("{\"a\":1,}"),
                                    std::string("{\"a\":\"\n\"}"),
                                    std::string("{\"a\":\"\xFF\"}"),
                                    std::string("{\"a\":\"\xED\xA0\x80\"}"),
                                    std::string(R"({"a":"\ud800"})"),
                                    std::string(R"({"a":"x\u0000y"})"),
                                    std::string(R"({"a":123456789012345678901})"),
                                    deep,
                                    deep + std::string(100'000, ']') + "}"}) {
        SCOPED_TRACE(text.substr(0, 30));
        EXPECT_THROW((void)serializer->fromText("test/Note", text), std::invalid_argument);
    }
    EXPECT_THAT([&] { (void)fromText("[1]"); },
                ThrowsMessage<std::invalid_argument>("The JSON text is not an object."));
    EXPECT_THAT([&] { (void)fromText("{} x"); },
                ThrowsMessage<std::invalid_argument>(HasSubstr("Malformed JSON: Excess")));
}

TEST_F(Json, KnowsMessagesOnlyWhileTheirSerializationLives)
{
    struct Derived : Note
    {
        using Note::Note;
    };
    EXPECT_THAT(serializer->typeNames(), ElementsAre("test/Note"));
    EXPECT_EQ(serializer->typeNameOf(Note("")), "test/Note");
    EXPECT_THROW((void)serializer->toJson(Derived("")), std::invalid_argument);
    EXPECT_THAT([&] { (void)serializer->typeNameOf(Message()); },
                ThrowsMessage<std::invalid_argument>("Unknown message type: connector::Message"));
    EXPECT_THAT([&] { NoteSerialization twice(serializer); },
                ThrowsMessage<std::invalid_argument>("Message type already registered: test/Note"));
    EXPECT_TRUE(serializer->knows("test/Note")); // the refused one took nothing away
    notes.reset();
    EXPECT_FALSE(serializer->knows("test/Note"));
    for (const char* text : {"{}", "not even JSON"}) {
        EXPECT_THAT([&] { (void)serializer->fromText("test/Note", text); },
                    ThrowsMessage<std::invalid_argument>("Unknown message type: test/Note"));
    }
    NoteSerialization again(serializer);
    EXPECT_EQ(fromText("{}")->text, "default");
}

TEST_F(Json, MissingAndNullMembersGiveTheDefault)
{
    for (const char* text : {"{}", R"({"text":null,"port":null})"}) {
        SCOPED_TRACE(text);
        const auto note = fromText(text);
        EXPECT_EQ(note->text, "default");
        EXPECT_EQ(note->port, 31415);
    }
}

TEST_F(Json, ConversionsFollowPoco)
{
    EXPECT_EQ(fromText(R"({"port":"80"})")->port, 80);
    EXPECT_EQ(fromText(R"({"text":5})")->text, "5");
    EXPECT_THAT([&] { (void)fromText(R"({"port":70000})"); }, Throws<Poco::RangeException>());
    EXPECT_THAT([&] { (void)fromText(R"({"port":-1})"); }, Throws<Poco::RangeException>());
    EXPECT_THAT([&] { (void)fromText(R"({"port":"x"})"); }, Throws<Poco::SyntaxException>());
    EXPECT_THAT([&] { (void)fromText(R"({"port":{}})"); }, Throws<Poco::Exception>());
    EXPECT_THAT([&] { (void)serializer->fromJson("test/Note", nullptr); },
                Throws<Poco::NullPointerException>());
}

TEST(JsonReading, ReadsArraysOfStringsAndBooleans)
{
    Object::Ptr object = new Object;
    Poco::JSON::Array::Ptr array = new Poco::JSON::Array;
    array->add("b");
    array->add(5);
    object->set("array", array);
    object->set("text", "true");
    object->set("object", Object::Ptr(new Object));
    EXPECT_THAT(readStringArray(object, "array"), ElementsAre("b", "5"));
    EXPECT_THAT(readStringArray(object, "text"), ElementsAre());
    EXPECT_THAT(readStringArray(object, "missing"), ElementsAre());
    EXPECT_TRUE(readBool(object, "text", false));
    EXPECT_TRUE(readBool(object, "missing", true));
    EXPECT_FALSE(readBool(object, "object", true));
    array->add(Poco::Dynamic::Var());
    EXPECT_THROW((void)readStringArray(object, "array"), Poco::Exception);
    EXPECT_THROW((void)readStringArray(nullptr, "array"), Poco::NullPointerException);
}

} // namespace
