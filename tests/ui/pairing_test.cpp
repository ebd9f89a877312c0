#include "account/pairing_link.h"
#include "tests/support/print_qt.h"
#include "tests/support/program.h"
#include "tests/ui/accessible.h"
#include "tests/ui/model_over_hub.h"
#include "ui/code_groups.h"
#include "ui/controls/brand_button.h"
#include "ui/controls/text_label.h"
#include "ui/countdown_ring.h"
#include "ui/pairing_window.h"
#include "ui/qr_card.h"
#include "ui/qr_code.h"
#include "ui/spring_mark.h"

#include <QApplication>
#include <QKeyEvent>

#include <gtest/gtest.h>

namespace sorrelwind::test {

namespace {

const QDateTime kNow = QDateTime::fromMSecsSinceEpoch(1'700'000'000'000, Qt::UTC);

/// What a QR reader finds in a picture; empty when it finds nothing.
QByteArray readQr(const QImage& picture) {
    const QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("picture.png"));
    if (!picture.save(file))
        return {};
    Program reader(QStringLiteral("/usr/bin/zbarimg"),
                   {QStringLiteral("--raw"), QStringLiteral("-q"), file},
                   QProcessEnvironment::systemEnvironment());
    if (!waitFor([&] { return !reader.running(); }))
        return {};
    return reader.output().trimmed();
}

class PairingWindowTest : public testing::Test {
protected:
    PairingWindowTest() {
        defaults.set(QStringLiteral("language"), QStringLiteral("en"));
        answerWith(600'000);
    }

    /// The next codes live so many milliseconds.
    void answerWith(qint64 lifetime) {
        const qint64 expires = QDateTime::currentMSecsSinceEpoch() + lifetime;
        over.hub.on("POST /pair", {Answer{.body = "{\"code\":\"K7QM-3XTD\",\"expiresAt\":" +
                                                  QByteArray::number(expires) + "}"}});
    }

    void open(bool withKey = true) {
        ASSERT_TRUE(over.start(ModelOverHub::devices({QStringLiteral("Old")}), withKey));
        window = std::make_unique<PairingWindowController>(
            *over.model, over.l10n, [this](const QString& text) { copied.append(text); });
        window->present();
    }

    template <class Phase>
    [[nodiscard]] bool reaches() {
        expectNames(window->window());
        return waitFor([&] { return std::holds_alternative<Phase>(window->state().phase()); });
    }

    void press(const char* text) {
        for (auto* button : window->window().findChildren<BrandButton*>()) {
            if (button->isVisible() && button->text() == QString::fromUtf8(text))
                return button->click();
        }
        ADD_FAILURE() << "no button " << text;
    }

    [[nodiscard]] bool says(const char* text) {
        for (auto* label : window->window().findChildren<TextLabel*>()) {
            if (label->isVisible() && label->text() == QString::fromUtf8(text))
                return true;
        }
        return false;
    }

    QTemporaryDir preferences;
    Defaults defaults{preferences.path()};
    ModelOverHub over{defaults};
    QStringList copied;
    std::unique_ptr<PairingWindowController> window;
};

} // namespace

TEST(CountdownRing, LabelAndProgress) {
    struct Case {
        qint64 leftMs;
        bool expired;
        const char* label;
        double progress;
    };
    for (const Case& c :
         {Case{600'000, false, "10:00", 1}, Case{599'999, false, "9:59", 599 / 600.},
          Case{61'000, false, "1:01", 61 / 600.}, Case{9'000, false, "0:09", 0.015},
          Case{300'000, true, "0:00", 0.5}, Case{0, false, "0:00", 0},
          Case{-90'000, false, "0:00", 0}, Case{7'200'000, false, "120:00", 1}}) {
        const QDateTime expires = kNow.addMSecs(c.leftMs);
        EXPECT_EQ(CountdownRing::label(expires, kNow, c.expired), QLatin1StringView(c.label));
        EXPECT_DOUBLE_EQ(CountdownRing::progress(expires, kNow, 600), c.progress);
    }
}

TEST(SpringMark, OvershootsOnceAndComesToRest) {
    EXPECT_DOUBLE_EQ(SpringMark::springAt(0), 0);
    EXPECT_NEAR(SpringMark::springAt(1), 1, 0.001);
    double highest = 0;
    for (int ms = 0; ms < 1000; ++ms)
        highest = std::max(highest, SpringMark::springAt(ms / 1000.0));
    // exp(-ζπ / √(1 − ζ²)), the overshoot of a damped oscillator.
    EXPECT_NEAR(highest, 1.068, 0.001);
}

TEST(QrCode, IsReadableAndCrispAtEverySize) {
    const QString link =
        QStringLiteral("https://hub.example:8787/#pair=K7QM-3XTD&k=") + QString(43, u'k');
    for (const int side : {220, 330, 440}) {
        const QImage image = QRCode::image(link, side);
        EXPECT_EQ(image.size(), QSize(side, side));
        for (int y = 0; y < side; ++y) {
            for (int x = 0; x < side; ++x)
                ASSERT_TRUE(image.pixel(x, y) == 0xff000000 || image.pixel(x, y) == 0xffffffff);
        }
        EXPECT_EQ(readQr(image.copy(-20, -20, side + 40, side + 40)
                             .convertToFormat(QImage::Format_Grayscale8)),
                  link.toUtf8());
    }
    EXPECT_TRUE(QRCode::image(QString(5000, u'x'), 220).isNull());
    EXPECT_GT(QRCode::image(QString(1000, u'x'), 20).width(), 20) << "a pixel a module at least";
}

TEST(Pairing, LoopbackServersAreKnown) {
    struct Case {
        const char* server;
        bool loopback;
    };
    for (const Case& c :
         {Case{"http://127.0.0.1:8787", true}, Case{"http://127.8.9.1", true},
          Case{"https://localhost:8787", true}, Case{"http://hub.localhost", true},
          Case{"http://[::1]:8787", true}, Case{"http://192.168.1.7:8787", false},
          Case{"https://localhost.example", false}, Case{"http://studio.local:8787", false},
          Case{"http://[fe80::1]", false}, Case{"", false}}) {
        EXPECT_EQ(isLoopbackServer(QLatin1StringView(c.server)), c.loopback) << c.server;
    }
}

TEST_F(PairingWindowTest, ShowsTheLinkAsCodeAndQrInBothLanguages) {
    open();
    EXPECT_TRUE(std::holds_alternative<PairingState::Loading>(window->state().phase()));
    ASSERT_TRUE(reaches<PairingState::Ready>());
    const QString url = window->state().url();
    EXPECT_TRUE(url.startsWith(over.hub.base() + QStringLiteral("/#pair=K7QM-3XTD&k=")));
    EXPECT_EQ(readQr(window->window().grab().toImage()), url.toUtf8());
    EXPECT_EQ(window->window().findChild<CodeGroups*>()->groups(),
              (QStringList{QStringLiteral("K7QM"), QStringLiteral("3XTD")}));
    EXPECT_EQ(window->window().size(), QSize(420, 600));
    EXPECT_TRUE(says("Only this computer can reach the hub’s current address"));
    EXPECT_TRUE(says("The link contains the encryption key — only send it to your own devices"));
    EXPECT_TRUE(says("Or type the pairing code"));
    EXPECT_TRUE(says(qPrintable(QStringLiteral("Hub: ") + over.hub.base())));
    EXPECT_TRUE(says("2. Open the page"));

    over.l10n.toggle();
    over.model->languageChanged();
    EXPECT_TRUE(says("或手动输入配对码"));
    EXPECT_EQ(window->window().windowTitle(), QStringLiteral("添加设备"));
    press("复制配对链接");
    EXPECT_EQ(copied, QStringList{url});
    press("已复制");
    over.l10n.toggle();
}

TEST_F(PairingWindowTest, EachPresentationAsksForAFreshCode) {
    open();
    ASSERT_TRUE(reaches<PairingState::Ready>());
    press("Copy Pairing Link");
    EXPECT_TRUE(window->state().linkCopied());
    // A device that is there by the second request is no news for it.
    over.hub.on("POST /pair", {Answer{.raw = QByteArray("HTTP/1.1 200 OK\r\n")}});
    window->state().generate();
    ASSERT_TRUE(waitFor([&] { return over.hub.count("POST /pair") == 2; }));
    ASSERT_TRUE(
        over.setDevices(ModelOverHub::devices({QStringLiteral("Old"), QStringLiteral("Between")})));
    answerWith(600'000);
    window->present();
    EXPECT_FALSE(window->state().linkCopied());
    ASSERT_TRUE(reaches<PairingState::Ready>());
    EXPECT_EQ(over.hub.count("POST /pair"), 3);
    runFor(std::chrono::milliseconds(20));
    EXPECT_TRUE(std::holds_alternative<PairingState::Ready>(window->state().phase()));
}

TEST_F(PairingWindowTest, TheNewestNewDeviceIsNamed) {
    open();
    ASSERT_TRUE(reaches<PairingState::Ready>());
    QList<DeviceInfo> devices = ModelOverHub::devices({QStringLiteral("Old")});
    std::reverse(devices.begin(), devices.end());
    devices.last().name = QStringLiteral("Renamed");
    ASSERT_TRUE(over.setDevices(devices));
    EXPECT_TRUE(std::holds_alternative<PairingState::Ready>(window->state().phase()))
        << "known devices, in another order and by another name";
    ASSERT_TRUE(over.setDevices(ModelOverHub::devices(
        {QStringLiteral("Old"), QStringLiteral("One"), QStringLiteral("<b>Two</b>")})));
    EXPECT_EQ(window->state().phase(),
              PairingState::Phase(PairingState::Joined{QStringLiteral("<b>Two</b>")}));
    EXPECT_TRUE(says("Added “\u2068<b>Two</b>\u2069”"));
    window->state().tick(window->state().expiresAt());
    EXPECT_TRUE(reaches<PairingState::Joined>()) << "nothing expires any more";
    press("Add Another");
    EXPECT_TRUE(reaches<PairingState::Ready>());
}

TEST_F(PairingWindowTest, ACodeExpiresOnTimeAndIsRenewed) {
    open();
    ASSERT_TRUE(reaches<PairingState::Ready>());
    const QDateTime expires = window->state().expiresAt();
    window->state().tick(expires.addMSecs(-1));
    EXPECT_TRUE(std::holds_alternative<PairingState::Ready>(window->state().phase()));
    window->state().tick(expires);
    ASSERT_TRUE(std::holds_alternative<PairingState::Expired>(window->state().phase()));
    EXPECT_TRUE(says("This code has expired"));
    EXPECT_EQ(readQr(window->window().grab().toImage()), QByteArray());
    ASSERT_TRUE(
        over.setDevices(ModelOverHub::devices({QStringLiteral("Old"), QStringLiteral("Late")})));
    EXPECT_TRUE(std::holds_alternative<PairingState::Expired>(window->state().phase()));
    press("Generate New Code");
    EXPECT_TRUE(reaches<PairingState::Ready>());

    // By the clock, without being told.
    answerWith(-1);
    window->state().generate();
    EXPECT_TRUE(reaches<PairingState::Expired>());
}

TEST_F(PairingWindowTest, AnotherPassphraseMakesAnotherLink) {
    open();
    ASSERT_TRUE(reaches<PairingState::Ready>());
    Account rekeyed = *over.model->account();
    rekeyed.key = QString::fromLatin1(QByteArray(32, 'n').toBase64());
    ASSERT_TRUE(over.model->adoptKey(rekeyed));
    EXPECT_TRUE(waitFor([&] {
        const auto link = PairingLink::parse(window->state().url());
        return link && link->keyB64 == rekeyed.key;
    }));
    EXPECT_EQ(over.hub.count("POST /pair"), 2);
}

TEST_F(PairingWindowTest, AFailureIsSaidAndRetried) {
    over.hub.on("POST /pair", {Answer{.status = 500, .body = R"({"error":"out of codes"})"}});
    open();
    ASSERT_TRUE(reaches<PairingState::Failed>());
    EXPECT_TRUE(says("out of codes"));
    answerWith(600'000);
    press("Retry");
    EXPECT_TRUE(std::holds_alternative<PairingState::Loading>(window->state().phase()));
    EXPECT_TRUE(reaches<PairingState::Ready>());
}

TEST_F(PairingWindowTest, ALinkWithoutAKeyIsNotSaidToHoldOne) {
    open(false);
    ASSERT_TRUE(reaches<PairingState::Ready>());
    EXPECT_EQ(window->state().typingNeeds(), std::nullopt);
    EXPECT_FALSE(says("The link contains the encryption key — only send it to your own devices"));
}

TEST_F(PairingWindowTest, ClosingTellsTheOwnerWhoMayDropIt) {
    open();
    window->onClose = [this] { window.reset(); };
    const QPointer<PairingView> view = &window->window();
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QApplication::sendEvent(view, &escape);
    EXPECT_EQ(window, nullptr);
    EXPECT_TRUE(waitFor([&] { return view.isNull(); }));
    over.model->languageChanged();
}

} // namespace sorrelwind::test
