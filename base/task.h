#pragma once

#include <coroutine>
#include <exception>
#include <list>
#include <optional>
#include <utility>

namespace sorrelwind {

template <class T = void>
class Task;

namespace detail {

struct TaskPromiseBase {
    struct FinalAwaiter {
        [[nodiscard]] bool await_ready() const noexcept { return false; }
        template <class P>
        std::coroutine_handle<> await_suspend(std::coroutine_handle<P> done) const noexcept {
            const auto next = done.promise().continuation;
            return next ? next : std::noop_coroutine();
        }
        void await_resume() const noexcept {}
    };

    std::suspend_always initial_suspend() const noexcept { return {}; }
    FinalAwaiter final_suspend() const noexcept { return {}; }
    [[noreturn]] void unhandled_exception() const noexcept { std::terminate(); }

    std::coroutine_handle<> continuation;
};

template <class T>
struct TaskPromise : TaskPromiseBase {
    Task<T> get_return_object();
    void return_value(T result) { value.emplace(std::move(result)); }
    T take() { return std::move(*value); }
    std::optional<T> value;
};

template <>
struct TaskPromise<void> : TaskPromiseBase {
    Task<void> get_return_object();
    void return_void() const noexcept {}
    void take() const noexcept {}
};

} // namespace detail

/// A flow of several asynchronous steps on the main thread. It starts when it is awaited, or when a
/// TaskScope starts it, and its frame is destroyed with this object: an awaiter that is waiting
/// then must give up in its destructor. Take parameters by value, and read the owner's state again
/// after each co_await.
template <class T>
class [[nodiscard]] Task {
public:
    using promise_type = detail::TaskPromise<T>;

    explicit Task(std::coroutine_handle<promise_type> handle) : m_handle(handle) {}
    Task(Task&& other) noexcept : m_handle(std::exchange(other.m_handle, {})) {}
    Task& operator=(Task&&) = delete;
    ~Task() {
        if (m_handle)
            m_handle.destroy();
    }

    [[nodiscard]] bool await_ready() const noexcept { return false; }
    std::coroutine_handle<> await_suspend(std::coroutine_handle<> waiting) noexcept {
        m_handle.promise().continuation = waiting;
        return m_handle;
    }
    T await_resume() { return m_handle.promise().take(); }

private:
    std::coroutine_handle<promise_type> m_handle;
};

template <class T>
Task<T> detail::TaskPromise<T>::get_return_object() {
    return Task<T>(std::coroutine_handle<TaskPromise>::from_promise(*this));
}
inline Task<void> detail::TaskPromise<void>::get_return_object() {
    return Task<void>(std::coroutine_handle<TaskPromise>::from_promise(*this));
}

/// Owns the flows that an object has started. Declared as its owner's last member, it destroys what
/// still waits before the rest of the owner goes, so no flow is resumed into a dead owner. A flow
/// never destroys its own scope: an owner that ends by its own flow goes by deleteLater.
class TaskScope {
public:
    TaskScope() = default;
    TaskScope(const TaskScope&) = delete;
    TaskScope& operator=(const TaskScope&) = delete;
    ~TaskScope() { cancel(); }

    /// Runs `task` up to its first wait before it returns.
    void start(Task<void> task) {
        const auto root = runRoot(std::move(task)).handle;
        root.promise().scope = this;
        root.promise().self = m_roots.insert(m_roots.end(), root);
        root.resume();
    }

    /// Destroys every flow that waits.
    void cancel() {
        for (auto roots = std::exchange(m_roots, {}); const auto root : roots)
            root.destroy();
    }

private:
    struct Root {
        struct promise_type {
            struct FinalAwaiter {
                [[nodiscard]] bool await_ready() const noexcept { return false; }
                void await_suspend(std::coroutine_handle<promise_type> done) const noexcept {
                    done.promise().scope->m_roots.erase(done.promise().self);
                    done.destroy();
                }
                void await_resume() const noexcept {}
            };
            Root get_return_object() {
                return {std::coroutine_handle<promise_type>::from_promise(*this)};
            }
            std::suspend_always initial_suspend() const noexcept { return {}; }
            FinalAwaiter final_suspend() const noexcept { return {}; }
            void return_void() const noexcept {}
            [[noreturn]] void unhandled_exception() const noexcept { std::terminate(); }

            TaskScope* scope = nullptr;
            std::list<std::coroutine_handle<promise_type>>::iterator self;
        };
        std::coroutine_handle<promise_type> handle;
    };

    static Root runRoot(Task<void> task) { co_await std::move(task); }

    std::list<std::coroutine_handle<Root::promise_type>> m_roots;
};

} // namespace sorrelwind
