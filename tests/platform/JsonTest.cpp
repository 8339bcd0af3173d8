#include <Poco/Exception.h>
#include <gmock/gmock.h>

#include "contract/platform/JsonReading.h"
#include "contract/platform/JsonSerialization.h"

namespace {

using namespace connector::json;
using connector::Message;
using Poco::JSON::Object;
using testing::AnyOf;
using testing::ElementsAre;
using testing::Eq;
using testing::StartsWith;
using testing::ThrowsMessage;

struct Note : Message
{
    explicit Note(std::string theText, std::uint16_t thePort = 0, bool isUrgent = false)
        : text(std::move(theText)), port(thePort), urgent(isUrgent)
    {}

    std::string text;
    std::uint16_t port;
    bool urgent;
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
        object->set("text", note.text).set("port", note.port).set("urgent", note.urgent);
        return object;
    }

    static std::unique_ptr<Note> read(const Object::Ptr& object)
    {
        return std::make_unique<Note>(readString(object, "text", "default"),
                                      readUInt16(object, "port", 31415),
                                      readBool(object, "urgent", false));
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
    EXPECT_THAT(json, StartsWith(R"({"port":65535,"text":"\"quoted\" \\ )"));
    EXPECT_EQ(json.find('\n'), std::string::npos);
    const auto note = fromText(json);
    EXPECT_EQ(note->text, text);
    EXPECT_EQ(note->port, 65535);
    EXPECT_THROW((void)serializer->toText(Note("\xFF")), std::runtime_error);
}

TEST_F(Json, RefusesWhatIsNotOneObject)
{
    const auto deep = R"({"a":)" + std::string(100'000, '[');
    std::vector<std::string> texts = {deep, deep + std::string(100'000, ']') + "}", {"{}\0", 3}};
    texts.insert(texts.end(), {"", "  ", "[1]", "null", "5", R"({"text":"x")", R"({"text":"x"}})",
                               "{} {}", "{} x", "{'a':1}", "{\"a\":1,}", "{\"a\":\"\n\"}",
                               "{\"a\":\"\xFF\"}", "{\"a\":\"\xED\xA0\x80\"}", R"({"a":"\ud800"})",
                               R"({"a":"x\u0000y"})", R"({"a":123456789012345678901})"});
    for (const auto& text : texts) {
        SCOPED_TRACE(text.substr(0, 30));
        EXPECT_THAT([&] { (void)fromText(text); },
                    ThrowsMessage<std::invalid_argument>(AnyOf(
                        StartsWith("Malformed JSON: "), Eq("The JSON text is not an object."))));
    }
}

TEST_F(Json, KnowsMessagesOnlyWhileTheirSerializationLives)
{
    struct Derived : Note
    {
        using Note::Note;
    };
    EXPECT_THAT(serializer->typeNames(), ElementsAre("test/Note"));
    EXPECT_THROW((void)serializer->toJson(Derived("")), std::invalid_argument);
    EXPECT_THAT([&] { NoteSerialization twice(serializer); },
                ThrowsMessage<std::invalid_argument>("Message type already registered: test/Note"));
    EXPECT_TRUE(serializer->knows("test/Note")); // the refused one took nothing away
    notes.reset();
    EXPECT_THAT([&] { (void)fromText("not even JSON"); },
                ThrowsMessage<std::invalid_argument>("Unknown message type: test/Note"));
    NoteSerialization again(serializer);
    EXPECT_EQ(fromText("{}")->text, "default");
}

TEST_F(Json, ReadsMembersByPocosRules)
{
    const std::tuple<const char*, const char*, int> cases[] = {
        {"{}", "default", 31415},
        {R"({"text":null,"port":null})", "default", 31415},
        {R"({"text":"","port":0})", "", 0},
        {R"({"text":5,"port":"80"})", "5", 80},
        {R"({"text":"a","text":"b"})", "b", 31415},
        {R"( {"text":"\ud83d\ude00"} )", "\xF0\x9F\x98\x80", 31415}};
    for (const auto& [json, text, port] : cases) {
        SCOPED_TRACE(json);
        const auto note = fromText(json);
        EXPECT_EQ(note->text, text);
        EXPECT_EQ(note->port, port);
    }
    EXPECT_THROW((void)fromText(R"({"port":70000})"), Poco::RangeException);
    EXPECT_THROW((void)fromText(R"({"port":-1})"), Poco::RangeException);
    EXPECT_THROW((void)fromText(R"({"port":"x"})"), Poco::SyntaxException);
    EXPECT_TRUE(fromText(R"({"urgent":"true"})")->urgent);
    for (const auto* json : {R"({"urgent":"no"})", R"({"urgent":""})", R"({"urgent":[]})",
                             R"({"text":{"a":1}})", R"({"text":["a"]})", R"({"port":[80]})"}) {
        EXPECT_THROW((void)fromText(json), Poco::BadCastException) << json;
    }
    EXPECT_THAT([&] { (void)serializer->fromTextStrictly("test/Note", R"({"prot":1,"text":""})"); },
                ThrowsMessage<std::invalid_argument>("Unknown member: prot"));
    EXPECT_THROW((void)serializer->fromJson("test/Note", nullptr), Poco::NullPointerException);
}

} // namespace
