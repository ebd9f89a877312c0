#include "ui/onboarding_window.h"

#include "account/server_defaults.h"
#include "core/app_model.h"
#include "hosting/hub_host.h"
#include "ui/onboarding/done_page.h"
#include "ui/onboarding/join_page.h"
#include "ui/onboarding/onboarding_view.h"

#include <QPointer>

namespace sorrelwind {

OnboardingWindowController::OnboardingWindowController(AppModel& model, OnboardingServices services)
    : m_model(model), m_services(std::move(services)) {
    const auto server = ServerDefaults::offered();
    const CreatePage::Prefill prefill{
        MembershipFlow::hostDeviceName(),
        m_services.store.legacyPassphrase().value_or(Crypto::randomPassphrase()),
        server.value_or(QString()), m_services.hubHost.hosts() || !server};
    m_view = std::make_unique<OnboardingView>(
        OnboardingView::Parts{m_model, m_services.l10n, m_services.launchAtLogin, prefill,
                              m_services.copyText, m_services.showsIcon});
    m_view->createPage().onSubmit = [this] { create(); };
    m_view->createPage().onCancel = [this] { cancel(); };
    m_view->joinPage().onSubmit = [this] { join(); };
    m_view->joinPage().onCancel = [this] { cancel(); };
    m_view->donePage().onDone = [this] { m_view->close(); };
    m_view->donePage().onAddDevice = [this] { finish(true); };
    m_view->onClosed = [this] { finish(false); };
    if (!server && !m_services.hubHost.hosts())
        m_tasks.start(lookForHub());
}

OnboardingWindowController::~OnboardingWindowController() {
    m_view->onClosed = {};
    cancel();
}

void OnboardingWindowController::present() {
    m_finished = false;
    m_view->present();
}

void OnboardingWindowController::close() {
    m_view->close();
}

Task<> OnboardingWindowController::lookForHub() {
    auto asking = hubAnswers(m_services.network, m_services.hubOfThisComputer);
    if (co_await std::move(asking))
        m_view->createPage().offerHub(m_services.hubOfThisComputer);
}

bool OnboardingWindowController::prepare(FormPage& page) {
    m_flow = std::make_unique<MembershipFlow>(
        MembershipFlow::Services{m_services.store, m_services.network});
    const auto ready = m_flow->prepare();
    if (!ready)
        fail(page, ready.error());
    return ready.has_value();
}

void OnboardingWindowController::create() {
    CreatePage& page = m_view->createPage();
    MembershipFlow::Wish wish;
    wish.server = page.server().value_or(QString());
    wish.deviceName = page.deviceName();
    wish.passphrase = page.passphrase();
    if (!prepare(page))
        return;
    if (!page.hosts()) {
        makeMembership(page, wish);
        return;
    }
    page.showProgress(Sentence::of(u"正在启动服务器…", u"Starting the hub…"));
    m_startedHub = m_startedHub || !m_services.hubHost.hosts();
    m_services.hubHost.start([self = QPointer(this), flow = QPointer(m_flow.get()),
                              wish](const Result<QString, Sentence>& address) {
        if (!self || !flow || self->m_flow.get() != flow)
            return; // cancelled, and perhaps something else begun
        CreatePage& form = self->m_view->createPage();
        if (!address) {
            self->fail(form, address.error());
            return;
        }
        MembershipFlow::Wish hosted = wish;
        hosted.server = *address;
        self->makeMembership(form, hosted);
    });
}

void OnboardingWindowController::join() {
    JoinPage& page = m_view->joinPage();
    const Invitation invitation = page.invitation();
    if (!prepare(page))
        return;
    makeMembership(page, {true, page.server().value_or(QString()), page.deviceName(),
                          page.passphrase(), invitation.link, invitation.code});
}

void OnboardingWindowController::makeMembership(FormPage& page, const MembershipFlow::Wish& wish) {
    m_flow->onProgress = [&page](const Sentence& sentence) { page.showProgress(sentence); };
    m_flow->onEnd = [this, &page](const MembershipFlow::Outcome& outcome) { ended(page, outcome); };
    m_flow->start(wish);
}

void OnboardingWindowController::ended(FormPage& page, const MembershipFlow::Outcome& outcome) {
    if (!outcome) {
        qWarning("onboarding: %s", qUtf8Printable(outcome.error().en));
        fail(page, outcome.error());
        return;
    }
    m_flow.release()->deleteLater();
    page.showNothing();
    m_view->donePage().setJoinedByPassphrase(&page == &m_view->joinPage() && outcome->passphrase);
    if (&page == &m_view->createPage() && m_view->createPage().hosts())
        m_startedHub = false; // the group lives there
    cancel();
    m_model.clearNotice();
    m_model.startSync(*outcome);
}

void OnboardingWindowController::fail(FormPage& page, const Sentence& sentence) {
    m_flow.release()->deleteLater(); // it may be what tells of the failure
    page.showError(sentence);
}

void OnboardingWindowController::cancel() {
    if (m_flow)
        m_flow.release()->abandon(&m_model);
    if (std::exchange(m_startedHub, false))
        m_services.hubHost.stop();
    m_view->createPage().showNothing();
    m_view->joinPage().showNothing();
    m_view->render();
}

void OnboardingWindowController::finish(bool addDevice) {
    if (std::exchange(m_finished, true))
        return;
    m_view->hide();
    cancel();
    m_model.clearNotice();
    // The coordinator may delete this; the click that led here is still being handled.
    QMetaObject::invokeMethod(
        this,
        [finished = onFinish, add = addDevice ? onAddDevice : nullptr] {
            if (finished)
                finished();
            if (add)
                add();
        },
        Qt::QueuedConnection);
}

} // namespace sorrelwind
