#include "account/account_store.h"

#include "base/system_reason.h"
#include "tests/support/print_qt.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <csignal>
#include <sys/fsuid.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace sorrelwind {
namespace {

Account exampleAccount() {
    return {u"https://hub.example"_qs, u"g1"_qs,          u"d1"_qs,   u"Büro \"1\" / 书房"_qs,
            u"g1.secret"_qs,           u"abcde-fghjk"_qs, u"AAAA"_qs, {}};
}

const QStringList kOneFile{u"account.json"_qs};

class Store : public testing::Test {
protected:
    [[nodiscard]] QString dir() const { return m_dir.filePath(u"a/b"_qs); }
    void put(const QString& name, const QByteArray& bytes, mode_t mode = 0600) {
        QDir().mkpath(dir());
        QFile file(dir() + u'/' + name);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        file.close();
        ASSERT_EQ(::chmod(QFile::encodeName(file.fileName()).constData(), mode), 0);
    }
    [[nodiscard]] QByteArray bytes(const QString& name = u"account.json"_qs) const {
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
    EXPECT_EQ(names(), kOneFile);
    const QJsonObject object = QJsonDocument::fromJson(bytes()).object();
    EXPECT_EQ(object.keys().join(u' '),
              u"deviceId deviceName groupId passphrase salt server token"_qs);
    // One member a line, in sorted order in the text as well.
    const QList<QByteArray> lines = bytes().trimmed().split('\n');
    EXPECT_EQ(lines.size(), 9);
    EXPECT_TRUE(std::is_sorted(lines.begin() + 1, lines.end() - 1));
}

TEST_F(Store, ReplacesTheWholeEarlierFileAndItsMode) {
    put(u"account.json"_qs, QByteArray(10'000, 'x'), 0644);
    Account account = exampleAccount();
    account.passphrase.reset();
    account.key = u"KEY="_qs;
    EXPECT_TRUE(m_store.save(account).has_value());
    EXPECT_EQ(mode(), 0600U);
    EXPECT_EQ(m_store.load(), account);
}

TEST_F(Store, LoadsOnlyWholeRecords) {
    const QByteArray five =
        R"("server":"s","groupId":"g","deviceId":"d","deviceName":"n","token":"t")";
    const QByteArray whole = "{" + five + "}";
    const auto with = [&](const char* part, const char* by) {
        return QByteArray(whole).replace(part, by);
    };
    const std::tuple<const char*, QByteArray, bool> kTable[] = {
        {"the required members", whole, true},
        {"any order and white space", "\n{ \"x\":[1], " + five + "\t}\n", true},
        {"escaped slash", "{" + five + R"(,"salt":"a\/b"})", true},
        {"null optionals", "{" + five + R"(,"passphrase":null,"salt":null,"key":null})", true},
        {"token missing", R"({"server":"s","groupId":"g","deviceId":"d","deviceName":"n"})", false},
        {"token null", with("\"t\"", "null"), false},
        {"token a number", with("\"t\"", "5"), false},
        {"server an object", with("\"s\"", "{}"), false},
        {"key a number", "{" + five + R"(,"key":5})", false},
        {"salt an array", "{" + five + R"(,"salt":["a"]})", false},
        {"member names in capitals", with("token", "TOKEN"), false},
        {"array around it", "[" + whole + "]", false},
        {"cut short", "{" + five, false},
        {"text after it", whole + "{}", false},
        {"not UTF-8", with("\"t\"", "\"\xff\""), false},
        {"nested too deeply", "{\"x\":" + QByteArray(100'000, '[') + "," + five + "}", false},
        {"too large", whole + QByteArray(2 * 1024 * 1024, ' '), false},
        {"empty", "", false},
    };
    for (const auto& [name, json, loads] : kTable) {
        SCOPED_TRACE(name);
        put(u"account.json"_qs, json);
        const auto account = m_store.load();
        EXPECT_EQ(account.has_value(), loads);
        EXPECT_EQ(bytes(), json) << "load never changes the file";
        if (account) {
            EXPECT_EQ(account->token, u"t"_qs);
            EXPECT_FALSE(account->passphrase || account->key);
        }
    }
    put(u"account.json"_qs, "{" + five + R"(,"salt":"a\/b"})");
    EXPECT_EQ(m_store.load()->salt, u"a/b"_qs);
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
    put(u"config.json"_qs, R"({"passphrase":"old"})");
    EXPECT_TRUE(m_store.save(exampleAccount()).has_value());
    m_store.clear();
    EXPECT_EQ(names(), QStringList({u"config.json"_qs}));
    EXPECT_EQ(m_store.legacyPassphrase(), u"old"_qs);
}

TEST_F(Store, LegacyPassphrase) {
    EXPECT_EQ(m_store.legacyPassphrase(), std::nullopt);
    const std::pair<const char*, std::optional<QString>> kTable[] = {
        {R"({"passphrase":" p ","server":5})", u" p "_qs},
        {R"({"passphrase":""})", {}},
        {R"({"passphrase":null})", {}},
        {R"({"passphrase":5})", {}},
        {R"({"server":"s"})", {}},
        {R"(["passphrase"])", {}},
        {"rubbish", {}},
        {"", {}},
    };
    for (const auto& [json, passphrase] : kTable) {
        put(u"config.json"_qs, json);
        EXPECT_EQ(m_store.legacyPassphrase(), passphrase) << json;
        EXPECT_EQ(bytes(u"config.json"_qs), QByteArray(json));
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
    account.key = u"KEY="_qs;

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

    ASSERT_FALSE(saved);
    EXPECT_EQ(saved.error(), systemReason(EFBIG));
    ASSERT_FALSE(prepared);
    EXPECT_TRUE(prepared.error().zh.contains(u"文件大小受到限制"_qs));
    EXPECT_EQ(g_modes, 0600U);
    EXPECT_EQ(bytes(), earlier);
    EXPECT_EQ(names(), kOneFile);
    EXPECT_TRUE(m_store.prepare().has_value());
    EXPECT_EQ(names(), kOneFile) << "the probe goes";
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
    put(u"account.json"_qs, "{}", 0000);
    const auto setModes = [this](mode_t mode) {
        for (const QString& path : {m_dir.path(), m_dir.filePath(u"a"_qs), dir()})
            ASSERT_EQ(::chmod(QFile::encodeName(path).constData(), mode), 0);
    };
    setModes(0555);
    {
        const AsNobody nobody;
        EXPECT_FALSE(m_store.load());
        EXPECT_EQ(m_store.save(exampleAccount()).error(), systemReason(EACCES));
        EXPECT_TRUE(m_store.prepare().error().zh.contains(u"没有权限"_qs));
        const AccountStore below(dir() + u"/c"_qs);
        EXPECT_FALSE(below.save(exampleAccount()));
        EXPECT_FALSE(below.prepare());
        m_store.clear();
    }
    setModes(0755);
    EXPECT_EQ(names(), kOneFile);
}

} // namespace
} // namespace sorrelwind
