#include "ui/x_settings.h"

#include "tests/support/print_qt.h"
#include "tests/support/wait.h"
#include "ui/desktop_scheme.h"

#include <QTemporaryDir>
#include <QtEndian>

#include <gtest/gtest.h>

#include <cstdlib>
#include <xcb/xcb.h>

namespace sorrelwind::test {

namespace {

enum class Order { little, big };

template <class T>
QByteArray number(T value, Order order) {
    const T wire = order == Order::big ? qToBigEndian(value) : qToLittleEndian(value);
    return {reinterpret_cast<const char*>(&wire), sizeof wire};
}

QByteArray padded(QByteArray text) {
    return text.append((4 - text.size() % 4) % 4, '\0');
}

/// A property with a colour and a theme, as a daemon writes it.
QByteArray settings(const QByteArray& theme, Order order = Order::little) {
    const auto head = [order](char type, const QByteArray& name) {
        return QByteArray(1, type) + '\0' + number<uint16_t>(uint16_t(name.size()), order) +
               padded(name) + number<uint32_t>(1, order);
    };
    return QByteArray(1, order == Order::big ? '\1' : '\0') + QByteArray(3, '\0') +
           number<uint32_t>(5, order) + number<uint32_t>(2, order) + head(2, "Net/Colour") +
           QByteArray(8, 'c') + head(1, "Net/ThemeName") +
           number<uint32_t>(uint32_t(theme.size()), order) + padded(theme);
}

/// A daemon on a connection of its own; its settings go with it.
class Daemon {
public:
    explicit Daemon(const QByteArray& property) : m_x(xcb_connect(nullptr, nullptr)) {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(m_x)).data;
        m_window = xcb_generate_id(m_x);
        xcb_create_window(m_x, 0, m_window, screen->root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, 0, 0, nullptr);
        tell(property);
        const xcb_atom_t selection = atom("_XSETTINGS_S0");
        xcb_set_selection_owner(m_x, m_window, selection, XCB_CURRENT_TIME);
        xcb_client_message_event_t news{};
        news.response_type = XCB_CLIENT_MESSAGE;
        news.format = 32;
        news.window = screen->root;
        news.type = atom("MANAGER");
        news.data.data32[1] = selection;
        news.data.data32[2] = m_window;
        xcb_send_event(m_x, 0, screen->root, XCB_EVENT_MASK_STRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&news));
        xcb_flush(m_x);
    }
    ~Daemon() { xcb_disconnect(m_x); }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    void tell(const QByteArray& property) {
        const xcb_atom_t name = atom("_XSETTINGS_SETTINGS");
        xcb_change_property(m_x, XCB_PROP_MODE_REPLACE, m_window, name, name, 8,
                            uint32_t(property.size()), property.constData());
        xcb_flush(m_x);
    }

private:
    xcb_atom_t atom(const QByteArray& name) {
        auto* reply = xcb_intern_atom_reply(
            m_x, xcb_intern_atom(m_x, 0, uint16_t(name.size()), name.constData()), nullptr);
        const xcb_atom_t found = reply->atom;
        std::free(reply);
        return found;
    }

    xcb_connection_t* m_x;
    xcb_window_t m_window;
};

TEST(XSettingsTest, AThemeIsReadInEitherByteOrderAndNoFurtherThanItGoes) {
    for (const Order order : {Order::little, Order::big}) {
        const QByteArray whole = settings("Adwaita-dark", order);
        const auto theme = gtkThemeIn(whole);
        ASSERT_TRUE(theme);
        EXPECT_EQ(theme->name, QStringLiteral("Adwaita-dark"));
        EXPECT_EQ(theme->dark(), true);
        for (qsizetype size = 0; size < whole.size(); ++size)
            EXPECT_FALSE(gtkThemeIn(QByteArrayView(whole).first(size))) << size;
    }
}

TEST(XSettingsTest, ADaemonIsFollowedWheneverThereIsOne) {
    const QTemporaryDir folder;
    const DesktopScheme scheme(folder.path(), QStringLiteral("XFCE"));
    const DesktopScheme kde(folder.path(), QStringLiteral("KDE"));
    EXPECT_EQ(scheme.dark(), std::nullopt);
    for (int i = 0; i < 2; ++i) {
        {
            Daemon daemon(settings("Greybird-dark"));
            EXPECT_TRUE(waitFor([&] { return scheme.dark() == true; }));
            daemon.tell(settings("Greybird"));
            EXPECT_TRUE(waitFor([&] { return scheme.dark() == false; }));
            daemon.tell("rubbish");
            EXPECT_TRUE(waitFor([&] { return scheme.dark() == std::nullopt; }));
            daemon.tell(settings("Arc-Darker")); // which is light
            EXPECT_TRUE(waitFor([&] { return scheme.dark() == false; }));
        }
        EXPECT_TRUE(waitFor([&] { return scheme.dark() == std::nullopt; }));
    }
    EXPECT_EQ(kde.dark(), std::nullopt);
}

} // namespace

} // namespace sorrelwind::test
