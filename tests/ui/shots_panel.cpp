#include "base/machine_words.h"
#include "crypto/clipboard_crypto.h"
#include "tests/ui/model_over_hub.h"
#include "tests/ui/screenshots.h"
#include "ui/device_row.h"
#include "ui/floating_card.h"
#include "ui/pairing_view.h"
#include "ui/palette.h"
#include "ui/spring_mark.h"
#include "ui/status_view.h"
#include "ui/sync_bubble.h"

#include <QBoxLayout>

#include <cstdio>
#include <cstdlib>

namespace sorrelwind::test {

namespace {

using Prepare = std::function<void(ModelOverHub&)>;

void need(bool done) {
    if (done)
        return;
    std::fputs("a picture's model did not reach its state\n", stderr);
    std::exit(1);
}

QStringList some() {
    return {QStringLiteral("Pixel Tablet"), QStringLiteral("iPhone")};
}

/// A text under the group's key, or another.
QString sealed(char filling = 'k') {
    const auto key = SymmetricKey::fromBytes(QByteArray(32, filling));
    return *Crypto::encryptText(QStringLiteral("text"), *key);
}

/// The panel's card as an ordinary window, with the model that it shows.
class PanelShot final : public FloatingCard {
public:
    PanelShot(const QStringList& others, const Prepare& prepare, int tallest = 700)
        : FloatingCard(Qt::Window, Palette::Radius::md, Palette::Space::s6),
          m_over(shotDefaults()) {
        need(m_over.start(ModelOverHub::devices(others)));
        prepare(m_over);
        view = new StatusView(*m_over.model, m_over.l10n, {});
        setContent(view);
        const QSize size = view->fit(tallest);
        placeUnder(std::nullopt, size, 5);
    }
    ~PanelShot() override { setContent(new QWidget); }

    StatusView* view;

private:
    ModelOverHub m_over;
};

/// The pairing window, with its model.
class PairingShot final : public QWidget {
public:
    explicit PairingShot(const Prepare& prepare, int lifetime = 599, bool loopback = false)
        : m_over(shotDefaults()) {
        // This computer by a name that does not say so.
        if (!loopback)
            m_over.server.replace(QStringLiteral("127.0.0.1"), QStringLiteral("0.0.0.0"));
        const qint64 expires = QDateTime::currentMSecsSinceEpoch() + lifetime * 1000;
        m_over.hub.on("POST /pair", {Answer{.body = "{\"code\":\"K7QM-3XTD\",\"expiresAt\":" +
                                                    QByteArray::number(expires) + "}"}});
        need(m_over.start(ModelOverHub::devices(some())));
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(0, 0, 0, 0);
        m_view = new PairingView(*m_over.model, m_over.l10n);
        m_view->setWindowFlags(Qt::Widget);
        layout->addWidget(m_view);
        prepare(m_over);
    }
    ~PairingShot() override { delete m_view; }

    [[nodiscard]] PairingState& state() { return m_view->state(); }

    template <class Phase>
    PairingShot& reach() {
        need(waitFor([&] { return std::holds_alternative<Phase>(state().phase()); }));
        return *this;
    }

private:
    ModelOverHub m_over;
    PairingView* m_view;
};

void addPanel(const char* name, const QStringList& others, const Prepare& prepare) {
    addShot(QLatin1StringView(name), [=] { return std::make_unique<PanelShot>(others, prepare); });
}

void addBubble(const char* name, BubbleKind kind, const char16_t* zh, const char16_t* en) {
    addShot(QLatin1StringView(name), [=]() -> std::unique_ptr<QWidget> {
        auto card = std::make_unique<FloatingCard>(Qt::Window, 16, Palette::Space::s3);
        auto view = SyncBubble::view(L10n(shotDefaults()).text(zh, en), kind);
        const QSize size = view->size();
        card->setContent(view.release());
        card->placeUnder(std::nullopt, size, 6);
        return card;
    });
}

const bool kAdded = [] {
    addPanel("panel", some(), [](ModelOverHub& over) {
        need(over.copy(2));
        need(over.receive(sealed(), QStringLiteral("Pixel Tablet")));
    });
    addPanel("panel-alone", {}, [](ModelOverHub& over) { need(over.copy(0)); });
    addPanel("panel-paused", some(), [](ModelOverHub& over) { over.model->setPaused(true); });
    addPanel("panel-failed",
             {QString(60, u'长'),
              QStringLiteral("A very long name of a telephone that nobody could ever read")},
             [](ModelOverHub& over) {
                 need(over.copy(std::nullopt));
                 need(over.receive(QStringLiteral("text"), QString(50, u'W')));
                 need(over.receive(QStringLiteral("sw1.AAAA.BBBB"), QStringLiteral("Pad")));
             });
    addPanel("panel-deriving", some(), [](ModelOverHub& over) {
        over.hub.on("GET /crypto", {Answer{.body = R"({"crypto":{"v":1,"kdf":"k",)"
                                                   R"("iters":2147483647,"salt":"AAAA"}})"}});
        need(over.start(over.model->devices(), false));
        need(waitFor([&] { return over.model->longDerivation().has_value(); }));
    });
    addPanel("panel-wrong-key", some(), [](ModelOverHub& over) {
        need(over.receive(sealed('o'), QStringLiteral("Pixel Tablet")));
    });
    addPanel("panel-offline", some(), [](ModelOverHub& over) {
        over.hub.die();
        need(waitFor([&] { return over.model->connection() != SyncState::connected; }));
    });
    QStringList many;
    for (int i = 0; i < 30; ++i)
        many.append(QStringLiteral("Device %1").arg(i + 1));
    addPanel("panel-many", many, [](ModelOverHub&) {});
    addShot(QStringLiteral("panel-remove"), [] {
        auto shot = std::make_unique<PanelShot>(some(), [](ModelOverHub&) {});
        shot->view->findChildren<DeviceRow*>().at(1)->setConfirming(true);
        shot->placeUnder(std::nullopt, shot->view->fit(700), 5);
        return shot;
    });

    addBubble("bubble-success", BubbleKind::success, u"已同步到其他设备",
              u"Synced to your other devices");
    addBubble("bubble-failure", BubbleKind::failure, u"未能同步，稍后会自动重试连接",
              u"Couldn't sync — will reconnect automatically");
    addBubble("bubble-info", BubbleKind::info, u"还没有其他设备 · 点" TRAY_ZH u"图标添加",
              u"No other devices yet — add one from the " TRAY_EN);

    addShot(QStringLiteral("pairing-loading"),
            [] { return std::make_unique<PairingShot>([](ModelOverHub&) {}); });
    addShot(QStringLiteral("pairing-ready"), [] {
        auto shot = std::make_unique<PairingShot>([](ModelOverHub&) {});
        shot->state().generate();
        shot->reach<PairingState::Ready>();
        return shot;
    });
    addShot(QStringLiteral("pairing-copied"), [] {
        auto shot = std::make_unique<PairingShot>([](ModelOverHub&) {}, 83, true);
        shot->state().generate();
        shot->reach<PairingState::Ready>().state().setLinkCopied();
        return shot;
    });
    addShot(QStringLiteral("pairing-expired"), [] {
        auto shot = std::make_unique<PairingShot>([](ModelOverHub&) {}, -1);
        shot->state().generate();
        shot->reach<PairingState::Ready>().state().tick(QDateTime::currentDateTimeUtc());
        return shot;
    });
    addShot(QStringLiteral("pairing-joined"), [] {
        ModelOverHub* over = nullptr;
        auto shot = std::make_unique<PairingShot>([&](ModelOverHub& made) { over = &made; });
        shot->state().generate();
        shot->reach<PairingState::Ready>();
        need(over->setDevices(
            ModelOverHub::devices(some() + QStringList{QStringLiteral("Kitchen iPad")})));
        shot->reach<PairingState::Joined>();
        shot->findChild<SpringMark*>()->findChild<QVariantAnimation*>()->setDuration(1);
        return shot;
    });
    addShot(QStringLiteral("pairing-failed"), [] {
        auto shot = std::make_unique<PairingShot>(
            [](ModelOverHub& over) { over.hub.on("POST /pair", {Answer{.status = 429}}); });
        shot->state().generate();
        shot->reach<PairingState::Failed>();
        return shot;
    });
    return true;
}();

} // namespace

} // namespace sorrelwind::test
