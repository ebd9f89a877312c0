#pragma once

#include <filesystem>
#include <stdexcept>

namespace sorrelwind::relay {

/// Something that the operator has to put right before the hub can start; `what()` is one sentence.
class StartError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Where the hub keeps its state when it is not told: the first of $STATE_DIRECTORY, as systemd
/// sets it, else ~/.local/state/sorrelwind-hub.
[[nodiscard]] std::filesystem::path defaultStateDirectory();

/// The hub's own folder, held for one process at a time. Made with mode 0700 if it is missing.
class StateDirectory {
public:
    /// Throws StartError when the folder cannot be made or used, or another hub uses it.
    explicit StateDirectory(const std::filesystem::path& path);
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
