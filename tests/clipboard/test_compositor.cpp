#include "tests/clipboard/test_compositor.h"

#include <ext-data-control-v1-server-protocol.h>
#include <wlr-data-control-unstable-v1-server-protocol.h>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <future>
#include <sys/eventfd.h>

namespace sorrelwind::test {

// The two protocols differ in their interfaces' names only, which the client is told of the manager
// alone; so everything below the manager is of the one.
struct TestCompositor::Handlers {
    static TestCompositor& self(wl_resource* resource) {
        return *static_cast<TestCompositor*>(wl_resource_get_user_data(resource));
    }
    static void destroy(wl_client*, wl_resource* resource) { wl_resource_destroy(resource); }

    static void bindSeat(wl_client* client, void*, uint32_t version, uint32_t id) {
        static constexpr struct wl_seat_interface kSeat {
            .get_pointer = nullptr, .get_keyboard = nullptr, .get_touch = nullptr,
            .release = destroy
        };
        wl_resource* const seat =
            wl_resource_create(client, &wl_seat_interface, static_cast<int>(version), id);
        wl_resource_set_implementation(seat, &kSeat, nullptr, nullptr);
        wl_seat_send_capabilities(seat, 0);
    }

    template <const wl_interface* Interface>
    static void bindManager(wl_client* client, void* data, uint32_t version, uint32_t id) {
        static constexpr struct ext_data_control_manager_v1_interface kManager {
            .create_data_source = createSource, .get_data_device = getDevice, .destroy = destroy
        };
        wl_resource* const manager =
            wl_resource_create(client, Interface, static_cast<int>(version), id);
        wl_resource_set_implementation(manager, &kManager, data, nullptr);
    }

    static void createSource(wl_client* client, wl_resource* manager, uint32_t id) {
        static constexpr struct ext_data_control_source_v1_interface kSource {
            .offer = offer, .destroy = destroy
        };
        wl_resource* const source = wl_resource_create(
            client, &ext_data_control_source_v1_interface, wl_resource_get_version(manager), id);
        wl_resource_set_implementation(source, &kSource, &self(manager), [](wl_resource* gone) {
            TestCompositor& compositor = self(gone);
            compositor.m_types.remove(gone);
            if (compositor.m_source == gone) {
                compositor.m_source = nullptr;
                compositor.announce();
            }
        });
    }
    static void offer(wl_client*, wl_resource* source, const char* type) {
        self(source).m_types[source].append(type);
    }

    static void getDevice(wl_client* client, wl_resource* manager, uint32_t id, wl_resource*) {
        static constexpr struct ext_data_control_device_v1_interface kDevice {
            .set_selection = setSelection, .destroy = destroy,
            .set_primary_selection = [](wl_client*, wl_resource*, wl_resource*) {}
        };
        TestCompositor& compositor = self(manager);
        wl_resource* const device = wl_resource_create(
            client, &ext_data_control_device_v1_interface, wl_resource_get_version(manager), id);
        wl_resource_set_implementation(device, &kDevice, &compositor, [](wl_resource* gone) {
            std::erase(self(gone).m_devices, gone);
        });
        compositor.m_devices.push_back(device);
        if (compositor.m_foreign) {
            compositor.offerTo(device, *compositor.m_foreign, false);
        } else {
            ext_data_control_device_v1_send_selection(device, nullptr);
        }
    }
    static void setSelection(wl_client*, wl_resource* device, wl_resource* source) {
        TestCompositor& compositor = self(device);
        ++compositor.m_copies;
        compositor.m_foreign.reset();
        if (wl_resource* const before = std::exchange(compositor.m_source, source)) {
            ext_data_control_source_v1_send_cancelled(before);
        }
        compositor.announce();
    }

    struct Offer {
        TestCompositor& compositor;
        Copied copied;
        wl_resource* source; ///< the client's own; null for a copy of another program
    };
    static void receive(wl_client*, wl_resource* resource, const char* type, int32_t fd) {
        FileDescriptor pipe(fd);
        auto& offered = *static_cast<Offer*>(wl_resource_get_user_data(resource));
        if (!offered.source) {
            offered.compositor.answer(type, std::move(pipe), offered.copied);
        } else if (offered.source == offered.compositor.m_source) {
            ext_data_control_source_v1_send_send(offered.source, type, pipe.get());
        }
    }
};

TestCompositor::TestCompositor(Protocol protocol, int seats)
    : m_socket(m_folder.filePath(QStringLiteral("wayland")).toLocal8Bit()),
      m_display(wl_display_create()), m_wakeUp(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    std::signal(SIGPIPE, SIG_IGN);
    wl_log_set_handler_server([](const char*, va_list) {});
    wl_display_add_socket(m_display, m_socket.constData());
    const auto add = [this](const wl_interface* interface, int version,
                            wl_global_bind_func_t bind) {
        wl_global_create(m_display, interface, version, this, bind);
    };
    if (protocol == Protocol::ext || protocol == Protocol::both) {
        add(&ext_data_control_manager_v1_interface, 1,
            Handlers::bindManager<&ext_data_control_manager_v1_interface>);
    }
    if (protocol != Protocol::ext && protocol != Protocol::none) {
        add(&zwlr_data_control_manager_v1_interface, protocol == Protocol::wlr1 ? 1 : 2,
            Handlers::bindManager<&zwlr_data_control_manager_v1_interface>);
    }
    for (int i = 0; i < seats; ++i) {
        m_seats.push_back(
            wl_global_create(m_display, &wl_seat_interface, 5, this, Handlers::bindSeat));
    }
    m_wakeUpSource = wl_event_loop_add_fd(
        wl_display_get_event_loop(m_display), m_wakeUp.get(), WL_EVENT_READABLE,
        [](int fd, uint32_t, void* data) {
            eventfd_t count = 0;
            (void)::eventfd_read(fd, &count);
            auto& compositor = *static_cast<TestCompositor*>(data);
            std::vector<std::function<void()>> tasks;
            {
                const std::lock_guard lock(compositor.m_tasksGuard);
                tasks.swap(compositor.m_tasks);
            }
            for (const auto& task : tasks) {
                task();
            }
            return 0;
        },
        this);
    m_thread = std::thread([this] { wl_display_run(m_display); });
}

TestCompositor::~TestCompositor() {
    call([this] { wl_display_terminate(m_display); });
    m_thread.join();
    wl_event_source_remove(m_wakeUpSource);
    for (const Flow& flow : m_flows) {
        if (flow.pipe.get() >= 0) {
            wl_event_source_remove(flow.source);
        }
    }
    wl_display_destroy_clients(m_display);
    wl_display_destroy(m_display);
}

void TestCompositor::call(const std::function<void()>& task) {
    std::promise<void> done;
    {
        const std::lock_guard lock(m_tasksGuard);
        m_tasks.emplace_back([&] {
            task();
            wl_display_flush_clients(m_display);
            done.set_value();
        });
    }
    ::eventfd_write(m_wakeUp.get(), 1);
    done.get_future().wait();
}

void TestCompositor::offerTo(wl_resource* device, const Copied& copied, bool primary,
                             wl_resource* source) {
    static constexpr struct ext_data_control_offer_v1_interface kOffer {
        .receive = Handlers::receive, .destroy = Handlers::destroy
    };
    wl_resource* const offer =
        wl_resource_create(wl_resource_get_client(device), &ext_data_control_offer_v1_interface,
                           wl_resource_get_version(device), 0);
    wl_resource_set_implementation(
        offer, &kOffer, new Handlers::Offer{*this, copied, source}, [](wl_resource* gone) {
            delete static_cast<Handlers::Offer*>(wl_resource_get_user_data(gone));
        });
    ext_data_control_device_v1_send_data_offer(device, offer);
    for (const QByteArray& type : copied.types) {
        ext_data_control_offer_v1_send_offer(offer, type.constData());
    }
    if (primary) {
        ext_data_control_device_v1_send_primary_selection(device, offer);
    } else {
        ext_data_control_device_v1_send_selection(device, offer);
    }
}

void TestCompositor::announce() {
    for (wl_resource* const device : m_devices) {
        if (m_foreign) {
            offerTo(device, *m_foreign, false);
        } else if (m_source) {
            offerTo(device, {m_types.value(m_source), {}}, false, m_source);
        } else {
            ext_data_control_device_v1_send_selection(device, nullptr);
        }
    }
}

void TestCompositor::answer(const QByteArray& type, FileDescriptor pipe, const Copied& copied) {
    m_asked.append(type);
    const bool hint = type == "x-kde-passwordManagerHint";
    switch (hint ? Copied::whole : copied.answer) {
    case Copied::whole:
    case Copied::diesAmid: {
        // What fits into the pipe at once is enough here.
        const QByteArray& bytes = hint ? copied.hint : copied.bytes;
        (void)!::write(pipe.get(), bytes.constData(), static_cast<size_t>(bytes.size()));
        if (!hint && copied.answer == Copied::diesAmid) {
            pipe.reset();
            m_foreign.reset();
            announce();
        }
        break;
    }
    case Copied::silence:
        m_kept.push_back(std::move(pipe));
        break;
    case Copied::endless: {
        ::fcntl(pipe.get(), F_SETFL, O_WRONLY | O_NONBLOCK);
        Flow& flow = m_flows.emplace_back(std::move(pipe));
        flow.source = wl_event_loop_add_fd(
            wl_display_get_event_loop(m_display), flow.pipe.get(), WL_EVENT_WRITABLE,
            [](int fd, uint32_t, void* data) {
                static const QByteArray kFlood(65536, 'x');
                if (::write(fd, kFlood.constData(), static_cast<size_t>(kFlood.size())) < 0 &&
                    errno != EAGAIN) {
                    auto& ended = *static_cast<Flow*>(data);
                    wl_event_source_remove(ended.source);
                    ended.pipe.reset();
                }
                return 0;
            },
            &flow);
        break;
    }
    case Copied::closes:
        break;
    }
}

void TestCompositor::copy(const Copied& copied) {
    call([&] {
        m_asked.clear();
        m_foreign = std::make_unique<Copied>(copied);
        if (wl_resource* const before = std::exchange(m_source, nullptr)) {
            ext_data_control_source_v1_send_cancelled(before);
        }
        announce();
    });
}

void TestCompositor::clear() {
    call([&] {
        m_foreign.reset();
        announce();
    });
}

void TestCompositor::selectPrimary(const Copied& copied) {
    call([&] {
        for (wl_resource* const device : m_devices) {
            offerTo(device, copied, true);
        }
    });
}

QByteArrayList TestCompositor::asked() {
    QByteArrayList result;
    call([&] { result = m_asked; });
    return result;
}

QByteArrayList TestCompositor::offered() {
    QByteArrayList result;
    call([&] { result = m_types.value(m_source); });
    return result;
}

int TestCompositor::copies() {
    int result = 0;
    call([&] { result = m_copies; });
    return result;
}

FileDescriptor TestCompositor::paste(const QByteArray& type) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        return {};
    }
    FileDescriptor readable(ends[0]);
    const FileDescriptor writable(ends[1]);
    ::fcntl(readable.get(), F_SETFL, O_RDONLY | O_NONBLOCK);
    call([&] {
        if (m_source) {
            ext_data_control_source_v1_send_send(m_source, type.constData(), writable.get());
        }
    });
    return readable;
}

void TestCompositor::removeFirstSeat() {
    call([&] {
        wl_global_remove(m_seats.front());
        m_seats.erase(m_seats.begin());
        for (wl_resource* const device : m_devices) {
            ext_data_control_device_v1_send_finished(device);
        }
    });
}

void TestCompositor::addSeat() {
    call([&] {
        m_seats.push_back(
            wl_global_create(m_display, &wl_seat_interface, 5, this, Handlers::bindSeat));
    });
}

void TestCompositor::complain() {
    call([&] {
        for (wl_resource* const device : m_devices) {
            wl_resource_post_error(device, 7, "no reason");
        }
    });
}

} // namespace sorrelwind::test
