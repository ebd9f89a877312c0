#include "base/defaults.h"
#include "base/l10n.h"
#include "base/prefs.h"
#include "tests/support/print_qt.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <csignal>
#include <sys/resource.h>

namespace sorrelwind {
namespace {

using Appearance = Prefs::Appearance;

class Preferences : public testing::Test {
protected:
    void store(const QByteArray& json) {
        QFile file(m_dir.filePath(u"preferences.json"_qs));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(json);
    }
    [[nodiscard]] QByteArray stored() const {
        QFile file(m_dir.filePath(u"preferences.json"_qs));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    [[nodiscard]] QString dir() const { return m_dir.path(); }

private:
    QTemporaryDir m_dir;
};

TEST_F(Preferences, ReadsWhatIsUsableOfAFile) {
    const struct {
        QByteArray json;
        std::optional<Lang> lang; // none: the system's
        Appearance appearance = Appearance::system;
        bool bubble = true;
    } kTable[] = {
        {"{}", {}},
        {R"({"language":"zh","appearance":"light","showSyncBubble":false})", Lang::zh,
         Appearance::light, false},
        {R"({"language":"en","appearance":"dark","showSyncBubble":true})", Lang::en,
         Appearance::dark},
        {R"({"language":"fr","appearance":"system"})", {}},
        {R"({"language":"ZH","appearance":"Light"})", {}},
        {R"({"language":"","appearance":""})", {}},
        {R"({"language":["zh"],"appearance":{"a":"dark"},"showSyncBubble":[false]})", {}},
        {R"({"language":null,"appearance":null,"showSyncBubble":null})", {}},
        {R"({"language":true,"appearance":1,"showSyncBubble":"false"})", {}},
        {R"({"showSyncBubble":0})", {}},
        {R"({"appearance":"dark")", {}},
        {R"(["dark"])", {}},
        {"\xff\xfe rubbish", {}},
        {"", {}},
        {"{\"appearance\":\"dark\",\"x\":\"" + QByteArray(2 * 1024 * 1024, 'x') + "\"}", {}},
    };
    const Lang system = [&] {
        Defaults none(dir() + u"/none"_qs);
        return L10n(none).lang();
    }();
    Defaults defaults(dir()); // sees each new content without being told
    for (const auto& row : kTable) {
        SCOPED_TRACE(row.json.first(qMin(row.json.size(), 80)).toStdString());
        store(row.json);
        EXPECT_EQ(L10n(defaults).lang(), row.lang.value_or(system));
        const Prefs prefs(defaults);
        EXPECT_EQ(prefs.appearance(), row.appearance);
        EXPECT_EQ(prefs.showSyncBubble(), row.bubble);
    }
}

TEST_F(Preferences, WritesKeepTypesAndWhatOthersStored) {
    store(R"({"other":{"kept":[1,"two"]}})");
    Defaults defaults(dir());
    std::vector<Appearance> applied;
    Prefs prefs(defaults, [&](Appearance appearance) { applied.push_back(appearance); });
    for (const Appearance appearance : {Appearance::dark, Appearance::light, Appearance::system}) {
        prefs.setAppearance(appearance);
        EXPECT_EQ(prefs.appearance(), appearance);
    }
    EXPECT_EQ(applied, (std::vector{Appearance::dark, Appearance::light, Appearance::system}));
    prefs.setShowSyncBubble(false);
    EXPECT_FALSE(Prefs(defaults).showSyncBubble());
    for (const char* member : {R"("appearance": "system")", R"("showSyncBubble": false)", "kept"})
        EXPECT_TRUE(stored().contains(member)) << member;
}

TEST_F(Preferences, FullDiskKeepsTheEarlierFile) {
    const QByteArray earlier = R"({"appearance":"dark","other":")" + QByteArray(500, 'x') + "\"}";
    store(earlier);
    Defaults defaults(dir());
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit full{200, limit.rlim_max}; // there is room for a lock file
    ::setrlimit(RLIMIT_FSIZE, &full);
    Prefs(defaults).setShowSyncBubble(false);
    ::setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, oldHandler);
    EXPECT_EQ(stored(), earlier);
}

TEST_F(Preferences, ToggleIsAChoiceThatStays) {
    Defaults defaults(dir() + u"/made/on/demand"_qs);
    L10n l10n(defaults);
    const Lang first = l10n.lang();
    l10n.toggle();
    EXPECT_NE(l10n.lang(), first);
    l10n.toggle();
    EXPECT_EQ(l10n.lang(), first);
    EXPECT_EQ(defaults.value(u"language"_qs).toString(), langName(first));
    EXPECT_EQ(l10n.text(u"中", u"e"), QString(first == Lang::zh ? u"中"_qs : u"e"_qs));
}

TEST_F(Preferences, LanguageFollowsTheSystemUntilOneIsChosen) {
    // The system's locale is read once in a process, so each case is a process of its own.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::pair<const char*, Lang> kTable[] = {
        {"zh_CN.UTF-8", Lang::zh}, {"zh_TW.UTF-8", Lang::zh}, {"zh_HK.UTF-8", Lang::zh},
        {"zh", Lang::zh},          {"en_GB.UTF-8", Lang::en}, {"de_DE.UTF-8", Lang::en},
        {"C", Lang::en},           {"C.UTF-8", Lang::en}};
    const QByteArray before = qgetenv("LC_ALL");
    for (const auto& [locale, lang] : kTable) {
        qputenv("LC_ALL", locale);
        EXPECT_EXIT(
            {
                Defaults defaults(dir());
                L10n l10n(defaults);
                const Lang system = l10n.lang();
                l10n.toggle();
                l10n.toggle();
                QDir(dir()).removeRecursively(); // an exit destroys no fixture
                std::exit(system == lang && l10n.lang() == lang ? 0 : 1);
            },
            testing::ExitedWithCode(0), "")
            << locale;
    }
    before.isNull() ? qunsetenv("LC_ALL") : qputenv("LC_ALL", before);
}

} // namespace
} // namespace sorrelwind
