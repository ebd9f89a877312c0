// Everything that a hub may send: frames of the socket and bodies of REST replies.

#include "hub/wire_records.h"

#include <QJsonDocument>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace sorrelwind;
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    (void)Envelope::fromText(bytes);
    const QJsonObject object = QJsonDocument::fromJson(bytes).object();
    (void)Joined::fromJson(object);
    (void)CryptoReply::fromJson(object);
    (void)PairingReply::fromJson(object);
    (void)PublishReply::fromJson(object);
    (void)OkReply::fromJson(object);
    (void)errorText(bytes);
    return 0;
}
