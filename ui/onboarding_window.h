#pragma once

#include "core/membership_flow.h"
#include "hosting/hub_probe.h"

#include <QObject>

#include <functional>
#include <memory>

namespace sorrelwind {

class AppModel;
class CreatePage;
class FormPage;
class HubHost;
class JoinPage;
class LaunchAtLogin;
class OnboardingView;

/// What the onboarding window needs beside the model; all of it outlives the window.
struct OnboardingServices {
    const AccountStore& store;
    const Network& network;
    L10n& l10n;
    HubHost& hubHost;
    LaunchAtLogin& launchAtLogin;
    std::function<void(const QString&)> copyText;   // a secret, to this computer's clipboard only
    std::function<bool()> showsIcon;                // whether the desktop has a place for it
    QString hubOfThisComputer = kHubOfThisComputer; // where one may answer
};

/// The window in which a person creates a group or joins one. It carries the wish out, hands the
/// new account to the model, and takes back whatever was begun when it is closed half-way. Owned
/// by the coordinator, which lets it go on onFinish.
class OnboardingWindowController final : public QObject {
    Q_OBJECT
public:
    OnboardingWindowController(AppModel& model, OnboardingServices services);
    ~OnboardingWindowController() override;

    /// Shows the window or brings it to the front.
    void present();
    void close();

    /// The window has been closed, in whichever way. May delete the controller.
    std::function<void()> onFinish;
    /// Called after onFinish when the person wants to add a device next.
    std::function<void()> onAddDevice;

private:
    Task<> lookForHub();
    void create();
    void join();
    void makeMembership(FormPage& page, const MembershipFlow::Wish& wish);
    bool prepare(FormPage& page);
    void ended(FormPage& page, const MembershipFlow::Outcome& outcome);
    void fail(FormPage& page, const Sentence& sentence);
    void cancel();
    void finish(bool addDevice);

    AppModel& m_model;
    OnboardingServices m_services;
    std::unique_ptr<OnboardingView> m_view;
    std::unique_ptr<MembershipFlow> m_flow; // present while a membership is being made
    bool m_startedHub = false;              // for a membership that is not there yet
    bool m_finished = false;
    TaskScope m_tasks;
};

} // namespace sorrelwind
