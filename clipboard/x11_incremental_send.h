#pragma once

#include "clipboard/x11_connection.h"

#include <QDeadlineTimer>
#include <QTimer>

#include <chrono>
#include <vector>

namespace sorrelwind {

/// Hands data too large for one property to other programs piece by piece (ICCCM 2.7.2), to many at
/// once. Each keeps its own share of the data, so that a transfer survives the next copy. One that
/// takes no piece in time, or whose window vanishes, is dropped. Owned by the offer.
class X11IncrementalSend final : public QObject {
    Q_OBJECT
public:
    X11IncrementalSend(X11Connection& connection, std::chrono::milliseconds patience);

    /// Whether `size` bytes have to go this way.
    [[nodiscard]] bool needed(qsizetype size) const { return size > m_pieceSize; }
    /// Writes the announcement into the property; false when too many transfers are under way.
    [[nodiscard]] bool begin(xcb_window_t requestor, xcb_atom_t property, xcb_atom_t type,
                             const QByteArray& bytes);
    /// The requestor removed a property: it is ready for the next piece.
    void propertyDeleted(xcb_window_t requestor, xcb_atom_t property);
    void requestorGone(xcb_window_t requestor);

private:
    struct Transfer {
        xcb_window_t requestor;
        xcb_atom_t property;
        xcb_atom_t type;
        QByteArray bytes;
        qsizetype sent = 0;
        QDeadlineTimer deadline;
    };

    [[nodiscard]] static bool isFor(const Transfer& transfer, xcb_window_t requestor,
                                    xcb_atom_t property);
    void dropStalled();
    void watch(xcb_window_t requestor, uint32_t events);
    template <class Condition>
    void dropIf(Condition condition);

    X11Connection& m_connection;
    std::chrono::milliseconds m_patience;
    qsizetype m_pieceSize; ///< in bytes; what one request to this server carries
    std::vector<Transfer> m_transfers;
    QTimer m_sweep;
};

} // namespace sorrelwind
