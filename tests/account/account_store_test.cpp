#include "account/account_store.h"
#include "tests/support/print_qt.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <csignal>
#include <fcntl.h>
#include <sys/fsuid.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace sorrelwind {
namespace {

Account exampleAccount() {
    Account account;
    account.server = QStringLiteral("https://hub.example");
    account.groupId = QStringLiteral("g1");
    account.deviceId = QStringLiteral("d1");
    account.deviceName = QStringLiteral("Büro \"1\" / 书房");
    account.token = QStringLiteral("g1.secret");
    account.passphrase = QStringLiteral("abcde-fghjk");
    account.salt = QStringLiteral("AAAA");
    return account;
}

class Store : public testing::Test {
protected:
    [[nodiscard]] QString dir() const { return m_dir.filePath(QStringLiteral("a/b")); }
    void put(const QString& name, const QByteArray& bytes, mode_t mode = 0600) {
        QDir().mkpath(dir());
        QFile file(dir() + u'/' + name);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        file.close();
        ASSERT_EQ(::chmod(QFile::encodeName(file.fileName()).constData(), mode), 0);
    }
    [[nodiscard]] QByteArray bytes(const QString& name = QStringLiteral("account.json")) const {
        QFile file(dir() + u'/' + name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    [[nodiscard]] mode_t mode() const {
        struct stat status {};
        ::stat(QFile::encodeName(m_store.fileUrl()).constData(), &status);
        return status.st_mode & 07777;
    }
    /// All names in the directory, hidden ones too.
    [[nodiscard]] QStringList names() const {
        return QDir(dir()).entryList(QDir::Files | QDir::Hidden | QDir::System);
    }

    QTemporaryDir m_dir;
    AccountStore m_store{dir()};
};

TEST_F(Store, SavesSortedWithoutAbsentMembersForItsOwnerOnly) {
    const mode_t before = ::umask(0);
    EXPECT_TRUE(m_store.save(exampleAccount()).has_value());
    ::umask(before);
    EXPECT_EQ(m_store.load(), exampleAccount());
    EXPECT_EQ(mode(), 0600U);
    EXPECT_EQ(names(), QStringList({QStringLiteral("account.json")}));
    const QJsonObject object = QJsonDocument::fromJson(bytes()).object();
    EXPECT_EQ(object.keys().join(u' '),
              QStringLiteral("deviceId deviceName groupId passphrase salt server token"));
    // One member a line, in sorted order in the text as well.
    const QList<QByteArray> lines = bytes().trimmed().split('\n');
    EXPECT_EQ(lines.size(), 9);
    EXPECT_TRUE(std::is_sorted(lines.begin() + 1, lines.end() - 1));
}

TEST_F(Store, ReplacesTheWholeEarlierFileAndItsMode) {
    put(QStringLiteral("account.json"), QByteArray(10'000, 'x'), 0644);
    Account account = exampleAccount();
    account.passphrase.reset();
    account.key = QStringLiteral("KEY=");
    EXPECT_TRUE(m_store.save(account).has_value());
    EXPECT_EQ(mode(), 0600U);
    EXPECT_EQ(m_store.load(), account);
}

TEST_F(Store, LoadsOnlyWholeRecords) {
    const QByteArray five =
        R"("server":"s","groupId":"g","deviceId":"d","deviceName":"n","token":"t")";
    const struct {
        const char* name;
        QByteArray json;
        bool loads;
    } kTable[] = {
        {"the required members", "{" + five + "}", true},
        {"any order and white space", "\n{ \"x\":[1], " + five + "\t}\n", true},
        {"escaped slash", "{" + five + R"(,"salt":"a\/b"})", true},
        {"null optionals", "{" + five + R"(,"passphrase":null,"salt":null,"key":null})", true},
        {"token missing", R"({"server":"s","groupId":"g","deviceId":"d","deviceName":"n"})", false},
        {"token null", QByteArray("{" + five + "}").replace("\"t\"", "null"), false},
        {"token a number", QByteArray("{" + five + "}").replace("\"t\"", "5"), false},
        {"server an object", QByteArray("{" + five + "}").replace("\"s\"", "{}"), false},
        {"key a number", "{" + five + R"(,"key":5})", false},
        {"salt an array", "{" + five + R"(,"salt":["a"]})", false},
        {"member names in capitals", QByteArray("{" + five + "}").replace("token", "TOKEN"), false},
        {"array around it", "[{" + five + "}]", false},
        {"cut short", "{" + five, false},
        {"text after it", "{" + five + "}{}", false},
        {"not UTF-8", QByteArray("{" + five + "}").replace("\"t\"", "\"\xff\""), false},
        {"nested too deeply", "{\"x\":" + QByteArray(100'000, '[') + "," + five + "}", false},
        {"too large", "{" + five + "}" + QByteArray(2 * 1024 * 1024, ' '), false},
        {"empty", "", false},
    };
    for (const auto& [name, json, loads] : kTable) {
        SCOPED_TRACE(name);
        put(QStringLiteral("account.json"), json);
        const auto account = m_store.load();
        EXPECT_EQ(account.has_value(), loads);
        EXPECT_EQ(bytes(), json) << "load never changes the file";
        if (account) {
            EXPECT_EQ(account->token, QStringLiteral("t"));
            EXPECT_FALSE(account->passphrase || account->key);
        }
    }
    put(QStringLiteral("account.json"), "{" + five + R"(,"salt":"a\/b"})");
    EXPECT_EQ(m_store.load()->salt, QStringLiteral("a/b"));
}

TEST_F(Store, WithoutAFileThereIsNoRecordAndNothingToClear) {
    EXPECT_FALSE(m_store.load());
    m_store.clear();
    EXPECT_FALSE(QDir(dir()).exists());
    QDir().mkpath(m_store.fileUrl()); // a directory in its place
    EXPECT_FALSE(m_store.load());
    EXPECT_FALSE(m_store.save(exampleAccount()));
}

TEST_F(Store, ClearLeavesTheLegacyFile) {
    put(QStringLiteral("config.json"), R"({"passphrase":"old"})");
    EXPECT_TRUE(m_store.save(exampleAccount()).has_value());
    m_store.clear();
    EXPECT_EQ(names(), QStringList({QStringLiteral("config.json")}));
    EXPECT_EQ(m_store.legacyPassphrase(), QStringLiteral("old"));
}

TEST_F(Store, LegacyPassphrase) {
    EXPECT_EQ(m_store.legacyPassphrase(), std::nullopt);
    const struct {
        const char* json;
        std::optional<QString> passphrase;
    } kTable[] = {
        {R"({"passphrase":" p ","server":5})", QStringLiteral(" p ")},
        {R"({"passphrase":""})", {}},
        {R"({"passphrase":null})", {}},
        {R"({"passphrase":5})", {}},
        {R"({"server":"s"})", {}},
        {R"(["passphrase"])", {}},
        {"rubbish", {}},
        {"", {}},
    };
    for (const auto& [json, passphrase] : kTable) {
        put(QStringLiteral("config.json"), json);
        EXPECT_EQ(m_store.legacyPassphrase(), passphrase) << json;
        EXPECT_EQ(bytes(QStringLiteral("config.json")), QByteArray(json));
    }
}

mode_t g_modes = 0; // of every file below g_dir that was open at the first refused write
std::string g_dir;

/// What the kernel does at the first byte that a full disk refuses.
void lookAtOpenFiles(int) {
    for (int fd = 3; fd < 256; ++fd) {
        char link[32];
        char target[4096] = {};
        std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
        struct stat status {};
        if (::readlink(link, target, sizeof target - 1) > 0 &&
            std::string_view(target).starts_with(g_dir) && ::fstat(fd, &status) == 0)
            g_modes |= status.st_mode & 07777;
    }
}

TEST_F(Store, FullDiskKeepsTheEarlierFileAndNoOtherMayReadTheNewOneAtAnyTime) {
    ASSERT_TRUE(m_store.save(exampleAccount()).has_value());
    const QByteArray earlier = bytes();
    ASSERT_EQ(::chmod(QFile::encodeName(m_store.fileUrl()).constData(), 0644), 0);
    Account account = exampleAccount();
    account.key = QStringLiteral("KEY=");

    g_modes = 0;
    g_dir = QDir(dir()).canonicalPath().toStdString();
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit full{0, limit.rlim_max};
    const auto oldHandler = std::signal(SIGXFSZ, lookAtOpenFiles);
    ::setrlimit(RLIMIT_FSIZE, &full);
    const auto saved = m_store.save(account);
    const auto prepared = m_store.prepare();
    ::setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, oldHandler);

    EXPECT_FALSE(saved);
    EXPECT_FALSE(prepared);
    EXPECT_EQ(g_modes, 0600U);
    EXPECT_EQ(bytes(), earlier);
    EXPECT_EQ(names(), QStringList({QStringLiteral("account.json")}));
    EXPECT_TRUE(m_store.prepare().has_value());
    EXPECT_EQ(names(), QStringList({QStringLiteral("account.json")})) << "the probe goes";
}

/// File access as an ordinary user, also where the tests run as root.
class AsNobody {
public:
    AsNobody() : m_before(::setfsuid(::geteuid() == 0 ? 65534 : ::geteuid())) {}
    ~AsNobody() { ::setfsuid(static_cast<uid_t>(m_before)); }
    AsNobody(const AsNobody&) = delete;
    AsNobody& operator=(const AsNobody&) = delete;

private:
    int m_before;
};

TEST_F(Store, WhereNothingMayBeReadOrWritten) {
    put(QStringLiteral("account.json"), "{}", 0000);
    for (const QString& path : {m_dir.path(), m_dir.filePath(QStringLiteral("a")), dir()})
        ASSERT_EQ(::chmod(QFile::encodeName(path).constData(), 0555), 0);
    {
        const AsNobody nobody;
        EXPECT_FALSE(m_store.load());
        EXPECT_FALSE(m_store.save(exampleAccount()));
        EXPECT_FALSE(m_store.prepare());
        const AccountStore below(dir() + QStringLiteral("/c"));
        EXPECT_FALSE(below.save(exampleAccount()));
        EXPECT_FALSE(below.prepare());
        m_store.clear();
    }
    for (const QString& path : {m_dir.path(), m_dir.filePath(QStringLiteral("a")), dir()})
        ASSERT_EQ(::chmod(QFile::encodeName(path).constData(), 0755), 0);
    EXPECT_EQ(names(), QStringList({QStringLiteral("account.json")}));
}

} // namespace
} // namespace sorrelwind
