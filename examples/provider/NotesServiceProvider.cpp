// A provider that connector-host loads: keeps notes, and serves them as JSON below its route.
//
//     connector-host --provider /notes=./libnotes.so
//     curl -d '{"text":"Buy milk"}' http://localhost:31415/notes
//     curl http://localhost:31415/notes/0
//
// A line of the console, example/Note {"text":"Call Ada"}, adds one too; the command
// example.notes.count counts them.

#include <connector/application/ProviderModule.h>
#include <connector/http/HttpError.h>
#include <connector/http/JsonBody.h>
#include <connector/http/MakeHttpResponse.h>
#include <connector/http/ReadRequest.h>
#include <connector/http/RestServiceProvider.h>
#include <connector/platform/JsonReading.h>
#include <connector/platform/JsonSerialization.h>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace connector;
using namespace connector::http;

constexpr const char* kNote = "example/Note";
constexpr const char* kCount = "example.notes.count";

class Note;

/// The provider interface of notes, which messages of the console reach.
class NoteServiceProvider : public ServiceProviderAPI<NoteServiceProvider>
{
public:
    virtual Reply handle(std::unique_ptr<Note>&& note, Address&& address,
                         std::shared_ptr<Context>&& context) = 0;
};

class Note final : public MessageAPI<Note, NoteServiceProvider>
{
public:
    explicit Note(std::string theText) : text(std::move(theText)) {}

    std::string text;
};

/// The JSON form of a note, while it lives.
class NoteJson final : public json::JsonSerialization
{
public:
    explicit NoteJson(std::shared_ptr<json::JsonSerializer> serializer)
        : JsonSerialization(std::move(serializer))
    {
        registerMessage<Note>(kNote, &write, &read);
    }

private:
    static Poco::JSON::Object::Ptr write(const Note& note)
    {
        Poco::JSON::Object::Ptr object = new Poco::JSON::Object;
        object->set("text", note.text);
        return object;
    }

    static std::unique_ptr<Note> read(const Poco::JSON::Object::Ptr& object)
    {
        return std::make_unique<Note>(json::readString(object, "text"));
    }
};

class Notes final : public NoteServiceProvider
{
public:
    Reply handle(std::unique_ptr<Note>&& note, Address&& /*address*/,
                 std::shared_ptr<Context>&& /*context*/) override
    {
        const std::lock_guard lock(mutex_);
        texts_.push_back(std::move(note->text));
        return makeReadyFuture(std::make_unique<Message>());
    }

    [[nodiscard]] std::vector<std::string> list() const
    {
        const std::lock_guard lock(mutex_);
        return texts_;
    }

private:
    mutable std::mutex mutex_; ///< Guards texts_.
    std::vector<std::string> texts_;
};

class NotesServiceProvider final : public RestServiceProvider
{
public:
    NotesServiceProvider(const Application& application, std::string route,
                         std::shared_ptr<Notes> notes)
        : serializer_(application.serializer()), administration_(application.administration()),
          json_(serializer_), route_(std::move(route)), notes_(std::move(notes))
    {
        administration_->addCommand(kCount, "Count the notes.", [kept = notes_] {
            return std::to_string(kept->list().size());
        });
    }

    ~NotesServiceProvider() override { administration_->removeCommand(kCount); }

    /// "ROUTE/7" is the note with that number.
    Reply doGet(std::unique_ptr<HttpRequest>&& request, Address&& /*address*/,
                std::shared_ptr<Context>&& /*context*/) override
    {
        const auto segments = pathSegments(request->path, route_);
        const auto texts = notes_->list();
        for (std::size_t number = 0; segments.size() == 1 && number < texts.size(); ++number) {
            if (segments[0] == std::to_string(number)) {
                return makeReadyJsonResponse(*serializer_, Note(texts[number]));
            }
        }
        throw HttpError(404, "There is no such note.");
    }

    Reply doPost(std::unique_ptr<HttpRequest>&& request, Address&& /*address*/,
                 std::shared_ptr<Context>&& context) override
    {
        return readJsonBody(*request, serializer_, kNote)
            .then([context](Reply note) { return context->send(note.get(), kNote); })
            .then([](Reply added) {
                added.get();
                return makeHttpResponse(201, "");
            });
    }

protected:
    [[nodiscard]] std::string allowedMethods() const override { return "GET, POST"; }

private:
    const std::shared_ptr<json::JsonSerializer> serializer_;
    const std::shared_ptr<administration::Administration> administration_;
    const NoteJson json_;
    const std::string route_;
    const std::shared_ptr<Notes> notes_;
};

std::shared_ptr<ServiceProvider> makeProvider(Application& application, const std::string& route)
{
    const auto notes = std::make_shared<Notes>();
    application.connector()->registerProvider(kNote, notes);
    application.setReceiver(kNote, kNote);
    return std::make_shared<NotesServiceProvider>(application, route, notes);
}

} // namespace

CONNECTOR_PROVIDER(makeProvider)
