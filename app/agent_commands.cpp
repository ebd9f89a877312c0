#include "app/agent_commands.h"

#include "account/account_store.h"
#include "app/control_client.h"
#include "app/display.h"
#include "app/terminal_qr.h"
#include "base/printable.h"
#include "clipboard/clipboard_text.h"
#include "core/device_display.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QLocale>

#include <array>
#include <cstdio>
#include <unistd.h>

namespace sorrelwind {

namespace {

void print(const QString& line) {
    std::printf("%s\n", qPrintable(line));
}

QString textOf(const QJsonObject& object, const char* key) {
    return object.value(QLatin1StringView(key)).toString();
}

QString when(const QJsonValue& milliseconds, Lang lang) {
    return relativeTime(QDateTime::fromMSecsSinceEpoch(milliseconds.toInteger()),
                        QDateTime::currentDateTime(), lang);
}

// A terminal may give a line the direction of a name in it; a script has no use for the marks that
// keep it from that.
QString forOutput(QString sentence) {
    if (isatty(STDOUT_FILENO) == 0)
        sentence.remove(QChar(0x2068)).remove(QChar(0x2069));
    return sentence;
}

QString keyState(const QJsonObject& status, const QString& configDir, Lang lang) {
    const QJsonValue fits = status.value(QLatin1StringView("keyFits"));
    if (status.value(QLatin1StringView("wantsPassphrase")).toBool())
        return pick(lang, u"请重新输入设备组口令：%1",
                    u"enter the group's passphrase again with: %1")
            .arg(commandLine(configDir, QStringLiteral("passphrase")));
    if (fits.toBool())
        return pick(lang, u"正确，收到的内容已能打开", u"fits: what arrived could be opened");
    if (textOf(status, "crypto") == QLatin1StringView("encrypted"))
        return pick(lang, u"还没有收到可以验证它的内容", u"nothing has arrived yet to try it on");
    return {};
}

void printStatus(const QJsonObject& status, const QString& configDir, Lang lang) {
    const auto row = [lang](const QString& name, const QString& value) {
        if (!value.isEmpty())
            print(pick(lang, u"%1：%2", u"%1: %2").arg(name, value));
    };
    const auto text = [&](const char* key) { return printable(textOf(status, key)); };
    row(pick(lang, u"状态", u"Status"), text("statusText"));
    row(pick(lang, u"警告", u"Warning"), text("warning"));
    const bool running = textOf(status, "phase") == QLatin1StringView("running");
    if (running)
        row(pick(lang, u"密钥", u"Key"), keyState(status, configDir, lang));
    row(pick(lang, u"通知", u"Notice"), text("notice"));
    row(pick(lang, u"服务器", u"Hub"), text("server"));
    row(pick(lang, u"本机", u"This device"), text("deviceName"));
    if (running)
        row(pick(lang, u"组内设备", u"Devices"),
            QString::number(status.value(QLatin1StringView("deviceCount")).toInt()));
    const bool clipboard = status.value(QLatin1StringView("clipboardAvailable")).toBool();
    row(pick(lang, u"剪贴板", u"Clipboard"),
        clipboard ? text("clipboard")
                  : pick(lang, u"不可用：%1", u"not available: %1").arg(text("clipboardReason")));
    const auto activity = [&](const QString& name, const char* key) {
        const QJsonObject last = status.value(QLatin1StringView(key)).toObject();
        if (!last.isEmpty())
            row(name, forOutput(textOf(last, "text")) + QStringLiteral(" · ") +
                          when(last.value(QLatin1StringView("at")), lang));
    };
    activity(pick(lang, u"最近发送", u"Last sent"), "lastSent");
    activity(pick(lang, u"最近收到", u"Last received"), "lastReceived");
}

void printDevices(const QJsonArray& devices, Lang lang) {
    for (const QJsonValue entry : devices) {
        const auto device = DeviceInfo::fromJson(entry);
        if (!device)
            continue;
        const bool self = entry.toObject().value(QLatin1StringView("self")).toBool();
        print(forOutput(QStringLiteral("%1  %2  (%3)  %4")
                            .arg(printable(device->id), isolated(device->name),
                                 isolated(kindLabel(*device, lang)),
                                 presence(*device, self, QDateTime::currentDateTime(), lang))));
    }
}

void printPairing(const QJsonObject& pairing, const QString& configDir, Lang lang) {
    const auto expires =
        QDateTime::fromMSecsSinceEpoch(pairing.value(QLatin1StringView("expiresAt")).toInteger());
    print(terminalQr(textOf(pairing, "link"), isatty(STDOUT_FILENO) != 0));
    print(pick(lang, u"配对码：%1", u"Pairing code: %1").arg(textOf(pairing, "code")));
    print(pick(lang, u"配对链接：%1", u"Pairing link: %1").arg(textOf(pairing, "link")));
    print(pick(lang, u"%1 分钟内有效（至 %2），仅可使用一次。",
               u"Valid for %1 minutes (until %2), for one device.")
              .arg(qMax(qint64(0), (QDateTime::currentDateTime().secsTo(expires) + 30) / 60))
              .arg(expires.toString(QStringLiteral("HH:mm"))));
    if (textOf(pairing, "link").contains(QLatin1StringView("&k=")))
        print(pick(lang, u"链接含加密密钥，只发给你自己的设备。",
                   u"The link contains the encryption key — only send it to your own devices."));
    print(pick(lang,
               u"手动输入配对码：在浏览器中打开 %1，或在另一台电脑上运行：sorrelwind join - "
               u"--server %1",
               u"To type the code, open %1 in a browser, or run on the other computer: "
               u"sorrelwind join - --server %1")
              .arg(textOf(pairing, "server")));
    const QString passphrase = textOf(pairing, "passphrase");
    if (passphrase == QLatin1StringView("here"))
        print(pick(lang, u"手动输入还需要设备组口令：见“设置”，或 %1 中的 passphrase。",
                   u"Typing also takes the group's passphrase: see Settings, or passphrase in %1.")
                  .arg(AccountStore(configDir).fileUrl()));
    else if (passphrase == QLatin1StringView("elsewhere"))
        print(pick(lang, u"手动输入还需要设备组口令：见创建设备组的那台设备的“设置”。",
                   u"Typing also takes the group's passphrase: see the settings of the device that "
                   u"made the group."));
}

int fail(const QString& reason, int code = kExitFailed) {
    std::fprintf(stderr, "%s\n", qPrintable(printable(reason)));
    return code;
}

// What is to be sent: the argument, or standard input.
int readText(QString& text, Lang lang) {
    if (text.isNull() || text == QLatin1StringView("-")) {
        QByteArray bytes;
        std::array<char, 65536> chunk;
        while (const size_t length = std::fread(chunk.data(), 1, chunk.size(), stdin)) {
            bytes.append(chunk.data(), static_cast<qsizetype>(length));
            if (bytes.size() > kMaxClipboardBytes)
                break;
        }
        if (bytes.size() > kMaxClipboardBytes)
            return fail(
                pick(lang, u"文本超过 16 MiB，太大了", u"The text is over 16 MiB — too large"));
        if (!bytes.isValidUtf8())
            return fail(
                pick(lang, u"标准输入不是 UTF-8 文本", u"Standard input is not text in UTF-8"));
        text = *decodeText(kTextTypes.front(), bytes);
    }
    if (text.isEmpty()) {
        const QString nothing = pick(lang, u"没有要发送的文本", u"There is no text to send");
        return fail(wrongUse(nothing, QStringLiteral("send"), lang), kExitUsage);
    }
    return kExitDone;
}

// One text alone is written as it is, for files and pipes; several need an end each. False when
// nobody takes them any more.
bool printText(const QJsonObject& received, const CommandLine& line, bool endLine, Lang lang) {
    if (received.value(QLatin1StringView("unsealed")).toBool())
        (void)fail(pick(
            lang, u"注意：这段文字到达时未加密，而这个设备组是加密的；它可能不是你的设备发出的。",
            u"Careful: this text came unencrypted although the group encrypts, so it "
            u"may be from none of your devices."));
    const QByteArray bytes = textOf(received, "text").toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    if (line.nullEnded)
        std::fputc('\0', stdout);
    else if (endLine && !bytes.endsWith('\n'))
        std::fputc('\n', stdout);
    return std::fflush(stdout) == 0;
}

int follow(const CommandLine& line, Lang lang) {
    std::optional<QString> refused;
    const ControlFailure reason = followAgent(
        line.configDir, {line.command, QStringLiteral("follow"), lang},
        [&](const ControlReply& reply) {
            if (const QString warning = textOf(reply.result, "warning"); !warning.isEmpty()) {
                (void)fail(warning);
                return true;
            }
            refused = reply.error;
            return !refused && printText(reply.result, line, true, lang);
        });
    if (refused)
        return fail(*refused);
    if (std::ferror(stdout) != 0)
        return kExitFailed;
    return fail(reason == ControlFailure::noAnswer
                    ? pick(lang, u"Sorrelwind 已结束，或本机已离开设备组",
                           u"Sorrelwind has ended, or this device is no longer in the group")
                    : sentence(reason, line.configDir, lang));
}

} // namespace

int runAgentCommand(const CommandLine& line, const L10n& l10n) {
    const Lang lang = l10n.lang();
    if (line.command == QLatin1StringView("receive") && line.follow)
        return follow(line, lang);
    ControlRequest request{line.command, line.argument, lang};
    if (line.command == QLatin1StringView("send")) {
        if (const int ready = readText(request.argument, lang); ready != kExitDone)
            return ready;
    }
    const auto reply = askAgent(line.configDir, request);
    if (!reply)
        return fail(sentence(reply.error(), line.configDir, lang));
    if (reply->error)
        return fail(*reply->error);
    const QJsonObject& result = reply->result;
    const QJsonArray devices = result.value(QLatin1StringView("devices")).toArray();
    const bool isDevices = line.command == QLatin1StringView("devices");
    if (line.json) {
        const QJsonDocument document = isDevices ? QJsonDocument(devices) : QJsonDocument(result);
        std::printf("%s", document.toJson().constData());
    } else if (isDevices) {
        printDevices(devices, lang);
    } else if (line.command == QLatin1StringView("status")) {
        printStatus(result, line.configDir, lang);
    } else if (line.command == QLatin1StringView("pair")) {
        printPairing(result, line.configDir, lang);
    } else if (line.command == QLatin1StringView("receive")) {
        printText(result, line, isatty(STDOUT_FILENO) != 0, lang);
    } else if (line.command == QLatin1StringView("send")) {
        print(textOf(result, "text"));
    }
    return kExitDone;
}

} // namespace sorrelwind
