#include "account/pairing_link.h"
#include "account/server_defaults.h"
#include "tests/support/print_qt.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace sorrelwind {
namespace {

QJsonDocument vectors(const char* name) {
    QFile file(QStringLiteral(SORRELWIND_VECTORS_DIR "/") + QLatin1StringView(name));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name;
    return QJsonDocument::fromJson(file.readAll());
}

std::optional<QString> optionalText(const QJsonValue& value) {
    return value.isNull() ? std::nullopt : std::optional(value.toString());
}

PairingLink linkOf(const QJsonValue& value) {
    return {value[u"server"].toString(), value[u"code"].toString(), optionalText(value[u"key"])};
}

TEST(ServerDefaults, NormalizesLikeTheVectors) {
    const QJsonArray cases = vectors("addresses.json").array();
    ASSERT_FALSE(cases.isEmpty());
    for (const QJsonValue row : cases) {
        const auto address = ServerDefaults::normalize(row[u"text"].toString());
        EXPECT_EQ(address, optionalText(row[u"address"])) << row[u"name"].toString().toStdString();
        EXPECT_EQ(address ? ServerDefaults::normalize(*address) : address, address) << "canonical";
    }
}

TEST(ServerDefaults, TakesTheEnvironmentWhenItIsAnAddress) {
    qunsetenv("SORRELWIND_SERVER");
    const QString builtIn = ServerDefaults::initial();
    EXPECT_TRUE(builtIn.startsWith(u"https://"_qs));
    EXPECT_EQ(ServerDefaults::normalize(builtIn), builtIn);
    const std::pair<const char*, QString> kTable[] = {
        {"hub.example:9000", u"https://hub.example:9000"_qs},
        {" ws://127.0.0.1:8787/ws ", u"http://127.0.0.1:8787"_qs},
        {"", builtIn},
        {"ftp://hub.example", builtIn},
        {"HTTPS://hub.example", builtIn},
    };
    for (const auto& [value, address] : kTable) {
        qputenv("SORRELWIND_SERVER", value);
        EXPECT_EQ(ServerDefaults::initial(), address) << value;
        // None is built in here: a reserved name is nothing to offer.
        EXPECT_EQ(ServerDefaults::offered(),
                  address == builtIn ? std::nullopt : std::optional(address))
            << value;
    }
    qunsetenv("SORRELWIND_SERVER");
}

TEST(PairingLink, ParsesAndBuildsLikeTheVectors) {
    const QJsonObject all = vectors("links.json").object();
    ASSERT_FALSE(all.isEmpty());
    for (const QJsonValue row : all[u"parse"].toArray()) {
        const auto expected =
            row[u"link"].isNull() ? std::nullopt : std::optional(linkOf(row[u"link"]));
        EXPECT_EQ(PairingLink::parse(row[u"text"].toString()), expected)
            << row[u"name"].toString().toStdString();
    }
    for (const QJsonValue row : all[u"build"].toArray()) {
        const PairingLink link = linkOf(row[u"link"]);
        EXPECT_EQ(link.toString(), row[u"text"].toString());
        EXPECT_EQ(PairingLink::parse(link.toString()), link);
    }
    for (const QJsonValue row : all[u"typedCode"].toArray()) {
        const QString text = row[u"text"].toString();
        EXPECT_EQ(looksLikePairingCode(text), row[u"accepted"].toBool()) << text.toStdString();
    }
}

} // namespace
} // namespace sorrelwind
