#pragma once

#include "clipboard/file_descriptor.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QMap>
#include <QTemporaryDir>

#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

struct wl_display;
struct wl_event_source;
struct wl_global;
struct wl_resource;

namespace sorrelwind::test {

/// What a program of the test compositor has copied, and how it behaves when asked for it.
struct Copied {
    enum Answer {
        whole,
        silence,  ///< keeps the pipe and writes nothing
        endless,  ///< writes for ever
        closes,   ///< closes the pipe at once
        diesAmid, ///< writes its bytes, then it ends and the clipboard is empty
    };
    QByteArrayList types;
    QByteArray bytes;
    Answer answer = whole;
    QByteArray hint = {}; ///< its answer for the password hint
};

/// A Wayland compositor that has nothing but seats and data-control, in a thread of its own, and
/// plays the programs that copy and paste as well. Every operation has taken place when it returns.
class TestCompositor {
public:
    enum class Protocol { none, ext, wlr1, wlr2, both };

    explicit TestCompositor(Protocol protocol, int seats = 1);
    ~TestCompositor();
    TestCompositor(const TestCompositor&) = delete;
    TestCompositor& operator=(const TestCompositor&) = delete;

    /// Where it listens, as for WAYLAND_DISPLAY.
    [[nodiscard]] QByteArray display() const { return m_socket; }

    void copy(const Copied& copied);
    void clear();
    /// Selects something with the other mouse button.
    void selectPrimary(const Copied& copied);
    /// The types that were asked for since the last copy.
    [[nodiscard]] QByteArrayList asked();

    /// The types that the client has copied; empty when the clipboard is not the client's.
    [[nodiscard]] QByteArrayList offered();
    /// How often the client has copied.
    [[nodiscard]] int copies();
    /// Asks the client for its copy; the result is the end of the pipe to read from.
    [[nodiscard]] FileDescriptor paste(const QByteArray& type);

    void removeFirstSeat();
    void addSeat();
    /// Breaks the protocol off with an error.
    void complain();

private:
    struct Handlers;
    /// A pipe that is written to for ever.
    struct Flow {
        FileDescriptor pipe;
        wl_event_source* source = nullptr;
    };

    void call(const std::function<void()>& task);
    void offerTo(wl_resource* device, const Copied& copied, bool primary,
                 wl_resource* source = nullptr);
    void announce();
    void answer(const QByteArray& type, FileDescriptor pipe, const Copied& copied);

    QTemporaryDir m_folder;
    QByteArray m_socket;
    wl_display* m_display;
    FileDescriptor m_wakeUp;
    wl_event_source* m_wakeUpSource = nullptr;
    std::vector<std::function<void()>> m_tasks;
    std::mutex m_tasksGuard;
    std::vector<wl_global*> m_seats;
    std::vector<wl_resource*> m_devices;
    std::vector<FileDescriptor> m_kept; ///< pipes that nothing is written to
    std::list<Flow> m_flows;
    std::unique_ptr<Copied> m_foreign;
    wl_resource* m_source = nullptr;
    QMap<wl_resource*, QByteArrayList> m_types; ///< of each source of the client
    QByteArrayList m_asked;
    int m_copies = 0;
    std::thread m_thread;
};

} // namespace sorrelwind::test
