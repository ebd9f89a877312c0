#pragma once

#include <QObject>

#include <coroutine>
#include <functional>
#include <optional>
#include <utility>

namespace sorrelwind {

/// Awaits the one result of something that the event loop brings: `begin` starts it and reports by
/// the callback, from the event loop and not from within itself. What it connects and starts hangs
/// on `context`, which dies with a flow that is destroyed while it waits.
template <class T>
class Awaited {
public:
    using Done = std::function<void(T)>;
    using Begin = std::function<void(QObject& context, Done done)>;

    explicit Awaited(Begin begin) : m_begin(std::move(begin)) {}
    Awaited(const Awaited&) = delete;
    Awaited& operator=(const Awaited&) = delete;

    [[nodiscard]] bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> waiting) {
        m_waiting = waiting;
        m_begin(m_context, [this](T result) {
            if (!m_waiting)
                return;
            m_result.emplace(std::move(result));
            std::exchange(m_waiting, {}).resume();
        });
    }
    [[nodiscard]] T await_resume() { return std::move(*m_result); }

private:
    Begin m_begin;
    std::coroutine_handle<> m_waiting;
    std::optional<T> m_result;
    QObject m_context;
};

} // namespace sorrelwind
