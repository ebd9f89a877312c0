#include "clipboard/wayland_fetch.h"

#include "clipboard/pasteboard.h"

#include <utility>

namespace sorrelwind {

WaylandFetch::WaylandFetch(std::chrono::milliseconds patience) : m_read(patience) {
    connect(&m_read, &PipeRead::finished, this, [this](const QByteArray& bytes) {
        // The end of the data is also how a program that dies amid it looks. By the answer to this
        // its copy is known to be gone.
        m_stillThere.raise(*m_connection, [this, bytes] { take(bytes); });
    });
    connect(&m_read, &PipeRead::failed, this, [this](const QString& problem, bool tooLarge) {
        m_snapshot.tooLarge = tooLarge && !m_hintAsked;
        end(problem);
    });
}

void WaylandFetch::start(WaylandConnection& connection, const WaylandOffer& offer) {
    cancel();
    m_connection = &connection;
    m_offer = &offer;
    m_snapshot.types = offer.types();
    m_textType = bestTextType(m_snapshot.types);
    m_hintAsked = false;
    const qsizetype hint = m_snapshot.types.indexOf(kPasswordHintType);
    if (m_snapshot.types.contains(kConcealedType) || m_textType < 0) {
        end();
    } else if (hint >= 0) {
        // A secret until its owner says otherwise, also when it says nothing.
        m_snapshot.types.append(kConcealedType);
        m_hintAsked = true;
        ask(hint, kMaxHintBytes);
    } else {
        ask(m_textType, kMaxClipboardBytes + 1); // and a NUL at the end
    }
}

void WaylandFetch::cancel() {
    m_read.cancel();
    m_stillThere.drop();
    m_offer = nullptr;
    m_connection = nullptr;
    m_snapshot = {};
}

void WaylandFetch::ask(qsizetype type, qint64 limit) {
    const auto pipe = m_read.start(limit);
    if (!pipe) {
        end(pipe.error());
        return;
    }
    m_offer->receive(m_snapshot.types[type], *pipe);
    m_connection->flush();
}

void WaylandFetch::take(const QByteArray& bytes) {
    if (!m_hintAsked) {
        m_snapshot.text = decodeText(m_snapshot.types[m_textType], bytes);
        m_snapshot.tooLarge = !m_snapshot.text;
        end(m_snapshot.text ? QString() : QStringLiteral("it is too large"));
    } else if (isPublicHint(bytes)) {
        m_hintAsked = false;
        m_snapshot.types.removeLast();
        ask(m_textType, kMaxClipboardBytes + 1);
    } else {
        end();
    }
}

void WaylandFetch::end(const QString& problem) {
    const ClipboardSnapshot snapshot = std::exchange(m_snapshot, {});
    cancel();
    Q_EMIT finished(snapshot, problem);
}

} // namespace sorrelwind
