#include "clipboard/x11_incremental_send.h"

#include <algorithm>

namespace sorrelwind {
namespace {

constexpr size_t kMaxTransfers = 64;
constexpr qsizetype kLargestPiece = qsizetype{256} * 1024;
/// Room for the header of the request that carries a piece.
constexpr qsizetype kHeaderBytes = 64;

} // namespace

X11IncrementalSend::X11IncrementalSend(X11Connection& connection,
                                       std::chrono::milliseconds patience)
    : m_connection(connection), m_patience(patience),
      m_pieceSize(std::min<qsizetype>(
          kLargestPiece,
          xcb_get_setup(connection.xcb())->maximum_request_length * qsizetype{4} - kHeaderBytes)) {
    m_sweep.setInterval(patience / 4);
    connect(&m_sweep, &QTimer::timeout, this, &X11IncrementalSend::dropStalled);
}

bool X11IncrementalSend::isFor(const Transfer& transfer, xcb_window_t requestor,
                               xcb_atom_t property) {
    return transfer.requestor == requestor && transfer.property == property;
}

bool X11IncrementalSend::begin(xcb_window_t requestor, xcb_atom_t property, xcb_atom_t type,
                               const QByteArray& bytes) {
    std::erase_if(m_transfers,
                  [&](const Transfer& one) { return isFor(one, requestor, property); });
    if (m_transfers.size() >= kMaxTransfers) {
        return false;
    }
    // Before the announcement, or its deletion could go unheard.
    watch(requestor, XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    const auto size = static_cast<uint32_t>(bytes.size());
    xcb_change_property(m_connection.xcb(), XCB_PROP_MODE_REPLACE, requestor, property,
                        m_connection.atoms().incr, 32, 1, &size);
    m_transfers.push_back(
        {requestor, property, type, bytes, 0, QDeadlineTimer(m_patience, Qt::PreciseTimer)});
    m_sweep.start();
    return true;
}

void X11IncrementalSend::propertyDeleted(xcb_window_t requestor, xcb_atom_t property) {
    const auto transfer = std::ranges::find_if(
        m_transfers, [&](const Transfer& one) { return isFor(one, requestor, property); });
    if (transfer == m_transfers.end()) {
        return;
    }
    // After the last piece an empty one says that it was the last.
    const qsizetype size = std::min(m_pieceSize, transfer->bytes.size() - transfer->sent);
    xcb_change_property(m_connection.xcb(), XCB_PROP_MODE_REPLACE, requestor, property,
                        transfer->type, 8, static_cast<uint32_t>(size),
                        transfer->bytes.constData() + transfer->sent);
    transfer->sent += size;
    transfer->deadline.setRemainingTime(m_patience, Qt::PreciseTimer);
    if (size == 0) {
        dropIf([&](const Transfer& one) { return isFor(one, requestor, property); });
    }
}

void X11IncrementalSend::requestorGone(xcb_window_t requestor) {
    dropIf([&](const Transfer& one) { return one.requestor == requestor; });
}

void X11IncrementalSend::dropStalled() {
    m_connection.dispatch();
    dropIf([](const Transfer& one) { return one.deadline.hasExpired(); });
}

void X11IncrementalSend::watch(xcb_window_t requestor, uint32_t events) {
    xcb_change_window_attributes(m_connection.xcb(), requestor, XCB_CW_EVENT_MASK, &events);
}

template <class Condition>
void X11IncrementalSend::dropIf(Condition condition) {
    std::vector<xcb_window_t> left;
    std::erase_if(m_transfers, [&](const Transfer& one) {
        const bool drop = condition(one);
        if (drop) {
            left.push_back(one.requestor);
        }
        return drop;
    });
    if (left.empty()) {
        return;
    }
    for (const xcb_window_t requestor : left) {
        if (std::ranges::count(m_transfers, requestor, &Transfer::requestor) == 0) {
            watch(requestor, XCB_EVENT_MASK_NO_EVENT);
        }
    }
    m_connection.flush();
    if (m_transfers.empty()) {
        m_sweep.stop();
    }
}

} // namespace sorrelwind
