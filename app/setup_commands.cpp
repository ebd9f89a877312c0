#include "app/setup_commands.h"

#include "account/account_store.h"
#include "account/server_defaults.h"
#include "app/control_client.h"
#include "app/display.h"
#include "app/group_hub.h"
#include "app/quit_on_signal.h"
#include "app/secret_input.h"
#include "base/printable.h"
#include "core/membership_flow.h"
#include "hosting/hub_probe.h"
#include "hub/network.h"

#include <QCoreApplication>

#include <cstdio>
#include <memory>

namespace sorrelwind {

namespace {

class Setup {
public:
    Setup(const CommandLine& line, Defaults& defaults, const L10n& l10n)
        : m_line(line), m_l10n(l10n), m_store(line.configDir), m_hub(line.configDir, defaults) {}

    int run() {
        if (const auto ready = m_flow->prepare(); !ready)
            return fail(ready.error().in(m_l10n.lang()));
        const int ready = joins() ? readInvitation() : readWish();
        if (ready != kExitDone)
            return ready;
        std::optional<QuitOnSignal> quitOnSignal(std::in_place);
        makeMembership();
        QCoreApplication::exec();
        if (m_exitCode)
            return *m_exitCode;
        quitOnSignal.reset(); // the next signal ends the program at once
        return cancel();
    }

private:
    [[nodiscard]] bool joins() const { return m_line.command == QLatin1StringView("join"); }
    QString text(const char16_t* zh, const char16_t* en) const { return m_l10n.text(zh, en); }

    static void say(const QString& line) { std::fprintf(stderr, "%s\n", qPrintable(line)); }
    static int fail(const QString& sentence, int code = kExitFailed) {
        say(sentence);
        return code;
    }
    int refuse(const char16_t* zh, const char16_t* en) const {
        say(wrongUse(text(zh, en), m_line.command, m_l10n.lang()));
        return kExitUsage;
    }

    QString deviceName() const {
        const QString name = m_line.name.value_or(QString()).trimmed();
        return name.isEmpty() ? MembershipFlow::hostDeviceName()
                              : name.left(MembershipFlow::kMaxDeviceName);
    }

    int readWish() { return m_line.hosts || m_server ? readPassphrase() : failWithoutHub(); }

    int failWithoutHub() {
        bool answers = false;
        m_tasks.start(lookForHub(answers));
        QCoreApplication::exec();
        const QString create = commandLine(m_line.configDir, m_line.command);
        return fail(
            answers
                ? text(u"没有给出服务器地址。这台电脑上已有一个服务器，只供本机使用：%1 "
                       u"--server %2；要让手机和其他电脑也能使用，请在这台电脑上运行：%1 --host",
                       u"No hub’s address is given — one answers for this computer alone: %1 "
                       u"--server %2; to host one that phones and other computers reach: %1 "
                       u"--host")
                      .arg(create, kHubOfThisComputer)
                : text(u"没有给出服务器地址。请用 --server 给出，或在这台电脑上运行服务器：%1 "
                       u"--host",
                       u"No hub’s address is given — name one with --server, or host the hub on "
                       u"this computer: %1 --host")
                      .arg(create),
            kExitUsage);
    }

    Task<> lookForHub(bool& answers) {
        auto asking = hubAnswers(m_network, kHubOfThisComputer);
        answers = co_await std::move(asking);
        quit();
    }

    int readPassphrase() {
        if (!m_line.passphraseFromStdin) {
            m_passphrase = Crypto::randomPassphrase();
            return kExitDone;
        }
        m_passphrase = readSecretLine(text(u"口令：", u"Passphrase: ")).value_or(QString());
        if (m_passphrase.isEmpty())
            return refuse(u"标准输入里没有口令", u"There is no passphrase on standard input");
        return kExitDone;
    }

    // The link or code from the command line or from standard input, then the passphrase if needed.
    int readInvitation() {
        m_code = m_line.argument;
        if (m_code.isEmpty() || m_code == QLatin1StringView("-"))
            m_code = readSecretLine(text(u"配对链接或配对码：", u"Pairing link or code: "))
                         .value_or(QString());
        m_code = m_code.trimmed();
        m_link = PairingLink::parse(m_code);
        if (!m_link && !looksLikePairingCode(m_code)) {
            return refuse(u"这既不是配对链接，也不是配对码（形如 XXXX-XXXX）",
                          u"That is neither a pairing link nor a pairing code (which looks like "
                          u"XXXX-XXXX)");
        }
        if (m_link && m_link->keyB64 && SymmetricKey::fromBase64(*m_link->keyB64))
            return kExitDone;
        if (!m_link && !m_server)
            return refuse(u"配对码不含服务器地址：请用 --server 给出显示配对码时一同显示的地址",
                          u"A code does not say which hub — name with --server the address that "
                          u"is shown beside the code");
        if (!m_line.passphraseFromStdin && !standardInputIsTerminal()) {
            return refuse(u"这里需要设备组的口令：请加上 --passphrase-stdin，从标准输入提供",
                          u"The group's passphrase is needed — add --passphrase-stdin and give it "
                          u"on standard input");
        }
        return readPassphraseFromUser();
    }

    int readPassphraseFromUser() {
        m_passphrase =
            readSecretLine(text(u"设备组口令：", u"Group passphrase: ")).value_or(QString());
        return m_passphrase.isEmpty() ? refuse(u"口令是空的", u"The passphrase is empty")
                                      : kExitDone;
    }

    void makeMembership() {
        m_flow->onProgress = [this](const Sentence& sentence) { say(sentence.in(m_l10n.lang())); };
        m_flow->onEnd = [this](const MembershipFlow::Outcome& outcome) {
            if (outcome)
                report(*outcome);
            finish(outcome ? kExitDone : fail(outcome.error().in(m_l10n.lang())));
        };
        if (!m_line.hosts) {
            start(m_server.value_or(QString()));
            return;
        }
        say(text(u"正在启动服务器…", u"Starting the hub…"));
        m_hub.start([this](const Result<QString, Sentence>& address) {
            if (!m_flow)
                return; // cancelled
            if (address)
                start(*address);
            else
                finish(fail(address.error().in(m_l10n.lang())));
        });
    }

    void start(const QString& server) {
        m_flow->start({joins(), server, deviceName(), m_passphrase, m_link, m_code});
    }

    void report(const Account& account) const {
        const bool created = !joins();
        say((created ? text(u"设备组已建好，本机名为“%1”，服务器 %2",
                            u"Group made on %2; this device is called “%1”.")
                     : text(u"已加入设备组，本机名为“%1”，服务器 %2",
                            u"Joined the group on %2; this device is called “%1”."))
                .arg(printable(account.deviceName), account.server));
        if (!account.key)
            say(text(u"这个设备组没有加密密钥，内容不会加密。",
                     u"This group has no encryption key: what is copied is not encrypted."));
        if (m_line.hosts)
            say(m_hub.isService()
                    ? text(u"服务器作为你的系统服务运行，Sorrelwind 退出后也不会停止。",
                           u"The hub is a service of yours and runs on when Sorrelwind ends.")
                    : text(u"服务器随 Sorrelwind 一起运行。",
                           u"The hub runs while Sorrelwind does."));
        if (!created && account.passphrase) {
            say(passphraseUnproven().in(m_l10n.lang()));
            say(text(u"如不正确，可重新输入：%1", u"If it does not, enter it again with: %1")
                    .arg(commandLine(m_line.configDir, QStringLiteral("passphrase"))));
        }
        if (created && !m_line.passphraseFromStdin) {
            say(text(u"口令（请妥善保管；服务器从不知道它）：",
                     u"Its passphrase (keep it safe; the hub never sees it):"));
            std::printf("%s\n", qPrintable(m_passphrase));
            std::fflush(stdout);
        }
        const auto told = askAgent(m_store.dir(), {QStringLiteral("reload"), {}, m_l10n.lang()});
        if (told && !told->error)
            say(text(u"正在运行的 Sorrelwind 已开始同步。",
                     u"The running Sorrelwind syncs from now on."));
        else if (told)
            say(*told->error);
        else
            say(text(u"要开始同步，请运行：%1", u"To sync, run: %1")
                    .arg(startLine(m_line.configDir)));
    }

    static void quit() {
        QMetaObject::invokeMethod(QCoreApplication::instance(), &QCoreApplication::quit,
                                  Qt::QueuedConnection);
    }

    void finish(int code) {
        m_exitCode = code;
        if (m_line.hosts && code != kExitDone)
            m_hub.takeBack(&Setup::quit);
        else
            quit();
    }

    // A device that the hub has added already is given back, which takes an answer of the hub.
    int cancel() {
        say(text(u"正在取消…再按一次 Ctrl-C 立即结束。",
                 u"Cancelling… Press Ctrl-C again to end at once."));
        QObject::connect(m_flow.get(), &QObject::destroyed, QCoreApplication::instance(),
                         &QCoreApplication::quit);
        m_flow.release()->abandon(nullptr);
        QCoreApplication::exec();
        if (m_line.hosts) {
            m_hub.takeBack(&Setup::quit);
            QCoreApplication::exec();
        }
        return fail(text(u"已取消，没有加入任何设备组", u"Cancelled: no group was joined"));
    }

    const CommandLine& m_line;
    const L10n& m_l10n;
    AccountStore m_store;
    Network m_network;
    std::optional<QString> m_server =
        m_line.server ? m_line.server : ServerDefaults::offered(); // a link's own counts
    std::optional<PairingLink> m_link;
    QString m_code;
    QString m_passphrase;
    std::unique_ptr<MembershipFlow> m_flow =
        std::make_unique<MembershipFlow>(MembershipFlow::Services{m_store, m_network});
    std::optional<int> m_exitCode; // once the flow has ended
    GroupHub m_hub;
    TaskScope m_tasks;
};

} // namespace

int runSetup(const CommandLine& line, Defaults& defaults, const L10n& l10n) {
    return Setup(line, defaults, l10n).run();
}

} // namespace sorrelwind
