#include "clipboard/make_pasteboard.h"

#include "base/result.h"
#include "clipboard/null_pasteboard.h"
#include "clipboard/wayland_pasteboard.h"
#include "clipboard/x11_pasteboard.h"

#include <chrono>
#include <utility>

namespace sorrelwind {
namespace {

using namespace std::chrono_literals;

/// For a compositor that is busy with the start of its session.
constexpr auto kCompositorPatience = 5s;

using Made = Result<std::unique_ptr<Pasteboard>, Sentence>;

Made makeWayland(const QByteArray& display, std::chrono::milliseconds patience) {
    auto connection = WaylandConnection::open(display, QDeadlineTimer(kCompositorPatience));
    if (!connection) {
        return failure(std::move(connection).error());
    }
    return std::make_unique<WaylandPasteboard>(*std::move(connection), display, patience);
}

Made makeX11(const QByteArray& display, std::chrono::milliseconds patience) {
    auto connection = X11Connection::open(display);
    if (!connection) {
        return failure(std::move(connection).error());
    }
    return std::make_unique<X11Pasteboard>(*std::move(connection), patience);
}

} // namespace

std::unique_ptr<Pasteboard> makePasteboard(ClipboardChoice choice, const ClipboardServers& servers,
                                           std::chrono::milliseconds patience) {
    Sentence reasons;
    if (choice != ClipboardChoice::x11) {
        auto wayland = makeWayland(servers.waylandDisplay, patience);
        if (wayland) {
            return *std::move(wayland);
        }
        reasons = wayland.error();
    }
    if (choice != ClipboardChoice::wayland) {
        auto x11 = makeX11(servers.display, patience);
        if (x11) {
            return *std::move(x11);
        }
        if (!reasons.en.isEmpty()) {
            reasons.zh += u'，';
            reasons.en += QLatin1StringView(", and ");
        }
        reasons.zh += x11.error().zh;
        reasons.en += x11.error().en;
    }
    return std::make_unique<NullPasteboard>(reasons);
}

} // namespace sorrelwind
