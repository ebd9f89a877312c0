#pragma once

#include <filesystem>

namespace sorrelwind::relay {

/// A copy of a hub's database on its way out or back.
struct CopyOptions {
    bool restores = false;
    std::filesystem::path file;
    std::filesystem::path data; ///< the hub's folder
};

/// Where the hub's database is when --data does not tell: in its usual folder, else in that of the
/// system's service.
[[nodiscard]] std::filesystem::path directoryInUse();

/// Writes all that the hub has stored at this moment, whether it runs or not, to `file`, which is
/// replaced whole and is nobody else's to read; or puts such a file in the place of the database of
/// a hub that does not run, for the owner of its folder. Says in a line what went where. Throws
/// StartError or StoreError, and has changed nothing then.
void copyDatabase(const CopyOptions& options);

} // namespace sorrelwind::relay
