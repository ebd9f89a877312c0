#include "base/task.h"
#include "base/thread_pool.h"
#include "tests/support/wait.h"

#include <gtest/gtest.h>

#include <QThread>

#include <semaphore>
#include <string>
#include <vector>

namespace sorrelwind {
namespace {

/// Something to wait for that the test opens by hand.
class Gate {
public:
    struct Awaiter {
        Gate& gate;
        explicit Awaiter(Gate& g) : gate(g) {}
        Awaiter(const Awaiter&) = delete;
        Awaiter& operator=(const Awaiter&) = delete;
        ~Awaiter() { gate.m_waiting = {}; }
        [[nodiscard]] bool await_ready() const { return false; }
        void await_suspend(std::coroutine_handle<> waiting) { gate.m_waiting = waiting; }
        void await_resume() const {}
    };
    Awaiter operator co_await() { return Awaiter(*this); }
    void open() {
        if (m_waiting)
            std::exchange(m_waiting, {}).resume();
    }

private:
    std::coroutine_handle<> m_waiting;
};

using Log = std::vector<std::string>;
/// A local of a flow: says in the log when it goes.
struct Witness {
    Log& log;
    std::string name;
    Witness(Log& l, std::string n) : log(l), name(std::move(n)) {}
    Witness(const Witness&) = delete;
    Witness& operator=(const Witness&) = delete;
    ~Witness() { log.push_back("~" + name); }
};

Task<std::unique_ptr<int>> inner(Log& log, Gate& gate) {
    const Witness witness(log, "inner");
    log.push_back("inner");
    co_await gate;
    co_return std::make_unique<int>(7);
}

Task<> outer(Log& log, Gate& gate) {
    const Witness witness(log, "outer");
    for (int i = 0; i < 2; ++i) {
        const auto number = co_await inner(log, gate);
        log.push_back(std::to_string(*number));
    }
}

TEST(Task, NestedFlowsRunInOrder) {
    Log log;
    Gate gate;
    TaskScope scope;
    scope.start(outer(log, gate));
    EXPECT_EQ(log, Log({"inner"}));
    gate.open();
    EXPECT_EQ(log, Log({"inner", "~inner", "7", "inner"}));
    gate.open();
    EXPECT_EQ(log, Log({"inner", "~inner", "7", "inner", "~inner", "7", "~outer"}));
    scope.cancel();
}

TEST(Task, DoesNothingUntilItIsAwaited) {
    Log log;
    Gate gate;
    { const auto flow = outer(log, gate); }
    EXPECT_EQ(log, Log());
}

TEST(TaskScope, DestroysWaitingFlowsFromTheInsideOut) {
    Log log;
    Gate gate;
    {
        TaskScope scope;
        scope.start(outer(log, gate));
        gate.open();
        log.clear();
    }
    EXPECT_EQ(log, Log({"~inner", "~outer"}));
    gate.open();
    EXPECT_EQ(log.size(), 2U);
}

TEST(TaskScope, FlowsEndAndStartIndependently) {
    Log log;
    Gate first, second, third;
    {
        TaskScope scope;
        const auto flow = [](Log& l, Gate& gate, TaskScope* s, Gate* next, auto again) -> Task<> {
            co_await gate;
            l.push_back("done");
            if (next)
                s->start(again(l, *next, s, nullptr, again));
        };
        scope.start(flow(log, first, &scope, &third, flow));
        scope.start(flow(log, second, &scope, nullptr, flow));
        second.open();
        first.open(); // starts the one at the third gate
        EXPECT_EQ(log.size(), 2U);
        third.open();
        EXPECT_EQ(log.size(), 3U);
        scope.start(flow(log, first, &scope, nullptr, flow));
        scope.cancel();
        first.open();
        scope.start(flow(log, second, &scope, nullptr, flow)); // usable after a cancel
        second.open();
    }
    EXPECT_EQ(log.size(), 4U);
}

/// Ends itself by its own flow, as a window does.
class Owner : public QObject {
public:
    Owner(Log& log, Gate& gate) : m_witness(log, "owner") { m_tasks.start(run(gate)); }

private:
    Task<> run(Gate& gate) {
        co_await gate;
        deleteLater();
        m_witness.log.push_back("still here");
        co_await gate; // never opened: the owner goes
        m_witness.log.push_back("never");
    }
    Witness m_witness;
    TaskScope m_tasks;
};

TEST(TaskScope, OwnerMayGoByDeleteLaterInItsFlow) {
    Log log;
    Gate gate;
    new Owner(log, gate);
    gate.open();
    EXPECT_TRUE(test::waitFor([&] { return log == Log({"still here", "~owner"}); }));
    gate.open();
    EXPECT_EQ(log.size(), 2U);
}

TEST(OnThreadPool, WorksElsewhereAndResumesOnTheMainThread) {
    QThread* worker = nullptr;
    QThread* resumed = nullptr;
    const auto flow = [](QThread*& where, QThread*& back) -> Task<> {
        auto work = [&where](const std::stop_token&) {
            where = QThread::currentThread();
            return std::make_unique<int>(7);
        };
        OnThreadPool waiter(std::move(work));
        const auto number = co_await waiter;
        EXPECT_EQ(*number, 7);
        back = QThread::currentThread();
    };
    TaskScope scope;
    scope.start(flow(worker, resumed));
    ASSERT_TRUE(test::waitFor([&] { return resumed != nullptr; }));
    EXPECT_EQ(resumed, QThread::currentThread());
    EXPECT_NE(worker, resumed);
}

TEST(OnThreadPool, NeverResumesAFlowThatIsGoneAndStopsItsWork) {
    // Goes during the work, and between its end and the main thread's turn.
    for (const bool afterTheWork : {false, true}) {
        std::binary_semaphore goOn(0);
        bool resumed = false;
        const auto state = std::make_shared<int>(0);
        const auto flow = [](std::binary_semaphore& wait, bool& back,
                             std::shared_ptr<int> kept) -> Task<> {
            auto work = [&wait, kept](const std::stop_token& stop) {
                const std::stop_callback stopped(stop, [&wait] { wait.release(); });
                wait.acquire();
                return kept;
            };
            OnThreadPool waiter(std::move(work));
            const auto result = co_await waiter;
            back = true;
        };
        {
            TaskScope scope;
            scope.start(flow(goOn, resumed, state));
            if (afterTheWork) {
                goOn.release();
                QThreadPool::globalInstance()->waitForDone();
            }
        }
        QThreadPool::globalInstance()->waitForDone();
        EXPECT_TRUE(test::waitFor([&] { return state.use_count() == 1; })) << "leaked";
        EXPECT_FALSE(resumed);
    }
}

} // namespace
} // namespace sorrelwind
