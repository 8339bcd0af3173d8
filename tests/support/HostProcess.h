#pragma once

#include <cstdint>
#include <ext/stdio_filebuf.h>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "tests/support/TemporaryDirectory.h"

namespace connector::test {

/// A program that this test started, with its three streams. It ends with the object, and with the
/// thread that made it; a wait for it lasts until the time limit of the test at most.
class ChildProcess
{
public:
    /// @param command the program and its arguments.
    explicit ChildProcess(const std::vector<std::string>& command);
    ~ChildProcess();

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Writes to its standard input.
    void write(std::string_view text);
    void closeInput() { input_.close(); }

    /// One line of its standard output, without the end of line.
    std::string readLine();

    /// The rest of its standard output, up to the end.
    std::string readRest();

    /// Everything on its standard error so far.
    [[nodiscard]] std::string errors() const;

    [[nodiscard]] std::size_t openDescriptors() const;

    void signal(int number) const;

    /// Waits for its end.
    /// @return the exit status, or 128 and the number of the signal that ended it.
    int wait();

private:
    using Pipe = __gnu_cxx::stdio_filebuf<char>;

    TemporaryDirectory directory_; ///< Holds standard error.
    pid_t pid_ = -1;
    Pipe input_;
    Pipe output_;
};

/// Runs a command of the shell and waits for it. @return what it wrote to both of its outputs.
inline std::string runProgram(const std::string& command)
{
    ChildProcess shell({"sh", "-c", "exec 2>&1; " + command});
    auto output = shell.readRest();
    shell.wait();
    return output;
}

/// A running connector-host on a free port.
class HostProcess : public ChildProcess
{
public:
    /// Starts @p binary with @p arguments, and "--port" of a free port unless they name one, and
    /// reads its first lines.
    HostProcess(const std::string& binary, const std::vector<std::string>& arguments);

    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }

    /// The port of the HTTPS server, 0 without one.
    [[nodiscard]] std::uint16_t securePort() const noexcept { return securePort_; }

    /// Types a line at the console.
    /// @return the answer: its lines up to the empty one, without the last end of line.
    std::string console(const std::string& line);

private:
    std::uint16_t port_ = 0;
    std::uint16_t securePort_ = 0;
};

} // namespace connector::test
