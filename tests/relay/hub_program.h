#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/types.h>

namespace sorrelwind::relay::test {

constexpr std::chrono::seconds kPatience{20};

/// The hub of this build.
[[nodiscard]] std::filesystem::path builtHub();

/// A folder of its own that goes with the test.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

/// A program with its arguments, killed at the end if it still runs.
class Program {
public:
    explicit Program(const std::vector<std::string>& command);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    [[nodiscard]] pid_t pid() const { return m_pid; }
    void signal(int number) const;
    /// Reads on until it has `text`; false when time or the program is over before.
    bool waitForLog(const std::string& text);
    /// Waits for the end; the exit status, 128 + the signal that killed it, or -1 in time.
    int wait(std::chrono::milliseconds time = kPatience);
    /// Bytes of memory that it has now.
    [[nodiscard]] std::size_t residentBytes() const;
    /// All of stdout and stderr so far.
    [[nodiscard]] const std::string& log() const { return m_log; }

private:
    bool readMore(std::chrono::steady_clock::time_point deadline);

    pid_t m_pid = -1;
    int m_output = -1;
    int m_pidfd = -1;
    std::string m_log;
};

/// The real hub, started on a free loopback port.
class HubProgram : public Program {
public:
    explicit HubProgram(const std::filesystem::path& data,
                        const std::vector<std::string>& flags = {},
                        const std::filesystem::path& program = builtHub());

    [[nodiscard]] unsigned short port() const { return m_port; }

private:
    unsigned short m_port = 0;
};

/// What a run of the hub that ends by itself said, and its exit status.
struct Outcome {
    int status;
    std::string text;
};
[[nodiscard]] Outcome runToEnd(const std::vector<std::string>& flags,
                               std::chrono::milliseconds time = kPatience,
                               const std::filesystem::path& program = builtHub());

} // namespace sorrelwind::relay::test
