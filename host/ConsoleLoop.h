#pragma once

#include "host/Console.h"
#include "host/Shutdown.h"

namespace connector::host {

/// Reads lines from standard input and writes the console's answer to each on standard output,
/// followed by an empty line, until the input ends, a line asks for the end, or the shutdown is
/// requested. At a terminal there is a prompt, and an empty line has no other answer than that.
/// While nobody reads standard output, it blocks until the shutdown and reads no further lines.
void runConsole(const Console& console, Shutdown& shutdown);

} // namespace connector::host
