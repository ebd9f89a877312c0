#pragma once

#include "clipboard/pipe_writes.h"
#include "clipboard/wayland_connection.h"

#include <QByteArray>

#include <functional>

namespace sorrelwind {

/// A text of ours on the clipboard, as all types of text, until another copy takes its place. Bears
/// a mark by which our own copy is known when the compositor announces it. Owned by the pasteboard.
class WaylandSource {
public:
    /// `mark` is one more type; a secret bears the marks of secrets as well. `replaced` is called
    /// when the text is on the clipboard no more, and may destroy the source.
    WaylandSource(const WaylandConnection& connection, PipeWrites& writes, const QByteArray& utf8,
                  bool secret, const QString& mark, std::function<void()> replaced);
    WaylandSource(const WaylandSource&) = delete;
    WaylandSource& operator=(const WaylandSource&) = delete;

    [[nodiscard]] ext_data_control_source_v1* proxy() const { return m_proxy.get(); }

private:
    struct Events;

    WaylandPtr<ext_data_control_source_v1> m_proxy;
    PipeWrites& m_writes;
    QByteArray m_utf8;
    std::function<void()> m_replaced;
};

} // namespace sorrelwind
