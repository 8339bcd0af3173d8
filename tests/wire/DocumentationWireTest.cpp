#include <gmock/gmock.h>
#include <sstream>

#include "tests/support/Document.h"
#include "tests/wire/Site.h"

namespace connector::test {
namespace {

constexpr const char* kDocument = CONNECTOR_SOURCE_DIR "/docs/operating.md";

using Example = std::pair<std::string, std::string>; // what is typed, and the answer

/// The examples of the fenced console blocks: what follows "> " is typed, the lines up to the next
/// one are the answer.
std::vector<Example> readExamples(const std::string& document)
{
    std::vector<Example> examples;
    for (const auto& line : fencedLines(document, "console")) {
        if (line.starts_with("> ")) {
            examples.push_back({line.substr(2), ""});
        } else if (!line.empty()) {
            auto& answer = examples.back().second;
            answer += answer.empty() ? line : "\n" + line;
        }
    }
    return examples;
}

std::string replaceAll(std::string text, const std::string& from, const std::string& to)
{
    for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

/// Blanks what differs between machines.
std::string withoutMachine(std::string text)
{
    for (const std::string member :
         {"\"dnsName\":\"", "\"routableAddress\":\"", "\"socketAddress\":\""}) {
        if (const auto at = text.find(member); at != std::string::npos) {
            const auto begin = at + member.size();
            text.erase(begin, text.find('"', begin) - begin);
        }
    }
    return text;
}

TEST(DocumentationWireTest, TheConsoleExamplesRunAsTheyStand)
{
    HostProcess host(kHostBinary, {"--no-secure", "--constant", "/ping=200,pong",
                                   CONNECTOR_SOURCE_DIR "/examples/site"});
    const auto port = std::to_string(findFreePort()); // in place of the one that the text names
    const auto examples = readExamples(readFile(kDocument));
    EXPECT_GT(examples.size(), 15U);
    for (const auto& [typed, answer] : examples) {
        SCOPED_TRACE(typed);
        EXPECT_EQ(withoutMachine(host.console(replaceAll(typed, "8080", port))),
                  withoutMachine(replaceAll(answer, "8080", port)));
    }
}

TEST(DocumentationWireTest, EveryOptionIsDescribed)
{
    const auto document = readFile(kDocument);
    ChildProcess host({kHostBinary, "--help"});
    std::istringstream help(host.readRest());
    int options = 0;
    for (std::string word; help >> word;) {
        if (word.starts_with("--")) {
            ++options;
            EXPECT_THAT(document, testing::HasSubstr("`" + word)) << word;
        }
    }
    EXPECT_GT(options, 10);
    EXPECT_EQ(host.wait(), 0);
}

} // namespace
} // namespace connector::test
