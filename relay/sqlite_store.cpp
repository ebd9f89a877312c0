#include "relay/sqlite_store.h"

#include <iterator>
#include <span>

namespace sorrelwind::relay {

namespace {

/// What brings the tables from each version of theirs to the next.
constexpr const char* kSteps[] = {R"sql(
CREATE TABLE groups (
  id           TEXT PRIMARY KEY,
  created_at   INTEGER NOT NULL,
  crypto_v     INTEGER,
  crypto_kdf   TEXT,
  crypto_iters INTEGER,
  crypto_salt  TEXT
);
CREATE TABLE devices (
  seq          INTEGER PRIMARY KEY,
  id           TEXT NOT NULL UNIQUE,
  group_id     TEXT NOT NULL REFERENCES groups ON DELETE CASCADE,
  token_sha256 BLOB NOT NULL UNIQUE,
  name         TEXT NOT NULL,
  platform     TEXT NOT NULL,
  created_at   INTEGER NOT NULL,
  last_seen    INTEGER NOT NULL
);
CREATE INDEX devices_by_group ON devices (group_id);
CREATE TABLE pairing_codes (
  seq          INTEGER PRIMARY KEY,
  code_sha256  BLOB NOT NULL UNIQUE,
  group_id     TEXT NOT NULL REFERENCES groups ON DELETE CASCADE,
  device_id    TEXT NOT NULL REFERENCES devices (id) ON DELETE CASCADE,
  expires_at   INTEGER NOT NULL
);
CREATE INDEX pairing_codes_by_group ON pairing_codes (group_id);
CREATE INDEX pairing_codes_by_device ON pairing_codes (device_id);
CREATE TABLE probes (id INTEGER PRIMARY KEY, count INTEGER NOT NULL);
INSERT INTO probes VALUES (1, 0);
PRAGMA user_version = 1;
)sql",
                                  // Of the groups that are there nobody knows; they stay.
                                  R"sql(
ALTER TABLE groups ADD COLUMN unused INTEGER NOT NULL DEFAULT 0;
CREATE INDEX unused_groups ON groups (created_at) WHERE unused;
CREATE INDEX pairing_codes_by_end ON pairing_codes (expires_at);
PRAGMA user_version = 2;
)sql"};

Database opened(const std::string& path) {
    Database database(path);
    database.run("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON;");
    const auto version = database.integer("PRAGMA user_version");
    if (version < 0 || version > std::ssize(kSteps))
        throw StoreError("the database was written by a newer version of this program");
    for (const auto* step : std::span(kSteps).subspan(static_cast<std::size_t>(version))) {
        Transaction transaction(database);
        database.run(step);
        transaction.commit();
    }
    return database;
}

} // namespace

SqliteStore::SqliteStore(const std::string& path)
    : m_database(opened(path)),
      m_insertGroup(m_database, "INSERT INTO groups (id, created_at, unused) VALUES (?, ?, 1)"),
      m_deleteGroup(m_database, "DELETE FROM groups WHERE id = ?"),
      m_isUnused(m_database, "SELECT 1 FROM groups WHERE id = ? AND unused"),
      m_markUsed(m_database, "UPDATE groups SET unused = 0 WHERE id = ?"),
      m_removeUnused(m_database,
                     "DELETE FROM groups WHERE id IN (SELECT id FROM groups AS g WHERE unused AND "
                     "created_at <= ? AND (SELECT count(*) FROM devices WHERE group_id = g.id) = 1 "
                     "LIMIT ?)"),
      m_crypto(m_database, "SELECT crypto_v, crypto_kdf, crypto_iters, crypto_salt FROM groups "
                           "WHERE id = ? AND crypto_salt IS NOT NULL"),
      m_setCrypto(m_database, "UPDATE groups SET crypto_v = ?, crypto_kdf = ?, crypto_iters = ?, "
                              "crypto_salt = ? WHERE id = ? AND crypto_salt IS NULL"),
      m_insertDevice(m_database, "INSERT INTO devices (id, group_id, token_sha256, name, platform, "
                                 "created_at, last_seen) VALUES (?, ?, ?, ?, ?, ?, ?)"),
      m_deleteDevice(m_database, "DELETE FROM devices WHERE id = ? AND group_id = ?"),
      m_deviceByToken(m_database, "SELECT group_id, id FROM devices WHERE token_sha256 = ?"),
      m_devices(m_database, "SELECT id, name, platform, created_at, last_seen FROM devices "
                            "WHERE group_id = ? ORDER BY seq"),
      m_countDevices(m_database, "SELECT count(*) FROM devices WHERE group_id = ?"),
      m_rename(m_database, "UPDATE devices SET name = ? WHERE id = ? AND group_id = ?"),
      m_lastSeen(m_database, "UPDATE devices SET last_seen = ? WHERE id = ?"),
      m_insertCode(m_database, "INSERT INTO pairing_codes (code_sha256, group_id, device_id, "
                               "expires_at) VALUES (?, ?, ?, ?)"),
      m_liveCodes(m_database, "SELECT count(*) FROM pairing_codes WHERE expires_at > ?"),
      m_codeGroup(m_database,
                  "SELECT group_id FROM pairing_codes WHERE code_sha256 = ? AND expires_at > ?"),
      m_deleteCode(m_database, "DELETE FROM pairing_codes WHERE code_sha256 = ?"),
      m_trimCodes(m_database,
                  "DELETE FROM pairing_codes WHERE expires_at <= ?1 OR (group_id = ?2 AND seq NOT "
                  "IN (SELECT seq FROM pairing_codes WHERE group_id = ?2 AND expires_at > ?1 "
                  "ORDER BY seq DESC LIMIT ?3))"),
      m_probe(m_database, "UPDATE probes SET count = count + 1") {
    m_database.hurry();
}

void SqliteStore::insertDevice(const std::string& group, const DeviceRecord& device,
                               const Digest& token) {
    Query(m_insertDevice, device.id, group, token, device.name, device.platform, device.createdAt,
          device.lastSeen)
        .run();
}

void SqliteStore::createGroup(const std::string& group, const DeviceRecord& first,
                              const Digest& token) {
    Transaction transaction(m_database);
    Query(m_insertGroup, group, first.createdAt).run();
    insertDevice(group, first, token);
    transaction.commit();
}

void SqliteStore::markUsed(const std::string& group) {
    if (Query(m_isUnused, group).next()) // else no lock for a write is taken
        Query(m_markUsed, group).run();
}

int SqliteStore::removeUnused(std::int64_t madeBefore, int most) {
    Query(m_removeUnused, madeBefore, std::int64_t{most}).run();
    return m_database.changes();
}

std::optional<Member> SqliteStore::memberByToken(const Digest& token) {
    Query query(m_deviceByToken, token);
    if (!query.next())
        return std::nullopt;
    return Member{query.text(0), query.text(1)};
}

std::vector<DeviceRecord> SqliteStore::devices(const std::string& group) {
    std::vector<DeviceRecord> devices;
    Query query(m_devices, group);
    while (query.next())
        devices.push_back(
            {query.text(0), query.text(1), query.text(2), query.integer(3), query.integer(4)});
    return devices;
}

bool SqliteStore::rename(const Member& device, const std::string& name) {
    Query(m_rename, name, device.device, device.group).run();
    return m_database.changes() > 0;
}

Store::Removal SqliteStore::remove(const Member& device) {
    Transaction transaction(m_database);
    Query(m_deleteDevice, device.device, device.group).run();
    if (m_database.changes() == 0)
        return Removal::noSuchDevice;
    Query left(m_countDevices, device.group);
    left.next();
    const bool last = left.integer(0) == 0;
    if (last)
        Query(m_deleteGroup, device.group).run();
    transaction.commit();
    return last ? Removal::lastDevice : Removal::device;
}

void SqliteStore::saveLastSeen(const std::vector<std::pair<std::string, std::int64_t>>& times) {
    if (times.empty())
        return;
    Transaction transaction(m_database);
    for (const auto& [device, time] : times)
        Query(m_lastSeen, time, device).run();
    transaction.commit();
}

std::optional<CryptoRecord> SqliteStore::crypto(const std::string& group) {
    Query query(m_crypto, group);
    if (!query.next())
        return std::nullopt;
    return CryptoRecord{query.integer(0), query.text(1), query.integer(2), query.text(3)};
}

CryptoRecord SqliteStore::setCrypto(const std::string& group, const CryptoRecord& record) {
    Query(m_setCrypto, record.v, record.kdf, record.iters, record.salt, group).run();
    return crypto(group).value_or(record);
}

void SqliteStore::addCode(const Digest& code, const Member& by, std::int64_t now,
                          std::int64_t expiresAt, std::size_t maxLive) {
    Transaction transaction(m_database);
    Query(m_insertCode, code, by.group, by.device, expiresAt).run();
    Query(m_trimCodes, now, by.group, static_cast<std::int64_t>(maxLive)).run();
    transaction.commit();
}

std::int64_t SqliteStore::liveCodes(std::int64_t now) {
    Query query(m_liveCodes, now);
    query.next();
    return query.integer(0);
}

std::optional<std::string> SqliteStore::groupOfCode(const Digest& code, std::int64_t now) {
    Query query(m_codeGroup, code, now);
    if (!query.next())
        return std::nullopt;
    return query.text(0);
}

Store::Join SqliteStore::joinByCode(const Digest& code, const DeviceRecord& device,
                                    const Digest& token, std::int64_t now, std::size_t maxDevices) {
    Transaction transaction(m_database);
    const auto group = groupOfCode(code, now);
    if (!group)
        return Join::noSuchCode;
    Query members(m_countDevices, *group);
    members.next();
    if (maxDevices != 0 && members.integer(0) >= static_cast<std::int64_t>(maxDevices))
        return Join::groupFull;
    Query(m_deleteCode, code).run();
    insertDevice(*group, device, token);
    transaction.commit();
    return Join::joined;
}

void SqliteStore::probe() {
    if (m_database.integer("SELECT count(*) FROM groups") < 0)
        throw StoreError("the database cannot be read");
    Query(m_probe).run();
}

} // namespace sorrelwind::relay
