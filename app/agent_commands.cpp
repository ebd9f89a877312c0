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

// A terminal may give a line the direction of a name in it; a script has no use for the marks.
QString shown(const QString& name) {
    return isatty(STDOUT_FILENO) != 0 ? isolated(name) : printable(name);
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
    const auto row = [](const QString& name, const QString& value) {
        if (!value.isEmpty())
            print(name + QStringLiteral(": ") + printable(value));
    };
    const bool running = textOf(status, "phase") == QLatin1StringView("running");
    row(pick(lang, u"状态", u"Status"), running
                                            ? textOf(status, "statusText")
                                            : pick(lang, u"还没有加入设备组", u"In no group yet"));
    row(pick(lang, u"警告", u"Warning"), textOf(status, "warning"));
    if (running)
        row(pick(lang, u"密钥", u"Key"), keyState(status, configDir, lang));
    row(pick(lang, u"通知", u"Notice"), textOf(status, "notice"));
    row(pick(lang, u"服务器", u"Hub"), textOf(status, "server"));
    row(pick(lang, u"本机", u"This device"), textOf(status, "deviceName"));
    if (running)
        row(pick(lang, u"组内设备", u"Devices"),
            QString::number(status.value(QLatin1StringView("deviceCount")).toInt()));
    const bool clipboard = status.value(QLatin1StringView("clipboardAvailable")).toBool();
    row(pick(lang, u"剪贴板", u"Clipboard"), clipboard
                                                 ? textOf(status, "clipboard")
                                                 : pick(lang, u"不可用：%1", u"not available: %1")
                                                       .arg(textOf(status, "clipboardReason")));
    const QJsonObject sent = status.value(QLatin1StringView("lastSent")).toObject();
    if (!sent.isEmpty()) {
        const QString time = when(sent.value(QLatin1StringView("at")), lang);
        row(pick(lang, u"最近发送", u"Last sent"),
            sent.value(QLatin1StringView("ok")).toBool()
                ? time
                : pick(lang, u"%1，失败", u"%1, failed").arg(time));
    }
    const QJsonObject received = status.value(QLatin1StringView("lastReceived")).toObject();
    if (!received.isEmpty())
        print(pick(lang, u"最近收到", u"Last received") + QStringLiteral(": ") +
              (received.value(QLatin1StringView("unsealed")).toBool()
                   ? pick(lang, u"%1，来自“%2”，未加密", u"%1 from “%2”, not encrypted")
                   : pick(lang, u"%1，来自“%2”", u"%1 from “%2”"))
                  .arg(when(received.value(QLatin1StringView("at")), lang),
                       shown(textOf(received, "device"))));
}

void printDevices(const QJsonArray& devices, Lang lang) {
    for (const QJsonValue entry : devices) {
        const auto device = DeviceInfo::fromJson(entry);
        if (!device)
            continue;
        QString state =
            device->online
                ? pick(lang, u"在线", u"online")
                : pick(lang, u"%1在线", u"seen %1").arg(when(qint64(device->lastSeen), lang));
        if (entry.toObject().value(QLatin1StringView("self")).toBool())
            state += pick(lang, u" · 本机", u" · this device");
        print(printable(device->id) + QStringLiteral("  ") + shown(device->name) +
              QStringLiteral("  (") + shown(kindLabel(*device, lang)) + QStringLiteral(")  ") +
              state);
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
    if (text.isEmpty())
        return fail(pick(lang, u"没有要发送的文本", u"There is no text to send"), kExitUsage);
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

void printSent(const QJsonObject& result, Lang lang) {
    const QJsonValue recipients = result.value(QLatin1StringView("recipients"));
    if (!recipients.isDouble())
        print(pick(lang, u"已发送", u"Sent"));
    else if (recipients.toInt() == 0)
        print(pick(lang, u"已发送；现在没有其他设备在线，服务器会暂时保留它",
                   u"Sent — no other device is online now; the hub keeps it for a while"));
    else
        print(pick(lang, u"已发送到 %1 台设备", u"Sent to %1 of the other devices")
                  .arg(recipients.toInt()));
}

int follow(const CommandLine& line, Lang lang) {
    std::optional<QString> refused;
    const ControlFailure reason = followAgent(
        line.configDir, {line.command, QStringLiteral("follow")}, [&](const ControlReply& reply) {
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
    ControlRequest request{line.command, line.argument};
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
        printSent(result, lang);
    }
    return kExitDone;
}

} // namespace sorrelwind
