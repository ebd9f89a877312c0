#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTimer>

#include <chrono>

namespace sorrelwind::test {

/// Time that a condition of a test may take on a busy machine; only a failing test waits it out.
inline constexpr std::chrono::seconds kPatience{20};

/// Runs the Qt event loop until `condition` holds. Returns false when the deadline passed first.
template <class Condition>
[[nodiscard]] bool waitFor(Condition condition, std::chrono::milliseconds deadline = kPatience) {
    const QDeadlineTimer end(deadline);
    // Wakes the loop for conditions that no Qt event announces, such as a file that appears.
    QTimer wake;
    wake.start(std::chrono::milliseconds(5));
    while (!condition()) {
        if (end.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

/// Runs the Qt event loop for `duration`: for proving that something does not happen.
inline void runFor(std::chrono::milliseconds duration) {
    (void)waitFor([] { return false; }, duration);
}

} // namespace sorrelwind::test
