#include "tests/support/HostProcess.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <istream>
#include <iterator>
#include <ostream>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/Document.h"
#include "tests/support/RawClient.h"

namespace connector::test {

namespace {

std::array<int, 2> makePipe()
{
    std::array<int, 2> ends;
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    return ends;
}

[[noreturn]] void become(const std::vector<std::string>& command, int input, int output, int errors)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::signal(SIGHUP, SIG_DFL); // whatever this test was started with
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    std::vector<char*> arguments;
    for (const auto& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(arguments.front(), arguments.data());
    _exit(127);
}

std::vector<std::string> hostCommand(const std::string& binary,
                                     const std::vector<std::string>& arguments)
{
    std::vector<std::string> command = {binary};
    command.insert(command.end(), arguments.begin(), arguments.end());
    if (std::ranges::find(arguments, "--port") == arguments.end()) {
        command.insert(command.end(), {"--port", std::to_string(findFreePort())});
    }
    return command;
}

/// The number behind @p label, or 0.
std::uint16_t numberBehind(const std::string& line, const std::string& label)
{
    const auto found = line.find(label);
    return found == std::string::npos
               ? std::uint16_t{0}
               : static_cast<std::uint16_t>(std::stoul(line.substr(found + label.size())));
}

} // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command)
{
    const auto input = makePipe();
    const auto output = makePipe();
    const auto errors =
        open((directory_.path() / "errors").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    pid_ = fork();
    if (pid_ == 0) {
        become(command, input[0], output[1], errors);
    }
    close(input[0]);
    close(output[1]);
    close(errors);
    input_ = Pipe(input[1], std::ios::out);
    output_ = Pipe(output[0], std::ios::in);
    std::signal(SIGPIPE, SIG_IGN); // A child that has ended must not end the test.
}

ChildProcess::~ChildProcess()
{
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

void ChildProcess::write(std::string_view text)
{
    std::ostream(&input_) << text << std::flush;
}

std::string ChildProcess::readLine()
{
    std::istream lines(&output_);
    std::string line;
    if (!std::getline(lines, line) || lines.eof()) {
        throw std::runtime_error("the program ended: \"" + line + "\" " + errors());
    }
    return line;
}

std::string ChildProcess::readRest()
{
    return {std::istreambuf_iterator<char>(&output_), {}};
}

std::string ChildProcess::errors() const
{
    return readFile(directory_.path() / "errors");
}

std::size_t ChildProcess::openDescriptors() const
{
    const std::filesystem::directory_iterator entries("/proc/" + std::to_string(pid_) + "/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

void ChildProcess::signal(int number) const
{
    kill(pid_, number);
}

int ChildProcess::wait()
{
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

HostProcess::HostProcess(const std::string& binary, const std::vector<std::string>& arguments)
    : ChildProcess(hostCommand(binary, arguments))
{
    std::string line;
    while (port_ == 0) {
        line = readLine();
        port_ = numberBehind(line, "HTTP: ");
    }
    securePort_ = numberBehind(line, "HTTPS: ");
    // The answer to this marks the end of the start-up's lines.
    write("(mark)\n");
    while (!readLine().starts_with("error: ")) {
    }
    readLine();
}

std::string HostProcess::console(const std::string& line)
{
    write(line + "\n");
    std::string answer;
    for (auto next = readLine(); !next.empty(); next = readLine()) {
        answer += answer.empty() ? next : "\n" + next;
    }
    return answer;
}

} // namespace connector::test
