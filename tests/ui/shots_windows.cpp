#include "account/account_store.h"
#include "base/l10n.h"
#include "base/prefs.h"
#include "core/app_model.h"
#include "crypto/group_setup.h"
#include "hosting/hub_host.h"
#include "hub/network.h"
#include "tests/support/fake_pasteboard.h"
#include "tests/support/scripted_hub.h"
#include "tests/ui/played_systemd.h"
#include "tests/ui/screenshots.h"
#include "ui/controls/choice_control.h"
#include "ui/launch_at_login.h"
#include "ui/onboarding/done_page.h"
#include "ui/onboarding/join_page.h"
#include "ui/onboarding/onboarding_view.h"
#include "ui/settings/settings_view.h"

#include <QAbstractButton>
#include <QLineEdit>
#include <QTemporaryDir>

// The pages of the onboarding window and the states of the settings window.

namespace sorrelwind::test {

namespace {

/// What the windows look at, all of it for one picture and gone with it.
struct Stage {
    explicit Stage(std::optional<Account> account = {}) : defaults(dir.path()) {
        defaults.set(u"language"_qs, shotDefaults().value(u"language"_qs));
        hub.on("GET /crypto", {Answer{.body = R"({"crypto":null})"}});
        if (!account)
            hub.greeting = R"({"type":"removed"})";
        else
            hub.greeting =
                R"({"type":"hello","self":"d","devices":[)"
                R"({"id":"d","name":"Studio","platform":"macos","createdAt":1,"lastSeen":1,"online":true},)"
                R"({"id":"e","name":"Pixel Tablet","platform":"android","createdAt":1,"lastSeen":1,"online":true},)"
                R"({"id":"f","name":"iPhone","platform":"ios","createdAt":1,"lastSeen":1,"online":false}]})";
    }
    /// This computer hosts the hub, as a service.
    void hostHub() {
        systemd.pretendToRun();
        defaults.set(u"hostHub"_qs, u"service"_qs);
        defaults.set(u"hostHubAddress"_qs, hub.base());
        host = std::make_unique<HubHost>(defaults,
                                         HubHost::Options{.program = {}, .mayUseAvahi = false});
        host->refresh();
        (void)waitFor([&] { return host->running(); });
    }
    void run(Account account) {
        account.server = hub.base();
        model.startSync(account);
        (void)waitFor([&] { return model.devices().size() == 3; });
    }
    void removed() {
        model.startSync({hub.base(), u"g"_qs, u"d"_qs, u"Studio"_qs, u"g.t"_qs, {}, {}, {}});
        (void)waitFor([&] { return model.notice().has_value(); });
    }

    QTemporaryDir dir;
    Defaults defaults;
    L10n l10n{defaults};
    Prefs prefs{defaults};
    AccountStore store{dir.path()};
    FakePasteboard pasteboard;
    Network network;
    ScriptedHub hub;
    PlayedSystemd systemd{dir.path()};
    std::unique_ptr<HubHost> host = std::make_unique<HubHost>(
        defaults, HubHost::Options{.program = {}, .mayUseSystemd = false});
    LaunchAtLogin launchAtLogin{{u"/a"_qs}, dir.filePath(u"autostart"_qs)};
    AppModel model{{store, pasteboard, network, l10n, prefs}};
};

Account account() {
    return {{},        u"g"_qs,
            u"d"_qs,   u"Studio"_qs,
            u"g.t"_qs, u"hk7fq-wm3xd-9zrtb-uvp4e"_qs,
            {},        QString::fromLatin1(QByteArray(32, 'k').toBase64())};
}

/// Keeps what a view looks at for as long as the view lives.
void keep(const std::shared_ptr<Stage>& stage, const QWidget& view) {
    QObject::connect(&view, &QObject::destroyed, &view, [stage] {});
}

void type(QWidget& page, const char* field, const QString& text) {
    auto* edit = page.findChild<QLineEdit*>(QString::fromLatin1(field));
    edit->setText(text);
    Q_EMIT edit->textEdited(text);
}

using Prepare = std::function<void(Stage&, OnboardingView&)>;

std::unique_ptr<QWidget> onboarding(bool removed, const Prepare& prepare) {
    auto stage = std::make_shared<Stage>();
    Stage& s = *stage;
    if (removed)
        s.removed();
    const CreatePage::Prefill prefill{u"Studio"_qs, u"hk7fq-wm3xd-9zrtb-uvp4e"_qs,
                                      u"https://hub.example:8787"_qs, false};
    auto view = std::make_unique<OnboardingView>(OnboardingView::Parts{
        s.model, s.l10n, s.launchAtLogin, prefill, [](const QString&) {}, [] { return true; }});
    keep(stage, *view);
    prepare(s, *view);
    return view;
}

std::unique_ptr<QWidget> settings(const Account& account,
                                  const std::function<void(Stage&, SettingsView&)>& prepare,
                                  bool hosts = false) {
    auto stage = std::make_shared<Stage>(account);
    Stage& s = *stage;
    if (hosts)
        s.hostHub();
    s.run(account);
    auto view = std::make_unique<SettingsView>(
        s.model,
        SettingsServices{s.prefs, s.l10n, *s.host, s.launchAtLogin, [](const QString&) {}});
    keep(stage, *view);
    prepare(s, *view);
    return view;
}

void press(QWidget& view, const char* name) {
    view.findChild<QAbstractButton*>(QString::fromLatin1(name))->click();
}

const QString kKey = u"&k=AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8"_qs;

[[maybe_unused]] const bool kAdded = [] {
    const std::tuple<const char16_t*, bool, Prepare> kPages[] = {
        {u"welcome", false, [](Stage&, OnboardingView&) {}},
        {u"choose", false, [](Stage&, OnboardingView& v) { v.showChoose(); }},
        {u"choose-removed", true, [](Stage&, OnboardingView&) {}},
        {u"create", false, [](Stage&, OnboardingView& v) { v.showCreate(); }},
        {u"create-host", false,
         [](Stage&, OnboardingView& v) {
             v.showCreate();
             auto* choice = v.findChild<ChoiceControl*>(u"hubChoice"_qs);
             choice->setCurrent(1);
             choice->onChosen(1);
         }},
        {u"create-local", false,
         [](Stage&, OnboardingView& v) {
             v.showCreate();
             type(v.createPage(), "server", u"http://127.0.0.1:8787"_qs);
         }},
        {u"create-busy", false,
         [](Stage&, OnboardingView& v) {
             v.showCreate();
             v.createPage().showProgress(longDerivation(2'147'483'647));
         }},
        {u"create-error", true,
         [](Stage&, OnboardingView& v) {
             v.showCreate();
             type(v.createPage(), "server", u"ftp://hub.example"_qs);
             v.createPage().showError(Sentence::of(
                 u"端口 8787 已被另一个程序占用。请先停止它；如果那就是一个 Sorrelwind "
                 u"服务器，请填写它的地址。",
                 u"Port 8787 is in use by another program. Stop that one first, or, if it is a "
                 u"Sorrelwind hub, give its address."));
         }},
        {u"join", false, [](Stage&, OnboardingView& v) { v.showJoin(); }},
        {u"join-link", false,
         [](Stage&, OnboardingView& v) {
             v.showJoin();
             type(v.joinPage(), "invitation", u"https://hub.example:8787/#pair=K7QM3XTD"_qs + kKey);
         }},
        {u"join-code", false,
         [](Stage&, OnboardingView& v) {
             v.showJoin();
             type(v.joinPage(), "invitation", u"K7QM-3XTD"_qs);
             type(v.joinPage(), "passphrase", u"hk7fq-wm3xd-9zrtb-uvp4e"_qs);
             v.joinPage().showError(
                 Sentence::of(u"配对码无效或已过期", u"Invalid or expired pairing code"));
         }},
        {u"done", false, [](Stage&, OnboardingView& v) { v.showDone(); }},
    };
    for (const auto& [name, removed, prepare] : kPages) {
        addShot(u"onboarding-"_qs + QString::fromUtf16(name),
                [removed = removed, prepare = prepare] { return onboarding(removed, prepare); });
    }
    addShot(u"settings"_qs, [] { return settings(account(), [](Stage&, SettingsView&) {}); });
    addShot(u"settings-shown"_qs, [] {
        return settings(account(), [](Stage&, SettingsView& v) { press(v, "reveal"); });
    });
    addShot(u"settings-key-only"_qs, [] {
        Account joined = account();
        joined.passphrase.reset();
        return settings(joined, [](Stage&, SettingsView&) {});
    });
    addShot(u"settings-wrong-key"_qs, [] {
        return settings(account(), [](Stage& s, SettingsView& v) {
            const auto other = SymmetricKey::fromBytes(QByteArray(32, 'o'));
            s.hub.on("GET /crypto", {{.body = R"({"crypto":{"v":1,"kdf":"k","iters":2,)"
                                              R"("salt":"AAAA"}})"}});
            s.hub.send(
                R"({"type":"item","item":{"id":"i","ts":1,"from":"e","device":"Pixel Tablet",)"
                R"("mime":"text/plain","payload":")" +
                Crypto::encryptText(u"x"_qs, *other)->toUtf8() + R"("}})");
            (void)waitFor([&] { return s.model.wantsPassphrase(); });
            auto* field = v.findChild<QLineEdit*>(u"enterPassphrase"_qs);
            field->setText(u"hk7fq-wm3xd-9zrtb-uvp4f"_qs);
            Q_EMIT field->returnPressed();
            (void)waitFor([&] { return !field->isReadOnly(); });
        });
    });
    addShot(u"settings-leave"_qs,
            [] { return settings(account(), [](Stage&, SettingsView& v) { press(v, "leave"); }); });
    addShot(u"settings-hub-here"_qs, [] {
        return settings(
            account(), [](Stage&, SettingsView&) {}, true);
    });
    addShot(u"settings-hub-stopping"_qs, [] {
        return settings(
            account(), [](Stage&, SettingsView& v) { press(v, "host"); }, true);
    });
    addShot(u"settings-hub-stopped"_qs, [] {
        return settings(account(), [](Stage& s, SettingsView& v) {
            s.defaults.set(u"hostHubAddress"_qs, s.hub.base());
            v.render();
        });
    });
    return true;
}();

} // namespace

} // namespace sorrelwind::test
