#pragma once

#include <QCoreApplication>
#include <QThreadPool>

#include <coroutine>
#include <memory>
#include <optional>
#include <stop_token>
#include <type_traits>
#include <utility>

namespace sorrelwind {

/// Awaits `work(stop)` run on the global thread pool; the awaiting flow resumes on the main thread.
/// A flow that is destroyed meanwhile is never resumed: the work is asked to stop and its result is
/// dropped. Name the lambda in a local before the co_await (g++ 12 frees a temporary one twice).
template <class Work>
class OnThreadPool {
public:
    using Value = std::invoke_result_t<Work&, const std::stop_token&>;

    explicit OnThreadPool(Work work) : m_shared(std::make_shared<Shared>(std::move(work))) {}
    OnThreadPool(const OnThreadPool&) = delete;
    OnThreadPool& operator=(const OnThreadPool&) = delete;
    ~OnThreadPool() {
        m_shared->waiting = {};
        requestStop();
    }

    /// The flow still gets what the work then returns.
    void requestStop() { m_shared->stop.request_stop(); }

    [[nodiscard]] bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> waiting) {
        m_shared->waiting = waiting;
        QThreadPool::globalInstance()->start([shared = m_shared]() mutable {
            shared->value.emplace(shared->work(shared->stop.get_token()));
            auto finish = [shared = std::move(shared)] {
                if (shared->waiting)
                    std::exchange(shared->waiting, {}).resume();
            };
            QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(finish),
                                      Qt::QueuedConnection);
        });
    }
    Value await_resume() { return std::move(*m_shared->value); }

private:
    struct Shared {
        explicit Shared(Work w) : work(std::move(w)) {}
        Work work;
        std::stop_source stop;
        std::optional<Value> value;
        std::coroutine_handle<> waiting; // touched on the main thread only
    };
    std::shared_ptr<Shared> m_shared;
};

} // namespace sorrelwind
