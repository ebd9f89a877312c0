#include "crypto/clipboard_crypto.h"
#include "tests/support/print_qt.h"
#include "tests/ui/accessible.h"
#include "tests/ui/model_over_hub.h"
#include "ui/activity_row.h"
#include "ui/controls/brand_button.h"
#include "ui/controls/text_label.h"
#include "ui/device_row.h"
#include "ui/empty_devices.h"
#include "ui/status_panel.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QScreen>
#include <QThreadPool>

#include <gtest/gtest.h>

namespace sorrelwind::test {

namespace {

using Direction = Activity::Direction;

const QDateTime kNow = QDateTime::fromMSecsSinceEpoch(1'700'000'000'000, Qt::UTC);

class StatusPanelTest : public testing::Test {
protected:
    StatusPanelTest() { defaults.set(QStringLiteral("language"), QStringLiteral("en")); }

    void open(const QStringList& others, bool withKey = true) {
        ASSERT_TRUE(over.start(ModelOverHub::devices(others), withKey));
        panel = std::make_unique<StatusPanelController>(
            *over.model, over.l10n,
            StatusActions{[this] { ++added; }, [this] { ++settings; }, [this] { ++quits; },
                          [this] {
                              ++resized;
                              if (panel)
                                  panel->contentChanged();
                          }});
        panel->setAnchor([this] { return anchor; });
        panel->show();
        ASSERT_TRUE(panel->isVisible());
        view = window()->findChild<StatusView*>();
    }

    [[nodiscard]] static QWidget* window() { return QApplication::activePopupWidget(); }

    /// The card on the screen, without the shadow.
    [[nodiscard]] QRect card() const { return {view->mapToGlobal(QPoint()), view->size()}; }

    static bool send(int key) {
        QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
        QApplication::sendEvent(window(), &event);
        return event.isAccepted();
    }

    [[nodiscard]] bool says(const char* text) const {
        for (auto* label : view->findChildren<TextLabel*>()) {
            if (label->isVisibleTo(view) && label->text() == QString::fromUtf8(text))
                return true;
        }
        return false;
    }

    [[nodiscard]] QAbstractButton* button(const char* name) const {
        for (auto* button : view->findChildren<QAbstractButton*>()) {
            if (button->isVisibleTo(view) && (button->accessibleName() == QString::fromUtf8(name) ||
                                              button->text() == QString::fromUtf8(name)))
                return button;
        }
        return nullptr;
    }

    void press(const char* name) const {
        auto* found = button(name);
        ASSERT_NE(found, nullptr) << name;
        found->click();
    }

    QTemporaryDir preferences;
    Defaults defaults{preferences.path()};
    ModelOverHub over{defaults};
    std::optional<QRect> anchor = QRect(400, 0, 24, 24);
    int added = 0;
    int settings = 0;
    int quits = 0;
    int resized = 0;
    std::unique_ptr<StatusPanelController> panel;
    StatusView* view = nullptr;
};

} // namespace

TEST(ActivityRow, SaysWhatBecameOfACopy) {
    struct Case {
        Activity activity;
        const char* symbol;
        const char* en;
        const char* zh;
    };
    const auto sent = [](std::optional<qint64> to) {
        return Activity{Direction::sent, kNow, std::nullopt, to};
    };
    const auto received = [](std::optional<QString> from) {
        return Activity{Direction::received, kNow, std::move(from), std::nullopt};
    };
    const Case cases[] = {
        {sent(0), "arrow.up.circle.fill", "Copied, but no other devices yet",
         "已复制，但还没有其他设备"},
        {sent(1), "arrow.up.circle.fill", "Sent to 1 device", "已发送到 1 台设备"},
        {sent(2), "arrow.up.circle.fill", "Sent to 2 devices", "已发送到 2 台设备"},
        {sent({}), "arrow.up.circle.fill", "Sent", "已发送"},
        {{Direction::failed, kNow, {}, {}},
         "exclamationmark.circle.fill",
         "Last copy wasn't sent",
         "上次复制未能发送"},
        {received(QStringLiteral("Pad %1")), "arrow.down.circle.fill",
         "Received from \u2068Pad %1\u2069", "收到来自 \u2068Pad %1\u2069"},
        {{Direction::received, kNow, QStringLiteral("Pad"), {}, true},
         "arrow.down.circle.fill",
         "Received unencrypted from \u2068Pad\u2069",
         "收到未加密的内容，来自 \u2068Pad\u2069"},
        {received(QString()), "arrow.down.circle.fill", "Received from ?", "收到来自 ?"},
        {received({}), "arrow.down.circle.fill", "Received from ?", "收到来自 ?"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(ActivityRow::symbol(c.activity), QLatin1StringView(c.symbol));
        EXPECT_EQ(activityText(c.activity, Lang::en), QString::fromUtf8(c.en));
        EXPECT_EQ(activityText(c.activity, Lang::zh), QString::fromUtf8(c.zh));
    }
}

TEST_F(StatusPanelTest, HangsUnderTheIconAndClosesOnEscape) {
    open({QStringLiteral("Pad")});
    EXPECT_EQ(card().top(), anchor->bottom() + 1 + 5);
    EXPECT_NEAR(card().center().x(), anchor->center().x(), 1);
    EXPECT_FALSE(send(Qt::Key_A)) << "goes on to whoever wants it";
    EXPECT_TRUE(panel->isVisible());
    EXPECT_TRUE(waitFor([] { return window()->windowOpacity() == 1; }));
    EXPECT_TRUE(send(Qt::Key_Escape));
    EXPECT_FALSE(panel->isVisible()) << "from the start of the fade";
    EXPECT_TRUE(waitFor([] { return window() == nullptr; }));
    panel->close();
    panel->contentChanged();
    EXPECT_FALSE(panel->isVisible());

    // Shown again in the midst of fading out, it stays.
    panel->show();
    panel->close();
    panel->show();
    EXPECT_TRUE(waitFor([] { return window() && window()->windowOpacity() == 1; }));
    EXPECT_TRUE(panel->isVisible());
}

TEST_F(StatusPanelTest, TheOtherButtonOnTheIconIsPassedOn) {
    int menus = 0;
    const auto pressAt = [&](QPoint place, Qt::MouseButton button) {
        open({});
        panel->onMenuRequested = [&] { menus += panel->isVisible() ? 100 : 1; };
        QMouseEvent event(QEvent::MouseButtonPress, window()->mapFromGlobal(place), place, button,
                          button, Qt::NoModifier);
        QApplication::sendEvent(window(), &event);
        EXPECT_FALSE(panel->isVisible());
        panel.reset();
        return std::exchange(menus, 0);
    };
    EXPECT_EQ(pressAt(anchor->center(), Qt::RightButton), 1);
    EXPECT_EQ(pressAt(anchor->center(), Qt::MiddleButton), 1);
    EXPECT_EQ(pressAt(anchor->center(), Qt::LeftButton), 0);
    EXPECT_EQ(pressAt(QPoint(10, 400), Qt::RightButton), 0);
    anchor.reset();
    EXPECT_EQ(pressAt(QPoint(10, 400), Qt::RightButton), 0);
}

TEST_F(StatusPanelTest, FollowsTheModelAndTheLanguage) {
    open({});
    EXPECT_TRUE(says("Connected · Encrypted") && says("Copies go to your other devices"));
    expectNames(*window());
    press("Add your tablet or phone");
    EXPECT_EQ(added, 1);
    const int alone = card().height();

    ASSERT_TRUE(over.setDevices(ModelOverHub::devices(
        {QString(200, u'长'), QStringLiteral("Phone"), QStringLiteral("Pad")})));
    EXPECT_FALSE(view->findChild<EmptyDevices*>()->isVisible());
    ASSERT_TRUE(over.copy(1));
    EXPECT_TRUE(says("Sent to 1 device"));
    EXPECT_TRUE(waitFor([&] { return card().height() > alone + 48; })) << "fits itself anew";
    EXPECT_EQ(card().width(), 340) << "whatever a device is called";

    const int before = card().height();
    ASSERT_TRUE(over.receive(QStringLiteral("sw1.AAAA.BBBB"), QStringLiteral("Pad")));
    EXPECT_TRUE(
        says("Received content that can't be decrypted — passphrase mismatch on another device?"));
    EXPECT_TRUE(waitFor([&] { return card().height() > before + 30; })) << "two lines of warning";

    EXPECT_EQ(button("Enter Passphrase…"), nullptr) << "a damaged text";
    ASSERT_TRUE(over.receive(QStringLiteral("in the clear"), QStringLiteral("Pad")));
    const auto other = SymmetricKey::fromBytes(QByteArray(32, 'o'));
    ASSERT_TRUE(over.receive(*Crypto::encryptText(u"x"_qs, *other), QStringLiteral("Pad")));
    press("Enter Passphrase…");
    EXPECT_EQ(settings, 1);

    over.l10n.toggle();
    over.model->languageChanged();
    over.model->setPaused(true);
    EXPECT_TRUE(says("已暂停 · 不发送也不接收") && says("已发送到 1 台设备"));
    over.l10n.toggle();
    over.model->languageChanged();
    press("Settings");
    EXPECT_EQ(settings, 2);
}

TEST_F(StatusPanelTest, OpensAtTheHeightOfALanguageChosenMeanwhile) {
    open({QStringLiteral("Pad")});
    for (int i = 0; i < 2; ++i) {
        const int before = card().height();
        panel->close();
        EXPECT_TRUE(waitFor([] { return window() == nullptr; }));
        over.l10n.toggle();
        over.model->languageChanged();
        panel->show();
        const int atOnce = card().height();
        EXPECT_NE(atOnce, before) << "Chinese lines are taller";
        runFor(std::chrono::milliseconds(20));
        EXPECT_EQ(card().height(), atOnce);
        panel.reset();
        open({QStringLiteral("Pad")});
        EXPECT_EQ(card().height(), atOnce) << "as if it were shown for the first time";
    }
}

TEST_F(StatusPanelTest, MoreMenuPausesAndQuits) {
    open({QStringLiteral("Pad")});
    const auto choose = [&](const char* text) {
        press("More");
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        ASSERT_NE(menu, nullptr);
        for (QAction* action : menu->actions()) {
            if (action->text() == QLatin1StringView(text))
                action->trigger();
        }
        menu->close();
    };
    choose("Pause Sync");
    EXPECT_TRUE(over.model->paused());
    choose("Resume Sync");
    EXPECT_FALSE(over.model->paused());
    choose("Quit Sorrelwind");
    EXPECT_EQ(quits, 1);
}

TEST_F(StatusPanelTest, ADeviceIsRemovedAfterAQuestion) {
    over.hub.on("DELETE /devices/d1",
                {Answer{.status = 400, .body = R"({"error":"not now"})"}, Answer{}});
    open({QStringLiteral("Pad"), QStringLiteral("Phone")});
    press("Remove “\u2068Pad\u2069”");
    EXPECT_TRUE(says("Remove this device") && says("It must pair again to rejoin"));
    expectNames(*window());
    press("Cancel");
    EXPECT_FALSE(says("Remove this device"));
    EXPECT_EQ(over.hub.count("DELETE /devices/d1"), 0);

    press("Remove “\u2068Pad\u2069”");
    EXPECT_TRUE(send(Qt::Key_Escape)) << "closes the question";
    EXPECT_TRUE(panel->isVisible() && !says("Remove this device"));

    press("Remove “\u2068Pad\u2069”");
    // The question stays while the list is renewed around it.
    ASSERT_TRUE(over.setDevices(ModelOverHub::devices({QStringLiteral("Pad")})));
    EXPECT_TRUE(says("Remove this device"));
    press("Remove");
    EXPECT_TRUE(waitFor([&] { return says("Couldn't remove: not now"); }));
    over.l10n.toggle();
    over.model->languageChanged();
    EXPECT_TRUE(says("移除失败：not now"));
    over.l10n.toggle();
    over.model->languageChanged();
    press("Remove “\u2068Pad\u2069”");
    press("Remove");
    EXPECT_TRUE(waitFor([&] { return !says("Couldn't remove: not now"); }));
    EXPECT_EQ(over.hub.count("DELETE /devices/d1"), 2);
    for (const auto* row : view->findChildren<DeviceRow*>())
        EXPECT_NE(row->accessibleName(), QStringLiteral("Phone"));
}

TEST_F(StatusPanelTest, ALongDerivationIsCancelled) {
    over.hub.on(
        "GET /crypto",
        {Answer{.body = R"({"crypto":{"v":1,"kdf":"k","iters":2147483647,"salt":"AAAA"}})"}});
    open({QStringLiteral("Pad")}, false);
    ASSERT_TRUE(waitFor([&] { return button("Cancel") != nullptr; }));
    EXPECT_TRUE(over.model->warning()->contains(u"2147483647 rounds"_qs));
    expectNames(*window());
    press("Cancel");
    EXPECT_TRUE(says("Couldn't derive the encryption key"));
    EXPECT_EQ(button("Cancel"), nullptr);
    EXPECT_NE(button("Enter Passphrase…"), nullptr);
    EXPECT_TRUE(waitFor([] { return QThreadPool::globalInstance()->activeThreadCount() == 0; }));
}

TEST_F(StatusPanelTest, AnyNumberOfDevicesFitsTheScreen) {
    QStringList many;
    for (int i = 0; i < 29; ++i)
        many.append(QStringLiteral("Device %1").arg(i));
    const QRect free = QGuiApplication::primaryScreen()->availableGeometry();
    for (const std::optional<QRect>& icon :
         {std::optional(QRect(400, 0, 24, 24)), std::optional(QRect(2, 0, 24, 24)),
          std::optional(QRect(free.right() - 10, free.bottom() - 24, 24, 24)),
          std::optional<QRect>()}) {
        anchor = icon;
        panel.reset();
        open(many);
        EXPECT_TRUE(free.adjusted(8, 0, -8, -8).contains(card()));
        EXPECT_GT(card().height(), free.height() * 3 / 4) << "uses the room there is";
        EXPECT_FALSE(icon && card().intersects(*icon));
        EXPECT_EQ(view->findChildren<DeviceRow*>().size(), 30);
    }
}

TEST_F(StatusPanelTest, ABurstOfChangesFitsThePanelOnce) {
    open({QStringLiteral("Pad")});
    int resizes = 0;
    struct Counter final : QObject {
        int& count;
        explicit Counter(int& c) : count(c) {}
        bool eventFilter(QObject*, QEvent* event) override {
            if (event->type() == QEvent::Resize)
                ++count;
            return false;
        }
    } counter(resizes);
    runFor(std::chrono::milliseconds(20));
    window()->installEventFilter(&counter);
    view->findChildren<DeviceRow*>().at(1)->setConfirming(true);
    over.model->setPaused(true);
    over.model->setPaused(false);
    EXPECT_EQ(resizes, 0);
    EXPECT_TRUE(waitFor([&] { return resizes > 0; }));
    runFor(std::chrono::milliseconds(20));
    EXPECT_EQ(resizes, 1);
    window()->removeEventFilter(&counter);
}

} // namespace sorrelwind::test
