#pragma once

#include "account/account_store.h"
#include "base/defaults.h"
#include "base/prefs.h"
#include "core/app_model.h"
#include "hosting/hub_host.h"
#include "hub/network.h"
#include "tests/support/fake_pasteboard.h"
#include "tests/support/print_qt.h"
#include "tests/support/scripted_hub.h"
#include "tests/ui/accessible.h"
#include "ui/launch_at_login.h"

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

namespace sorrelwind::test {

const QByteArray kJoined = R"({"device":{"id":"d","name":"Studio"},"token":"g.secret.x"})";
const QByteArray kCrypto =
    R"({"crypto":{"v":1,"kdf":"k","iters":2,"salt":"AAECAwQFBgcICQoLDA0ODw=="}})";

/// A model over a scripted hub, everything that the windows need, and hands: what can be seen of a
/// window is found, read and operated as a person would.
class WindowsFixture : public testing::Test {
protected:
    WindowsFixture() {
        defaults.set(QStringLiteral("language"), QStringLiteral("en"));
        hub.on("POST /groups", {{.body = kJoined}});
        hub.on("POST /pair/claim", {{.body = kJoined}});
        hub.on("GET /crypto", {{.body = kCrypto}});
        hub.on("DELETE /devices/d", {Answer{}});
    }

    [[nodiscard]] Account account() const {
        return {hub.base(),
                QStringLiteral("g"),
                QStringLiteral("d"),
                QStringLiteral("Studio"),
                QStringLiteral("g.secret.x"),
                QStringLiteral("abcde-fghjk"),
                QStringLiteral("AAECAwQFBgcICQoLDA0ODw=="),
                QString::fromLatin1(QByteArray(32, 'k').toBase64())};
    }

    void startModel() {
        model =
            std::make_unique<AppModel>(AppModel::Services{store, pasteboard, network, l10n, prefs});
        model->onNeedsOnboarding = [this] { ++onboardingWanted; };
    }

    /// The one window of the program that can be seen.
    [[nodiscard]] static QWidget* window() {
        QWidget* found = nullptr;
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (widget->isVisible() && widget->isWindow())
                found = widget;
        }
        return found;
    }
    template <class T>
    [[nodiscard]] static QList<T*> seen() {
        QList<T*> all;
        if (QWidget* top = window()) {
            for (T* widget : top->findChildren<T*>()) {
                if (widget->isVisible())
                    all << widget;
            }
        }
        return all;
    }
    template <class T>
    [[nodiscard]] static T* seen(const char* name) {
        for (T* widget : seen<T>()) {
            if (widget->objectName() == QLatin1StringView(name))
                return widget;
        }
        return nullptr;
    }
    [[nodiscard]] static QAbstractButton* button(const QString& text) {
        for (auto* widget : seen<QAbstractButton>()) {
            if (widget->text() == text || widget->accessibleName() == text)
                return widget;
        }
        return nullptr;
    }
    [[nodiscard]] static bool says(const QString& text) {
        const auto labels = seen<QLabel>();
        return std::any_of(labels.begin(), labels.end(),
                           [&](const QLabel* label) { return label->text().contains(text); });
    }

    static void press(const QString& text) {
        auto* found = button(text);
        ASSERT_NE(found, nullptr) << text.toStdString();
        ASSERT_TRUE(found->isEnabled()) << text.toStdString();
        QTest::mouseClick(found, Qt::LeftButton);
    }
    static void type(const char* field, const QString& text) {
        auto* edit = seen<QLineEdit>(field);
        ASSERT_NE(edit, nullptr) << field;
        edit->setFocus();
        edit->selectAll();
        QTest::keyClick(edit, Qt::Key_Delete);
        QTest::keyClicks(edit, text);
    }
    /// A key for whoever has the focus.
    static void key(Qt::Key which) {
        QWidget* top = window();
        ASSERT_NE(top, nullptr);
        QTest::keyClick(top->focusWidget() ? top->focusWidget() : top, which);
    }

    /// What the window shows is all in one language, and everything operable has a name.
    static void expectOneLanguage(Lang lang) {
        static const QRegularExpression kChinese(QStringLiteral("[\\x{3000}-\\x{9fff}]"));
        static const QRegularExpression kEnglish(QStringLiteral("[A-Za-z]{3,}"));
        static const QRegularExpression kNames(QStringLiteral(
            "Sorrelwind|sorrelwind-hub|Studio|XXXX|https?://\\S+|English|"
            "EN / 中文|^中文$|[a-z0-9.]+\\.example|abcde-fghjk|([a-z0-9]{5}-){3}[a-z0-9]{5}"));
        const auto check = [&](const QWidget* widget, QString text) {
            text.remove(kNames);
            EXPECT_FALSE(text.contains(lang == Lang::zh ? kEnglish : kChinese))
                << widget->metaObject()->className() << ": " << text.toStdString();
        };
        check(window(), window()->windowTitle());
        for (const QLabel* label : seen<QLabel>())
            check(label, label->text());
        for (const QAbstractButton* each : seen<QAbstractButton>())
            check(each, each->text() + u' ' + each->toolTip());
        for (const QWidget* widget : seen<QWidget>()) {
            if (widget->objectName() != QLatin1StringView("language"))
                check(widget, widget->accessibleName());
        }
        expectNames(*window());
    }

    /// Tab goes round and comes to everything that takes the focus.
    static void expectTabReachesAll() {
        QSet<QWidget*> wanted;
        for (QWidget* widget : seen<QWidget>()) {
            if (widget->isEnabled() && (widget->focusPolicy() & Qt::TabFocus) != 0)
                wanted << widget;
        }
        QSet<QWidget*> reached;
        for (qsizetype i = 0; i <= wanted.size(); ++i) {
            key(Qt::Key_Tab);
            reached << window()->focusWidget();
        }
        for (const QWidget* widget : wanted - reached)
            ADD_FAILURE() << widget->metaObject()->className() << ' '
                          << widget->accessibleName().toStdString() << " is not reached";
    }

    QTemporaryDir dir;
    Defaults defaults{dir.path()};
    L10n l10n{defaults};
    Prefs prefs{defaults};
    AccountStore store{dir.path()};
    FakePasteboard pasteboard;
    Network network;
    ScriptedHub hub;
    HubHost hubHost{defaults, {.program = {}, .mayUseSystemd = false, .mayUseAvahi = false}};
    LaunchAtLogin launchAtLogin{{QStringLiteral("/a")}, dir.filePath(u"autostart"_qs)};
    QStringList copied;
    int onboardingWanted = 0;
    std::unique_ptr<AppModel> model;
};

} // namespace sorrelwind::test
