#include "app/command_line.h"

#include "account/account_store.h"
#include "account/server_defaults.h"
#include "clipboard/clipboard_text.h"

#include <QFileInfo>
#include <QRegularExpression>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstring>
#include <memory>

namespace sorrelwind {

namespace {

std::string toUtf8(const QString& text) {
    return text.toStdString();
}

// The library sets its own colons.
class ChineseHelp final : public CLI::Formatter {
public:
    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override {
        QString help = QString::fromStdString(CLI::Formatter::make_help(app, name, mode));
        static const QRegularExpression kColon(QStringLiteral("(?<=\\p{Han}): ?"));
        return toUtf8(help.replace(kColon, QStringLiteral("：")));
    }
};

class Parser {
public:
    explicit Parser(Lang lang)
        : m_lang(lang), m_app(toUtf8(say(u"让你的各台设备共享同一个文本剪贴板。",
                                         u"Keeps the text clipboard of your devices in step.")),
                              "sorrelwind") {
        setLanguage();
        m_app.set_version_flag("--version", "sorrelwind " SORRELWIND_VERSION,
                               text(u"显示版本", u"Print the version"));
        m_app.require_subcommand(0, 1);
        m_app.fallthrough();
        m_app
            .add_option(
                "--config-dir", m_configDir,
                text(u"存放账户和偏好设置的文件夹", u"Folder of the account and preferences"))
            ->type_name("DIR")
            ->check(notEmpty());
        m_app.add_flag("--headless", m_result.headless,
                       text(u"不显示图标和窗口", u"Run the agent without icon and windows"));
        m_app
            .add_option("--clipboard", m_clipboard,
                        text(u"使用哪一种剪贴板（默认自动选择）",
                             u"Which clipboard to use (default: the one of this session)"))
            ->type_name("x11|wayland")
            ->check(oneOf({clipboardChoiceName(ClipboardChoice::x11),
                           clipboardChoiceName(ClipboardChoice::wayland)}));

        auto* create = command("create", u"新建设备组", u"Make a new group");
        CLI::Option* server = addMembership(create);
        create
            ->add_flag("--host", m_result.hosts,
                       text(u"在这台电脑上运行服务器，供同一网络中的设备使用",
                            u"Host the hub on this computer, for devices on the same network"))
            ->excludes(server);
        auto* join = command("join", u"用配对链接或配对码加入设备组",
                             u"Join a group by a pairing link or a pairing code");
        join->add_option("LINK|CODE", m_argument,
                         text(u"配对链接或配对码；“-”表示从标准输入读取，这样其他用户看不到",
                              u"Pairing link or code; \"-\" reads it from standard input, where no "
                              u"other user can see it"))
            ->type_name("");
        addMembership(join);
        addJson(
            command("pair", u"显示配对码、链接和二维码", u"Show pairing code, link and QR code"));
        addJson(command("status", u"显示状态", u"Show how things stand"));
        addJson(command("devices", u"列出组内设备", u"List the devices of the group"));
        command("remove", u"移除组内另一台设备", u"Remove another device from the group")
            ->add_option("ID", m_argument, text(u"设备编号，见 devices", u"Its id, see devices"))
            ->type_name("")
            ->required()
            ->check(notEmpty());
        command("rename", u"重命名本机", u"Rename this device")
            ->add_option("NAME", m_argument, text(u"新名称", u"The new name"))
            ->type_name("")
            ->required()
            ->check(notEmpty());
        command("send", u"把文本发给组内其他设备", u"Send a text to the other devices")
            ->add_option("TEXT", m_argument,
                         text(u"要发送的文本；省略或“-”表示从标准输入读取，这样其他用户看不到",
                              u"The text; without it, or as \"-\", it is read from standard "
                              u"input, where no other user can see it"))
            ->type_name("");
        auto* receive = command("receive", u"输出最近收到的文本",
                                u"Print the newest text received from another device");
        receive->add_flag("-f,--follow", m_result.follow,
                          text(u"继续输出之后收到的每段文本", u"Go on with every further text"));
        receive->add_flag("-0,--null", m_result.nullEnded,
                          text(u"每段文本以 NUL 结尾", u"End each text with NUL"));
        command("passphrase", u"重新输入设备组口令（从标准输入读取一行）",
                u"Enter the group's passphrase again, one line of standard input");
        command("pause", u"暂停同步", u"Pause syncing");
        command("resume", u"恢复同步", u"Resume syncing");
        command("leave", u"离开设备组", u"Leave the group");
        command("quit", u"退出正在运行的 Sorrelwind", u"End the running agent");
    }

    std::variant<CommandLine, int> parse(std::vector<std::string> arguments) {
        std::ranges::reverse(arguments); // as the library wants it
        try {
            m_app.parse(std::move(arguments));
        } catch (const CLI::ParseError& error) {
            return m_app.exit(error) == 0 ? kExitDone : kExitUsage;
        }
        // A local socket wants a path that holds from anywhere.
        m_result.configDir =
            m_configDir.empty() ? AccountStore::defaultDir()
                                : QFileInfo(QString::fromStdString(m_configDir)).absoluteFilePath();
        for (const ClipboardChoice choice : {ClipboardChoice::x11, ClipboardChoice::wayland}) {
            if (clipboardChoiceName(choice).toStdString() == m_clipboard)
                m_result.clipboard = choice;
        }
        if (!m_name.empty())
            m_result.name = QString::fromStdString(m_name);
        if (!m_server.empty())
            m_result.server = ServerDefaults::normalize(QString::fromStdString(m_server));
        for (const CLI::App* chosen : m_app.get_subcommands())
            m_result.command = QString::fromStdString(chosen->get_name());
        // A byte order mark is part of a text, as it is on standard input.
        const bool isText = m_result.command == QLatin1StringView("send");
        if (m_argument)
            m_result.argument =
                isText ? decodeText(kTextTypes.front(), QByteArray::fromStdString(*m_argument))
                             .value_or(QString())
                       : QString::fromStdString(*m_argument);
        return m_result;
    }

private:
    QString say(const char16_t* zh, const char16_t* en) const { return pick(m_lang, zh, en); }
    std::string text(const char16_t* zh, const char16_t* en) const { return toUtf8(say(zh, en)); }

    // What the library itself says is English; subcommands inherit all of this.
    void setLanguage() {
        if (m_lang == Lang::zh)
            m_app.formatter(std::make_shared<ChineseHelp>());
        m_app.option_defaults()->group(text(u"选项", u"Options"));
        m_app.set_help_flag("-h,--help", text(u"显示这份说明", u"Print this help"))
            ->group(text(u"选项", u"Options"));
        m_app.group(text(u"命令", u"Subcommands"));
        const auto labels = m_app.get_formatter();
        labels->label("Usage", text(u"用法", u"Usage"));
        labels->label("OPTIONS", text(u"选项", u"OPTIONS"));
        labels->label("SUBCOMMAND", text(u"命令", u"SUBCOMMAND"));
        labels->label("Positionals", text(u"参数", u"Positionals"));
        labels->label("Excludes", text(u"不能同时用", u"Not with"));
        labels->label("REQUIRED", text(u"（必需）", u"REQUIRED"));
        m_app.failure_message([this](const CLI::App* app, const CLI::Error& error) {
            QString command;
            for (const CLI::App* chosen : app->get_subcommands())
                command = QString::fromStdString(chosen->get_name());
            return toUtf8(wrongUse(complaint(error), command, m_lang) + u'\n');
        });
    }

    // The library's own words are English; those of a validator are ours.
    QString complaint(const CLI::Error& error) const {
        static const QRegularExpression kName(QStringLiteral("--[a-z-]+|\\b[A-Z]{2,}\\b"));
        const auto kind = static_cast<CLI::ExitCodes>(error.get_exit_code());
        const QString words = QString::fromUtf8(error.what());
        const QString name = kName.match(words).captured();
        if (kind == CLI::ExitCodes::ExtrasError && m_app.got_subcommand("passphrase")) {
            return say(u"口令只从标准输入读取，不要写在命令行上",
                       u"The passphrase is read from standard input, never from the command line");
        }
        if (kind == CLI::ExitCodes::ExtrasError) {
            QStringList extras;
            for (const std::string& word : m_app.remaining(true))
                extras << QString::fromStdString(word);
            return say(u"无法识别：%1", u"Not understood: %1").arg(extras.join(u' '));
        }
        if (kind == CLI::ExitCodes::RequiredError)
            return say(u"缺少 %1", u"%1 is missing").arg(name);
        if (m_lang == Lang::en)
            return words;
        if (kind == CLI::ExitCodes::ValidationError)
            return QString(words).replace(words.indexOf(u':'), 2, u'：');
        return name.isEmpty() ? QStringLiteral("命令行有误")
                              : QStringLiteral("%1 的用法有误").arg(name);
    }

    // An unset variable on the command line must not pass for the usual value.
    CLI::Validator notEmpty() const {
        const std::string complaint = text(u"不能为空", u"must not be empty");
        return CLI::Validator(
            [complaint](const std::string& given) {
                const bool blank = QString::fromStdString(given).trimmed().isEmpty();
                return blank ? complaint : std::string();
            },
            "");
    }

    CLI::Validator address() const {
        const std::string complaint = text(u"不是有效的服务器地址，应形如 https://hub.example",
                                           u"not an address; it should look like "
                                           u"https://hub.example");
        return CLI::Validator(
            [complaint](const std::string& given) {
                const auto server = ServerDefaults::normalize(QString::fromStdString(given));
                return server ? std::string() : complaint;
            },
            "");
    }

    CLI::Validator oneOf(const QStringList& words) const {
        const std::string complaint =
            toUtf8(say(u"应为 %1", u"must be %1").arg(words.join(say(u" 或 ", u" or "))));
        return CLI::Validator(
            [complaint, words](const std::string& given) {
                return words.contains(QString::fromStdString(given)) ? std::string() : complaint;
            },
            "");
    }

    CLI::App* command(const char* name, const char16_t* zh, const char16_t* en) {
        CLI::App* added = m_app.add_subcommand(name, text(zh, en));
        added->get_help_ptr()->group(text(u"选项", u"Options")); // the only thing not inherited
        return added;
    }
    void addJson(CLI::App* command) {
        command->add_flag("--json", m_result.json, text(u"以 JSON 输出", u"Print JSON"));
    }
    CLI::Option* addMembership(CLI::App* command) {
        CLI::Option* server =
            command
                ->add_option("--server", m_server,
                             text(u"服务器地址（默认取自 SORRELWIND_SERVER 或内置地址，若有）",
                                  u"The hub's address (default: SORRELWIND_SERVER, or the built-in "
                                  u"one if there is one)"))
                ->type_name("URL")
                ->check(address());
        command
            ->add_option(
                "--name", m_name,
                text(u"本机名称（默认为主机名）", u"This device's name (default: host name)"))
            ->type_name("NAME")
            ->check(notEmpty());
        command->add_flag(
            "--passphrase-stdin", m_result.passphraseFromStdin,
            text(u"从标准输入读取一行口令", u"Read the passphrase, one line, from standard input"));
        return server;
    }

    Lang m_lang;
    CLI::App m_app;
    CommandLine m_result;
    std::string m_configDir;
    std::string m_clipboard;
    std::string m_server;
    std::string m_name;
    std::optional<std::string> m_argument;
};

} // namespace

Sentence inNoGroup(const QString& configDir) {
    return Sentence::of(u"本机还没有加入设备组，请先运行：%1，或：%2",
                        u"This device is in no group yet — run: %1, or: %2")
        .arg(commandLine(configDir, QStringLiteral("create")),
             commandLine(configDir, QStringLiteral("join")));
}

QString commandLine(const QString& configDir, const QString& words) {
    static const QRegularExpression kPlain(QStringLiteral("^[\\w@%+=:,./-]+$"),
                                           QRegularExpression::UseUnicodePropertiesOption);
    QString line = QStringLiteral("sorrelwind");
    if (configDir != AccountStore::defaultDir()) {
        QString folder = configDir;
        if (!kPlain.match(folder).hasMatch())
            folder = u'\'' + folder.replace(u'\'', QLatin1StringView("'\\''")) + u'\'';
        line += QStringLiteral(" --config-dir ") + folder;
    }
    return words.isEmpty() ? line : line + u' ' + words;
}

QString clipboardChoiceName(ClipboardChoice choice) {
    switch (choice) {
    case ClipboardChoice::automatic:
        break;
    case ClipboardChoice::wayland:
        return QStringLiteral("wayland");
    case ClipboardChoice::x11:
        return QStringLiteral("x11");
    }
    return {};
}

std::variant<CommandLine, int> parseCommandLine(std::vector<std::string> arguments, Lang lang) {
    return Parser(lang).parse(std::move(arguments));
}

QString wrongUse(const QString& complaint, const QString& command, Lang lang) {
    const QString help =
        QStringLiteral("sorrelwind %1--help").arg(command.isEmpty() ? QString() : command + u' ');
    return pick(lang, u"%1。用法见：%2", u"%1. See: %2").arg(complaint, help);
}

std::vector<std::string> takeArguments(int argc, char** argv) {
    std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    bool secret = false;
    for (int i = 1; i < argc; ++i) {
        if (secret)
            std::memset(argv[i], 'x', std::strlen(argv[i]));
        for (const char* command : {"join", "send", "passphrase"})
            secret = secret || std::strcmp(argv[i], command) == 0;
    }
    return arguments;
}

} // namespace sorrelwind
