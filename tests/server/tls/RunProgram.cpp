#include "tests/server/tls/RunProgram.h"

#include <array>
#include <cstdio>
#include <memory>

namespace connector::test {

std::string runProgram(const std::string& command)
{
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen((command + " 2>&1").c_str(), "r"),
                                                     pclose);
    std::string output;
    std::array<char, 4096> buffer = {};
    while (const auto length = std::fread(buffer.data(), 1, buffer.size(), pipe.get())) {
        output.append(buffer.data(), length);
    }
    return output;
}

} // namespace connector::test
