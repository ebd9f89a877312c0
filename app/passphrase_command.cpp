#include "app/passphrase_command.h"

#include "account/account_store.h"
#include "account/file_lock.h"
#include "app/control_client.h"
#include "app/quit_on_signal.h"
#include "app/secret_input.h"
#include "crypto/group_setup.h"
#include "hub/network.h"

#include <QCoreApplication>

#include <cstdio>
#include <unistd.h>

namespace sorrelwind {

namespace {

class Passphrase {
public:
    Passphrase(const CommandLine& line, const L10n& l10n) : m_l10n(l10n), m_store(line.configDir) {}

    int run() {
        const auto account = m_store.load();
        if (!account)
            return fail(inNoGroup(m_store.dir()).in(m_l10n.lang()));
        const QString passphrase =
            readSecretLine(text(u"设备组口令：", u"Group passphrase: ")).value_or(QString());
        if (passphrase.isEmpty())
            return fail(text(u"口令是空的", u"The passphrase is empty"), kExitUsage);
        const QuitOnSignal quitOnSignal;
        m_tasks.start(derive(*account, passphrase));
        QCoreApplication::exec();
        return m_exitCode ? *m_exitCode
                          : fail(text(u"已取消，没有更改", u"Cancelled: nothing was changed"));
    }

private:
    QString text(const char16_t* zh, const char16_t* en) const { return m_l10n.text(zh, en); }

    // A terminal may give a name in a sentence its own direction; a script has no use for the
    // marks.
    static void say(QString line) {
        if (isatty(STDERR_FILENO) == 0)
            line.remove(QChar(0x2068)).remove(QChar(0x2069));
        std::fprintf(stderr, "%s\n", qPrintable(line));
    }
    static int fail(const QString& sentence, int code = kExitFailed) {
        say(sentence);
        return code;
    }

    Task<> derive(Account account, QString passphrase) {
        const GroupSetup setup(m_network);
        const GroupSetup::Progress progress = [this](const Sentence& sentence) {
            say(sentence.in(m_l10n.lang()));
        };
        auto deriving = setup.rekey(account, passphrase, progress);
        const auto rekeyed = co_await std::move(deriving);
        m_exitCode =
            rekeyed ? keep(*rekeyed) : fail(setupMessage(rekeyed.error()).in(m_l10n.lang()));
        QMetaObject::invokeMethod(QCoreApplication::instance(), &QCoreApplication::quit,
                                  Qt::QueuedConnection);
    }

    int keep(const Account& rekeyed) const {
        const auto told =
            askAgent(m_store.dir(), {QStringLiteral("passphrase"),
                                     QString::fromUtf8(rekeyed.toJson()), m_l10n.lang()});
        if (told)
            return told->error ? fail(*told->error)
                               : done(told->result.value(QLatin1StringView("keyFits")).toBool());
        if (told.error() != ControlFailure::notRunning)
            return fail(sentence(told.error(), m_store.dir(), m_l10n.lang()));
        // None starts meanwhile and keeps the earlier key.
        const auto lock = FileLock::tryLock(m_store.dir() + QStringLiteral("/agent.lock"));
        if (!lock)
            return fail(sentence(ControlFailure::noAnswer, m_store.dir(), m_l10n.lang()));
        if (const auto saved = m_store.save(rekeyed); !saved)
            return fail(text(u"口令无法保存：%1。没有更改，请腾出磁盘空间后重试。",
                             u"The passphrase could not be saved: %1. Nothing was changed — make "
                             u"room on the disk and try again.")
                            .arg(saved.error().in(m_l10n.lang())));
        return done(false);
    }

    int done(bool fits) const {
        say(fits ? text(u"口令正确。", u"The passphrase fits.")
                 : text(u"口令已保存。", u"The passphrase is saved. ") +
                       passphraseUnproven().in(m_l10n.lang()));
        return kExitDone;
    }

    const L10n& m_l10n;
    AccountStore m_store;
    Network m_network;
    std::optional<int> m_exitCode; // once the flow has ended
    TaskScope m_tasks;
};

} // namespace

int runPassphrase(const CommandLine& line, const L10n& l10n) {
    return Passphrase(line, l10n).run();
}

} // namespace sorrelwind
