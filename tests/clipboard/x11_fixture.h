#pragma once

#include "clipboard/x11_pasteboard.h"
#include "tests/clipboard/x_client.h"
#include "tests/support/print_qt.h"
#include "tests/support/wait.h"
#include "tests/support/xvfb.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>

namespace sorrelwind::test {

inline const QString poem = u"床前明月光 🌙\r\n疑是地上霜"_qs;

/// A pasteboard on an X server that the tests of one suite share; each begins with an empty
/// clipboard, since all owners end with their test.
class X11PasteboardTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        s_server = std::make_unique<Xvfb>();
        ASSERT_TRUE(s_server->running()) << "Xvfb does not start";
    }
    static void TearDownTestSuite() { s_server.reset(); }

    void SetUp() override {
        XOwner probe(display());
        ASSERT_TRUE(waitFor([&] { return probe.owner("CLIPBOARD") == XCB_NONE; }));
        open(kPatience);
    }

    static Xvfb& server() { return *s_server; }
    static QByteArray display() { return s_server->display(); }

    /// A pasteboard that gives up silent programs after `patience`; long for all tests but those
    /// of silence, as the machine may be busy.
    void open(std::chrono::milliseconds patience) {
        auto connection = X11Connection::open(display());
        ASSERT_TRUE(connection) << connection.error().en.toStdString();
        m_window = (*connection)->window();
        pasteboard = std::make_unique<X11Pasteboard>(*std::move(connection), patience);
        QObject::connect(pasteboard.get(), &Pasteboard::changed, [this] { ++changes; });
    }

    /// Whether the pasteboard comes to hold exactly this text.
    [[nodiscard]] bool holds(const QString& text) {
        return waitFor([&] { return pasteboard->string() == text; });
    }
    /// Whether no property of a transfer lies about on our windows, eating the server's memory.
    [[nodiscard]] bool tidy() {
        XRequestor probe(display());
        return waitFor(
            [&] { return !probe.propertiesOfAllLike(m_window).contains("SORRELWIND_TRANSFER"); });
    }
    /// Whether the selection comes to be ours.
    [[nodiscard]] bool owned() {
        XRequestor probe(display());
        return waitFor([&] { return probe.owner("CLIPBOARD") == m_window; });
    }
    /// What a program gets when it pastes now.
    static std::optional<XRequestor::Result> paste(const QByteArray& target) {
        XRequestor requestor(display());
        requestor.attach();
        requestor.ask(target);
        return waitFor([&] { return requestor.result.has_value(); }) ? requestor.result
                                                                     : std::nullopt;
    }

    std::unique_ptr<X11Pasteboard> pasteboard;
    int changes = 0;

private:
    xcb_window_t m_window = XCB_NONE;
    static inline std::unique_ptr<Xvfb> s_server;
};

} // namespace sorrelwind::test
