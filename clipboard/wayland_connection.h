#pragma once

#include "base/l10n.h"
#include "base/result.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QList>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

class QSocketNotifier;
struct ext_data_control_device_v1;
struct ext_data_control_manager_v1;
struct ext_data_control_offer_v1;
struct ext_data_control_source_v1;
struct wl_callback;
struct wl_display;
struct wl_registry;
struct wl_seat;

namespace sorrelwind {

/// Tells the compositor that one of its objects is not needed any more. All of them must go before
/// their connection does.
struct WaylandDeleter {
    void operator()(ext_data_control_device_v1* device) const;
    void operator()(ext_data_control_manager_v1* manager) const;
    void operator()(ext_data_control_offer_v1* offer) const;
    void operator()(ext_data_control_source_v1* source) const;
    void operator()(wl_callback* callback) const;
    void operator()(wl_registry* registry) const;
    void operator()(wl_seat* seat) const;
};
template <class T>
using WaylandPtr = std::unique_ptr<T, WaylandDeleter>;

/// A connection to a Wayland compositor with its data-control manager and the first of its seats,
/// driven by the main loop. Speaks ext-data-control-v1, or wlr-data-control-unstable-v1 where that
/// is all there is. Owned by the pasteboard; after lost() it is silent and accepts requests in
/// vain.
class WaylandConnection final : public QObject {
    Q_OBJECT
public:
    /// Begins to connect, see settled(). Null when nobody listens at `display`, a name as in
    /// WAYLAND_DISPLAY.
    [[nodiscard]] static std::unique_ptr<WaylandConnection> begin(const QByteArray& display);
    /// Connects and waits for what the compositor has to offer. Fails with the reason.
    [[nodiscard]] static Result<std::unique_ptr<WaylandConnection>, Sentence>
    open(const QByteArray& display, QDeadlineTimer deadline);
    ~WaylandConnection() override;

    [[nodiscard]] wl_display* display() const { return m_display; }
    /// Whichever protocol the compositor speaks; null when it has neither.
    [[nodiscard]] ext_data_control_manager_v1* manager() const { return m_manager.get(); }
    /// The keyboard and mouse whose clipboard it is; null while there is none.
    [[nodiscard]] wl_seat* seat() const { return m_seat.get(); }

    [[nodiscard]] bool isLost() const { return m_lost; }

    /// Sends the buffered requests. To be called after every batch of them that is not the answer
    /// to an event.
    void flush();

Q_SIGNALS:
    /// What the compositor offers is known: manager() and seat().
    void settled();
    void seatChanged();
    void lost();

private:
    struct Global {
        uint32_t name = 0;
        uint32_t version = 0;
    };

    explicit WaylandConnection(wl_display* display);
    void announced(uint32_t name, const char* interface, uint32_t version);
    void withdrawn(uint32_t name);
    void settle();
    void useFirstSeat();
    void dispatch();
    [[nodiscard]] bool takeEvents();

    wl_display* m_display;
    WaylandPtr<wl_registry> m_registry;
    WaylandPtr<wl_callback> m_settling;
    Global m_ext, m_wlr;
    QList<uint32_t> m_seats; ///< names of all seats, the one in use first
    WaylandPtr<ext_data_control_manager_v1> m_manager;
    WaylandPtr<wl_seat> m_seat;
    std::unique_ptr<QSocketNotifier> m_readable;
    std::unique_ptr<QSocketNotifier> m_writable; ///< enabled while the socket takes no more
    bool m_lost = false;
};

/// Tells when the compositor has carried out everything that was requested before. Raising it again
/// moves it on: the earlier notice is dropped.
class WaylandBarrier {
public:
    void raise(WaylandConnection& connection, std::function<void()> passed);
    void drop() {
        m_callback.reset();
        m_passed = {}; // it may hold what was copied
    }
    [[nodiscard]] bool pending() const { return m_callback != nullptr; }

private:
    std::function<void()> m_passed;
    WaylandPtr<wl_callback> m_callback;
};

} // namespace sorrelwind
