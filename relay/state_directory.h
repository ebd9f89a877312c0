#pragma once

#include <filesystem>
#include <stdexcept>

namespace sorrelwind::relay {

/// Why the hub cannot start; `what()` is one sentence. It may pass by itself, as when another
/// process has the port.
class StartError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// An option, or what it names, that the operator has to put right: no later attempt will do
/// better.
class OptionError : public StartError {
public:
    using StartError::StartError;
};

/// Where the hub keeps its state when it is not told: the first of $STATE_DIRECTORY, as systemd
/// sets it, else ~/.local/state/sorrelwind-hub.
[[nodiscard]] std::filesystem::path defaultStateDirectory();

/// The hub's own folder, held for one process at a time. Made with mode 0700 if it is missing.
class StateDirectory {
public:
    /// Throws OptionError when the folder cannot be made or used, StartError when another hub uses
    /// it.
    explicit StateDirectory(const std::filesystem::path& path);
    /// Throws the same OptionError, and one for a file that is no database, without making anything
    /// or taking hold of it.
    static void check(const std::filesystem::path& path);
    ~StateDirectory();
    StateDirectory(const StateDirectory&) = delete;
    StateDirectory& operator=(const StateDirectory&) = delete;

    /// The database file, which exists with mode 0600 by now; SQLite gives its companions
    /// (-wal, -shm) the same mode.
    [[nodiscard]] std::filesystem::path database() const { return m_path / "hub.db"; }

private:
    std::filesystem::path m_path;
    int m_folder = -1;
};

} // namespace sorrelwind::relay
