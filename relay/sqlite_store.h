#pragma once

#include "relay/sqlite.h"
#include "relay/store.h"

namespace sorrelwind::relay {

/// The store in one SQLite file, in WAL mode: a killed process loses nothing that was answered,
/// and `synchronous=FULL` says the same of a power cut. Changes are rare, so each may cost a sync.
class SqliteStore final : public Store {
public:
    /// Opens `path` and brings its tables up to date. ":memory:" is a store for tests.
    explicit SqliteStore(const std::string& path);

    void createGroup(const std::string& group, const DeviceRecord& first,
                     const Digest& token) override;
    void markUsed(const std::string& group) override;
    int removeUnused(std::int64_t madeBefore, int most) override;
    [[nodiscard]] std::optional<Member> memberByToken(const Digest& token) override;
    [[nodiscard]] std::vector<DeviceRecord> devices(const std::string& group) override;
    bool rename(const Member& device, const std::string& name) override;
    Removal remove(const Member& device) override;
    void saveLastSeen(const std::vector<std::pair<std::string, std::int64_t>>& times) override;
    [[nodiscard]] std::optional<CryptoRecord> crypto(const std::string& group) override;
    CryptoRecord setCrypto(const std::string& group, const CryptoRecord& record) override;
    void addCode(const Digest& code, const Member& by, std::int64_t now, std::int64_t expiresAt,
                 std::size_t maxLive) override;
    [[nodiscard]] std::int64_t liveCodes(std::int64_t now) override;
    [[nodiscard]] std::optional<std::string> groupOfCode(const Digest& code,
                                                         std::int64_t now) override;
    Join joinByCode(const Digest& code, const DeviceRecord& device, const Digest& token,
                    std::int64_t now, std::size_t maxDevices) override;
    void probe() override;

private:
    void insertDevice(const std::string& group, const DeviceRecord& device, const Digest& token);

    Database m_database;
    Statement m_insertGroup, m_deleteGroup, m_isUnused, m_markUsed, m_removeUnused;
    Statement m_crypto, m_setCrypto;
    Statement m_insertDevice, m_deleteDevice, m_deviceByToken, m_devices, m_countDevices;
    Statement m_rename, m_lastSeen;
    Statement m_insertCode, m_liveCodes, m_codeGroup, m_deleteCode, m_trimCodes;
    Statement m_probe;
};

} // namespace sorrelwind::relay
