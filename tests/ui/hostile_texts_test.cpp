#include "tests/ui/windows_fixture.h"
#include "ui/onboarding_window.h"
#include "ui/pairing_window.h"
#include "ui/settings_window.h"
#include "ui/status_panel.h"

#include <QFile>
#include <QHelpEvent>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTextDocument>
#include <QToolTip>

#include <sys/inotify.h>
#include <unistd.h>

// What a hub or a fellow device can write into the windows stands there as it was written: markup
// is shown and not obeyed, and what turns the reading direction has no effect on the words around.

namespace sorrelwind::test {

namespace {

class HostileTexts : public WindowsFixture {
protected:
    HostileTexts() : m_opened(inotify_init1(IN_NONBLOCK)) {
        QFile file(dir.filePath(u"picture.png"_qs));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.close();
        EXPECT_GE(inotify_add_watch(m_opened, QFile::encodeName(file.fileName()), IN_OPEN), 0);
        markup = u"<img src=\"%1\">&amp;"_qs.arg(file.fileName());
    }
    ~HostileTexts() override { close(m_opened); }

    /// As a hub sends it, and as it is to be seen.
    [[nodiscard]] QString hostile() const { return markup + u"\u202e\u2069\nx"_qs; }
    [[nodiscard]] QString harmless() const { return markup + u"\ufffd\ufffd\ufffdx"_qs; }
    [[nodiscard]] QByteArray refusal() const {
        return QJsonDocument(QJsonObject{{u"error"_qs, hostile()}}).toJson();
    }
    [[nodiscard]] QByteArray frame(const char* type, int devices) const {
        QJsonArray list;
        for (int i = 0; i < devices; ++i) {
            list.append(QJsonObject{{u"id"_qs, i == 0 ? u"d"_qs : QString::number(i)},
                                    {u"name"_qs, hostile()},
                                    {u"platform"_qs, hostile()},
                                    {u"createdAt"_qs, 1},
                                    {u"lastSeen"_qs, 1},
                                    {u"online"_qs, true}});
        }
        return QJsonDocument(
                   QJsonObject{{u"type"_qs, QLatin1StringView(type)}, {u"devices"_qs, list}})
            .toJson();
    }
    void startInGroup(const QString& server) {
        Account member = account();
        member.server = server;
        member.deviceName = hostile();
        ASSERT_TRUE(store.save(member));
        hub.greeting = frame("hello", 2);
        startModel();
    }

    /// Reads every text that can be seen, those of tool tips included, and draws all of it.
    [[nodiscard]] static QStringList readAll() {
        QStringList all;
        const auto widgets = QApplication::allWidgets();
        for (QWidget* widget : widgets) {
            if (!widget->isVisible() || widget->inherits("QTipLabel"))
                continue;
            if (const auto* label = qobject_cast<const QLabel*>(widget)) {
                EXPECT_EQ(label->textFormat(), Qt::PlainText);
                all << label->text();
            }
            if (widget->isWindow())
                widget->grab();
            const QPoint middle = widget->rect().center();
            QHelpEvent hover(QEvent::ToolTip, middle, widget->mapToGlobal(middle));
            QApplication::sendEvent(widget, &hover);
            if (widget->toolTip().isEmpty())
                continue;
            QTextDocument tip;
            if (Qt::mightBeRichText(widget->toolTip()))
                tip.setHtml(widget->toolTip());
            else
                tip.setPlainText(widget->toolTip());
            all << tip.toPlainText();
        }
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (widget->inherits("QTipLabel")) {
                widget->grab();
                widget->hide();
            }
        }
        return all;
    }

    /// The window of now: shows the text in at least so many places, and nothing else comes of it.
    void expectHarmless(qsizetype places) {
        const QStringList all = readAll();
        EXPECT_GE(all.filter(harmless()).size(), places) << all.join(u'\n').toStdString();
        EXPECT_TRUE(all.filter(u"\u202e"_qs).isEmpty());
        for (const QString& text : all)
            EXPECT_EQ(text.count(u'\u2068'), text.count(u'\u2069')) << text.toStdString();
        char event[4096];
        EXPECT_LT(read(m_opened, event, sizeof event), 0) << "a file was read";
    }

    QString markup;

private:
    int m_opened;
};

TEST_F(HostileTexts, InThePanel) {
    startInGroup(hub.base());
    hub.on("DELETE /devices/1", {{.status = 400, .body = refusal()}});
    ASSERT_TRUE(waitFor([&] { return model->devices().size() == 2; }));
    StatusPanelController panel(*model, l10n, {});
    panel.show();
    const QJsonObject item{{u"id"_qs, u"i"_qs},
                           {u"ts"_qs, 1},
                           {u"from"_qs, u"1"_qs},
                           {u"device"_qs, hostile()},
                           {u"mime"_qs, u"text/plain"_qs},
                           {u"payload"_qs, u"text"_qs}};
    hub.send(QJsonDocument(QJsonObject{{u"type"_qs, u"item"_qs}, {u"item"_qs, item}}).toJson());
    ASSERT_TRUE(waitFor([&] { return says(u"Received unencrypted from \u2068"_qs + harmless()); }));
    // Names, platforms, the sender, and the question whether to remove.
    expectHarmless(2 + 2 + 1 + 1);

    press(u"Remove “\u2068"_qs + harmless() + u"\u2069”"_qs);
    press(u"Remove"_qs);
    ASSERT_TRUE(waitFor([&] { return says(u"Couldn't remove: "_qs); }));
    expectHarmless(2 + 2 + 1 + 1 + 1);
}

TEST_F(HostileTexts, InThePairingWindow) {
    startInGroup(hub.base());
    hub.on("POST /pair",
           {{.status = 400, .body = refusal()},
            {.body = R"({"code":"K7QM-3XTD","expiresAt":)" +
                     QByteArray::number(QDateTime::currentMSecsSinceEpoch() + 600'000) + '}'}});
    ASSERT_TRUE(waitFor([&] { return model->devices().size() == 2; }));
    PairingWindowController pairing(*model, l10n, [](const QString&) {});
    pairing.present();
    ASSERT_TRUE(waitFor([&] { return says(harmless()); }));
    expectHarmless(1);

    press(u"Retry"_qs);
    ASSERT_TRUE(waitFor([] { return button(u"Copy Pairing Link"_qs) != nullptr; }));
    hub.send(frame("devices", 3));
    ASSERT_TRUE(waitFor([&] { return says(u"Added “\u2068"_qs + harmless()); }));
    expectHarmless(1);
}

TEST_F(HostileTexts, InTheSettings) {
    for (const bool reachable : {true, false}) {
        startInGroup(reachable ? hub.base() : u"https://"_qs + hostile());
        hub.on("PATCH /devices/d", {{.status = 400, .body = refusal()}});
        SettingsWindowController settings(
            *model, SettingsServices{prefs, l10n, hubHost, launchAtLogin, [](const QString&) {}});
        settings.present();
        if (reachable) {
            type("deviceName", u"Desk"_qs);
            key(Qt::Key_Return);
            ASSERT_TRUE(waitFor([&] { return says(harmless()); }));
        }
        expectHarmless(1);
    }
}

TEST_F(HostileTexts, InOnboarding) {
    hub.on("POST /groups", {{.status = 503, .body = refusal()}});
    hub.on("POST /pair/claim", {{.status = 503, .body = refusal()}});
    for (const bool joins : {false, true}) {
        startModel();
        OnboardingWindowController onboarding(
            *model, OnboardingServices{store, network, l10n, hubHost, launchAtLogin,
                                       [](const QString&) {}, [] { return true; }});
        onboarding.present();
        press(u"Get Started"_qs);
        if (joins) {
            press(u"Join a group"_qs);
            type("invitation", hub.base() + u"/#pair=K7QM-3XTD&k="_qs + QString(43, u'A'));
        } else {
            press(u"Create a group"_qs);
            QTest::keyClick(seen<QWidget>("hubChoice"), Qt::Key_Left);
            type("server", hub.base());
        }
        type("deviceName", u"Desk"_qs);
        key(Qt::Key_Return);
        ASSERT_TRUE(waitFor([&] { return says(harmless()); }));
        expectHarmless(1);
    }
}

} // namespace

} // namespace sorrelwind::test
