#include "host/ConsoleLoop.h"

#include <string>
#include <unistd.h>

#include "contract/common/QueuedOutput.h"
#include "host/LineReader.h"

namespace connector::host {

namespace {

constexpr std::size_t kMaxLineBytes = std::size_t{1} << 20U;

} // namespace

void runConsole(const Console& console, Shutdown& shutdown)
{
    const auto terminal = isatty(STDIN_FILENO) == 1;
    const auto& output = common::QueuedOutput::standardOutput();
    LineReader reader(STDIN_FILENO, shutdown.descriptor(), kMaxLineBytes);
    std::string line;
    for (;;) {
        if (terminal) {
            output.put("> ", shutdown.token());
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
        output.put(answer.text.empty() ? "\n" : answer.text + "\n\n", shutdown.token());
        if (answer.quit) {
            shutdown.request();
            return;
        }
    }
}

} // namespace connector::host
