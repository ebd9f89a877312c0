#include "app/agent_commands.h"

#include "app/control_client.h"
#include "app/terminal_qr.h"
#include "base/printable.h"
#include "core/device_display.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QLocale>

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

void printStatus(const QJsonObject& status, Lang lang) {
    const auto row = [](const QString& name, const QString& value) {
        if (!value.isEmpty())
            print(name + QStringLiteral(": ") + printable(value));
    };
    const bool running = textOf(status, "phase") == QLatin1StringView("running");
    row(pick(lang, u"状态", u"Status"), running
                                            ? textOf(status, "statusText")
                                            : pick(lang, u"还没有加入设备组", u"In no group yet"));
    row(pick(lang, u"警告", u"Warning"), textOf(status, "warning"));
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
        row(pick(lang, u"最近收到", u"Last received"),
            pick(lang, u"%1，来自“%2”", u"%1 from “%2”")
                .arg(when(received.value(QLatin1StringView("at")), lang),
                     textOf(received, "device")));
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
        print(printable(device->id + QStringLiteral("  ") + device->name + QStringLiteral("  (") +
                        kindLabel(*device, lang) + QStringLiteral(")  ") + state));
    }
}

void printPairing(const QJsonObject& pairing, Lang lang) {
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
}

} // namespace

int runAgentCommand(const CommandLine& line, const L10n& l10n) {
    const Lang lang = l10n.lang();
    const auto reply = askAgent(line.configDir, {line.command, line.argument});
    std::optional<QString> error;
    if (reply)
        error = reply->error;
    else if (reply.error() == ControlFailure::notRunning)
        error = pick(lang, u"Sorrelwind 没有在运行，请先启动：sorrelwind",
                     u"Sorrelwind is not running — start it with: sorrelwind");
    else
        error = pick(lang, u"正在运行的 Sorrelwind 没有回答，请重新启动它",
                     u"The running Sorrelwind does not answer — restart it");
    if (error) {
        std::fprintf(stderr, "%s\n", qPrintable(printable(*error)));
        return kExitFailed;
    }
    const QJsonObject& result = reply->result;
    const QJsonArray devices = result.value(QLatin1StringView("devices")).toArray();
    const bool isDevices = line.command == QLatin1StringView("devices");
    if (line.json) {
        const QJsonDocument document = isDevices ? QJsonDocument(devices) : QJsonDocument(result);
        std::printf("%s", document.toJson().constData());
    } else if (isDevices) {
        printDevices(devices, lang);
    } else if (line.command == QLatin1StringView("status")) {
        printStatus(result, lang);
    } else if (line.command == QLatin1StringView("pair")) {
        printPairing(result, lang);
    }
    return kExitDone;
}

} // namespace sorrelwind
