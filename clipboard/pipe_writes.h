#pragma once

#include "clipboard/file_descriptor.h"

#include <QByteArray>
#include <QObject>

#include <chrono>

namespace sorrelwind {

/// Writes our text into the pipes of programs that paste, into many at once, on the main loop, none
/// held up by another. Each transfer keeps its own share of the text, so that it survives the next
/// copy; one that is not read for as long as `patience` is dropped. Owned by the pasteboard.
class PipeWrites final : public QObject {
    Q_OBJECT
public:
    explicit PipeWrites(std::chrono::milliseconds patience) : m_patience(patience) {}

    /// Takes over the pipe and closes it after the last byte; at once when too many are under way.
    void add(FileDescriptor pipe, const QByteArray& bytes);

private:
    std::chrono::milliseconds m_patience;
};

} // namespace sorrelwind
