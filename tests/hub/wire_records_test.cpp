#include "hub/hub_error.h"
#include "hub/wire_records.h"
#include "tests/support/print_qt.h"

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>

#include <functional>

namespace sorrelwind {
namespace {

struct Record {
    const char* name;
    QByteArray json;    ///< every member present
    QByteArray members; ///< "name:type", and "?" where it is optional
    std::function<bool(const QJsonObject&)> decodes;
};

template <class T>
bool decodesAs(const QJsonObject& object) {
    return T::fromJson(object).has_value();
}

const QByteArray kItem =
    R"({"id":"i","ts":1,"from":"d","device":"n","mime":"text/plain","payload":"p"})";
const QByteArray kDevice =
    R"({"id":"d","name":"n","platform":"macos","createdAt":1,"lastSeen":2,"online":true})";
const QByteArray kCrypto = R"({"v":1,"kdf":"pbkdf2-sha256","iters":600000,"salt":"AAAA"})";

const Record kRecords[] = {
    {"CloudItem", kItem, "id:text ts:int from:text? device:text mime:text payload:text",
     decodesAs<CloudItem>},
    {"DeviceInfo", kDevice,
     "id:text name:text platform:text createdAt:int lastSeen:int online:bool",
     decodesAs<DeviceInfo>},
    {"CryptoRecord", kCrypto, "v:int kdf:text iters:int salt:text", decodesAs<CryptoRecord>},
    {"Envelope",
     R"({"type":"ack","item":)" + kItem + R"(,"devices":[)" + kDevice +
         R"(],"ref":"r","status":200,"recipients":2})",
     "type:text item:object? devices:list? ref:text? status:int? recipients:int?",
     [](const QJsonObject& object) {
         return Envelope::fromText(QJsonDocument(object).toJson()).has_value();
     }},
    {"Joined", R"({"device":{"id":"d","name":"n"},"token":"t","groupId":"g"})",
     "device:object token:text groupId:text?", decodesAs<Joined>},
    {"the device in Joined", R"({"id":"d","name":"n"})", "id:text name:text",
     [](const QJsonObject& dev) {
         return decodesAs<Joined>({{u"device"_qs, dev}, {u"token"_qs, u"t"_qs}});
     }},
    {"CryptoReply", R"({"crypto":)" + kCrypto + "}", "crypto:object?", decodesAs<CryptoReply>},
    {"PairingReply", R"({"code":"ABCD-2345","expiresAt":1})", "code:text expiresAt:int",
     decodesAs<PairingReply>},
    {"PublishReply", R"({"recipients":1})", "recipients:int?", decodesAs<PublishReply>},
    {"OkReply", R"({"ok":true})", "ok:bool?", decodesAs<OkReply>},
};

TEST(WireRecords, TakeEachMemberOnlyAsItMustBe) {
    // A value, and the type that it is of. 9007199254740993 is 2^53 + 1, which no double holds.
    const std::pair<const char*, QByteArray> kValues[] = {
        {R"("5")", "text"},
        {R"("")", "text"},
        {"2", "int"},
        {"2.0", "int"},
        {"-1", "int"},
        {"0", "int"},
        {"9007199254740993", "int"},
        {"9223372036854775807", "int"},
        {"1.5", ""},
        {"1e300", ""},
        {"9223372036854775808", ""},
        {"true", "bool"},
        {"false", "bool"},
        {"{}", ""}, // every object of ours has required members
        {"[]", "list"},
        {"[{}]", ""},
        {"[null]", ""},
        {"{\"a\":[1]}", ""},
    };
    for (const Record& record : kRecords) {
        QJsonObject whole = QJsonDocument::fromJson(record.json).object();
        const QList<QByteArray> members = record.members.split(' ');
        ASSERT_EQ(whole.size(), members.size()) << record.name;
        EXPECT_TRUE(record.decodes(whole)) << record.name;
        whole.insert(u"unknown"_qs, QJsonObject{{u"x"_qs, 1.5}});
        EXPECT_TRUE(record.decodes(whole)) << record.name;
        for (QByteArray member : members) {
            SCOPED_TRACE(std::string(record.name) + "." + member.toStdString());
            const bool optional = member.endsWith('?');
            if (optional)
                member.chop(1);
            const QList<QByteArray> nameAndType = member.split(':');
            const QString key = QString::fromLatin1(nameAndType[0]);
            QJsonObject changed = whole;
            changed.remove(key);
            EXPECT_EQ(record.decodes(changed), optional) << "absent";
            changed.insert(key, QJsonValue());
            EXPECT_EQ(record.decodes(changed), optional) << "null";
            for (const auto& [json, type] : kValues) {
                const auto parsed = QJsonDocument::fromJson("[" + QByteArray(json) + "]");
                changed.insert(key, parsed.array().first());
                EXPECT_EQ(record.decodes(changed), type == nameAndType[1]) << json;
            }
        }
    }
}

TEST(WireRecords, KeepEveryValue) {
    const auto envelope = Envelope::fromText(
        "{\"type\":\"hello\",\"ref\":\"\xEF\xBB\xBFr\","
        R"("status":200,"recipients":9007199254740993,"devices":[)" +
        kDevice + R"(],"item":{"id":"i","ts":1763712000123,"device":"书房","mime":"text/plain",)" +
        "\"payload\":\"\xEF\xBB\xBF a\\u0000\\ud83d\\ude00 \\\\\\\"\"}}");
    ASSERT_TRUE(envelope);
    EXPECT_EQ(envelope->type, u"hello"_qs);
    EXPECT_EQ(envelope->ref, u"\ufeffr"_qs);
    EXPECT_EQ(envelope->recipients, 9007199254740993);
    const DeviceInfo device{u"d"_qs, u"n"_qs, u"macos"_qs, 1, 2, true};
    EXPECT_EQ(envelope->devices, QList({device}));
    const CloudItem item{u"i"_qs,    1763712000123,    std::nullopt,
                         u"书房"_qs, u"text/plain"_qs, u"\ufeff a\0😀 \\\""_qs};
    EXPECT_EQ(envelope->item, item);

    const QJsonObject sent = OutgoingItem{u"ID"_qs, 1763712000123, u"p"_qs}.toJson();
    EXPECT_EQ(QJsonDocument(sent).toJson(QJsonDocument::Compact),
              R"({"id":"ID","mime":"text/plain","payload":"p","ts":1763712000123})");
}

TEST(WireRecords, RubbishFramesAreNoEnvelopes) {
    const QByteArray deep(100'000, '[');
    for (const QByteArray& text :
         {QByteArray(), QByteArray("null"), QByteArray("[]"), QByteArray("\"hello\""),
          QByteArray("{\"type\":\"hello\""), QByteArray("{\"type\":\"hello\"} x"),
          QByteArray("{\"type\":\"hell\xc3\"}"), QByteArray("{\"type\":\"\xed\xa0\x80\"}"),
          QByteArray("{'type':'hello'}"), QByteArray("{\"type\":\"hello\",\"x\":" + deep + "}"),
          QByteArray("{\"type\":\"hello\",\"status\":1e999}"), QByteArray(4, '\0')})
        EXPECT_FALSE(Envelope::fromText(text)) << text.first(qMin(text.size(), 60)).toStdString();
}

TEST(WireRecords, ByteOrderMarksCostNothingMore) {
    const QByteArray mark = "\xEF\xBB\xBF";
    const QByteArray kTable[] = {
        R"({"type":")" + mark.repeated(1 << 20) + "\"}",
        R"({"type":"hello","x":[)" + ("\"" + mark + "\"").repeated(1 << 20),
        R"({"type":"hello","x":[)" + ("\"" + mark + "\",").repeated(1 << 20),
    };
    for (const QByteArray& text : kTable)
        EXPECT_EQ(Envelope::fromText(text).error(), EnvelopeFault::excessive);
}

TEST(ErrorText, IsTheErrorMemberIfItIsAText) {
    const std::pair<const char*, std::optional<QString>> kTable[] = {
        {R"({"error":"No such group","code":7})", u"No such group"_qs},
        {R"({"error":""})", {}}, // no words at all
        {R"({"error":null})", {}},
        {R"({"error":5})", {}},
        {R"({"message":"x"})", {}},
        {R"(["error"])", {}},
        {"<html>error</html>", {}},
        {"", {}},
    };
    for (const auto& [body, text] : kTable)
        EXPECT_EQ(errorText(body), text) << body;
}

TEST(HubError, SaysOneSentenceInEachLanguage) {
    using Kind = HubError::Kind;
    const auto expect = [](const HubError& error, QStringView en, QStringView zh) {
        EXPECT_EQ(error.message(Lang::en), en.toString());
        EXPECT_EQ(error.message(Lang::zh), zh.toString());
    };
    expect({Kind::status, 401, u"x"_qs}, u"This computer is no longer in the group",
           u"本机已不在设备组中");
    expect({Kind::status, 403, u"x"_qs}, u"Invalid or expired pairing code", u"配对码无效或已过期");
    expect({Kind::status, 429, u"x"_qs}, u"Too many attempts — try again later",
           u"尝试次数过多，请稍后再试");
    expect({Kind::status, 500, u"Disk %1 full"_qs}, u"Disk %1 full", u"Disk %1 full");
    expect({Kind::status, 500, {}}, u"Server error (500)", u"服务器错误（500）");
    expect({Kind::status, 0, {}}, u"Server error (0)", u"服务器错误（0）");
    expect({Kind::network, 0, {}}, u"Can't reach the server — check your connection",
           u"无法连接服务器，请检查网络");
    expect({Kind::decode, 0, {}}, u"Unexpected response from the server",
           u"服务器返回了无法识别的数据");
}

} // namespace
} // namespace sorrelwind
