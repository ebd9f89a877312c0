#include "tests/relay/hub_program.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace sorrelwind::relay::test {

namespace {

using Clock = std::chrono::steady_clock;

struct Child {
    pid_t pid;
    int output;
};

Child start(std::vector<std::string> command) {
    std::vector<char*> argv;
    for (auto& word : command)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("pipe");
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL); // also when the test itself is killed
        ::dup2(ends[1], STDOUT_FILENO);
        ::dup2(ends[1], STDERR_FILENO);
        ::execvp(argv[0], argv.data());
        ::_exit(127);
    }
    ::close(ends[1]);
    return {pid, ends[0]};
}

bool readable(int file, Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd wait{file, POLLIN, 0};
    return left.count() > 0 && ::poll(&wait, 1, static_cast<int>(left.count())) > 0;
}

std::vector<std::string> joined(std::vector<std::string> words,
                                const std::vector<std::string>& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

int statusOf(int state) {
    return WIFEXITED(state) ? WEXITSTATUS(state) : 128 + WTERMSIG(state);
}

} // namespace

std::filesystem::path builtHub() {
    return SORRELWIND_BIN_DIR "/sorrelwind-hub";
}

TemporaryFolder::TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "hub-test-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("mkdtemp");
    m_path = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

Program::Program(const std::vector<std::string>& command) {
    const auto child = start(command);
    m_pid = child.pid;
    m_output = child.output;
    m_pidfd = static_cast<int>(::syscall(SYS_pidfd_open, m_pid, 0));
}

Program::~Program() {
    if (m_pid > 0) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
    ::close(m_pidfd);
    ::close(m_output);
}

void Program::signal(int number) const {
    ::kill(m_pid, number);
}

std::size_t Program::residentBytes() const {
    std::ifstream stream("/proc/" + std::to_string(m_pid) + "/statm");
    std::size_t whole = 0;
    std::size_t resident = 0;
    stream >> whole >> resident;
    return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

bool Program::readMore(Clock::time_point deadline) {
    char buffer[4096];
    if (!readable(m_output, deadline))
        return false;
    const auto size = ::read(m_output, buffer, sizeof buffer);
    if (size <= 0)
        return false;
    m_log.append(buffer, static_cast<std::size_t>(size));
    return true;
}

bool Program::waitForLog(const std::string& text) {
    const auto deadline = Clock::now() + kPatience;
    while (m_log.find(text) == std::string::npos)
        if (!readMore(deadline))
            return false;
    return true;
}

int Program::wait(std::chrono::milliseconds time) {
    if (m_pid <= 0 || !readable(m_pidfd, Clock::now() + time))
        return -1;
    while (readMore(Clock::now() + kPatience)) {
    }
    int state = 0;
    ::waitpid(m_pid, &state, 0);
    m_pid = -1;
    return statusOf(state);
}

HubProgram::HubProgram(const std::filesystem::path& data, const std::vector<std::string>& flags,
                       const std::filesystem::path& program)
    : Program(joined(joined({program.string()}, flags),
                     {"--listen", "127.0.0.1:0", "--data", data.string()})) {
    const std::string mark = "listening on http";
    if (waitForLog(mark) && waitForLog("\n"))
        m_port = static_cast<unsigned short>(std::strtoul(
            log().c_str() + log().find("127.0.0.1:", log().find(mark)) + 10, nullptr, 10));
}

Outcome runToEnd(const std::vector<std::string>& flags, std::chrono::milliseconds time,
                 const std::filesystem::path& program) {
    Program run(joined({program.string()}, flags));
    const int status = run.wait(time);
    return {status, run.log()};
}

} // namespace sorrelwind::relay::test
