#include "host/ConsoleLoop.h"

#include <string>
#include <unistd.h>

#include "host/LineReader.h"
#include "host/TextWriter.h"

namespace connector::host {

namespace {

constexpr std::size_t kMaxLineBytes = std::size_t{1} << 20U;

} // namespace

void runConsole(const Console& console, Shutdown& shutdown)
{
    const auto terminal = isatty(STDIN_FILENO) == 1;
    const TextWriter writer(STDOUT_FILENO, shutdown.descriptor());
    LineReader reader(STDIN_FILENO, shutdown.descriptor(), kMaxLineBytes);
    std::string line;
    for (;;) {
        if (terminal) {
            writer.write("> ");
        }
        const auto event = reader.next(line);
        if (event == LineReader::Event::End || event == LineReader::Event::Woken) {
            return;
        }
        if (terminal && line.empty()) {
            continue;
        }
        const auto answer =
            event == LineReader::Event::TooLong ? Console::kTooLong : console.answer(line);
        // A text of nothing is the empty line itself.
        writer.write(answer.text.empty() ? "\n" : answer.text + "\n\n");
        if (answer.quit) {
            shutdown.request();
            return;
        }
    }
}

} // namespace connector::host
