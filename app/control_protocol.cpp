#include "app/control_protocol.h"

#include <QJsonDocument>

namespace sorrelwind {

namespace {

const QString kCommand = QStringLiteral("command");
const QString kArgument = QStringLiteral("argument");
const QString kLang = QStringLiteral("lang");
const QString kResult = QStringLiteral("result");
const QString kError = QStringLiteral("error");

// Qt's reader swallows a byte order mark at the start of a string, but not an escaped one.
QByteArray line(const QJsonObject& object) {
    constexpr QByteArrayView kMarked = ":\"\xEF\xBB\xBF"; // only where a value starts
    QByteArray json = QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
    for (qsizetype at = 0; (at = json.indexOf(kMarked, at)) >= 0;)
        json.replace(at + 2, 3, "\\ufeff");
    return json;
}

std::optional<QJsonObject> objectOf(const QByteArray& text) {
    const QJsonDocument document = QJsonDocument::fromJson(text);
    return document.isObject() ? std::optional(document.object()) : std::nullopt;
}

} // namespace

QByteArray ControlRequest::toLine() const {
    QJsonObject object{{kCommand, command}, {kArgument, argument}};
    if (lang)
        object.insert(kLang, langName(*lang));
    return line(object);
}

std::optional<ControlRequest> ControlRequest::fromLine(const QByteArray& text) {
    const auto object = objectOf(text);
    if (!object || !object->value(kCommand).isString())
        return std::nullopt;
    return ControlRequest{object->value(kCommand).toString(), object->value(kArgument).toString(),
                          langFromName(object->value(kLang).toString())};
}

QByteArray ControlReply::toLine() const {
    return line(error ? QJsonObject{{kError, *error}} : QJsonObject{{kResult, result}});
}

std::optional<ControlReply> ControlReply::fromLine(const QByteArray& text) {
    const auto object = objectOf(text);
    if (!object)
        return std::nullopt;
    if (object->value(kError).isString())
        return ControlReply{{}, object->value(kError).toString()};
    if (!object->value(kResult).isObject())
        return std::nullopt;
    return ControlReply{object->value(kResult).toObject(), std::nullopt};
}

QString controlSocketPath(const QString& configDir) {
    return configDir + QStringLiteral("/control.sock");
}

} // namespace sorrelwind
