#pragma once

#include <string>

namespace connector::test {

/// Runs a command of the shell and waits for it. @return what it wrote to both of its outputs.
std::string runProgram(const std::string& command);

} // namespace connector::test
