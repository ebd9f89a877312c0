#include "ui/status_item.h"

#include "tests/support/print_qt.h"
#include "tests/support/wait.h"
#include "tests/ui/status_item_desktop.h"
#include "ui/status_notifier_item.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QMenu>
#include <QtEndian>

#include <gtest/gtest.h>

namespace sorrelwind::test {

namespace {

// Something is drawn when the pixels are not all one.
int inkOf(const QImage& image) {
    const QRgb ground = image.pixel(0, 0);
    int most = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            most = qMax(most, qAbs(qGray(image.pixel(x, y)) - qGray(ground)));
    }
    return most;
}

int inkOn(const StatusItem& item) {
    const auto place = item.anchor();
    return place ? inkOf(TrayDesktop::screenshot(*place)) : 0;
}

// A tray moves and paints a new icon a few times before it stays.
bool settlesInTray(const StatusItem& item) {
    std::optional<QRect> place;
    return waitFor([&] {
        place = item.anchor();
        runFor(std::chrono::milliseconds(300));
        return place && item.anchor() == place && inkOn(item) > 120;
    });
}

QList<NotifierPixmap> pixmapsOf(const QVariantMap& properties) {
    return qdbus_cast<NotifierPixmaps>(properties.value("IconPixmap"));
}

// What the user did to an item, in order.
QStringList heard(const StatusItem& item) {
    return item.property("heard").toStringList();
}

std::unique_ptr<StatusItem> listenedItem() {
    auto item = makeStatusItem(QDBusConnection::sessionBus());
    const auto note = [raw = item.get()](const char* what) {
        return [raw, what] { raw->setProperty("heard", heard(*raw) << what); };
    };
    QObject::connect(item.get(), &StatusItem::clicked, note("click"));
    QObject::connect(item.get(), &StatusItem::menuRequested, note("menu"));
    return item;
}

int opacityOf(const NotifierPixmap& pixmap) {
    int most = 0;
    for (qsizetype i = 0; i < pixmap.argb.size(); i += 4) // big-endian: alpha comes first
        most = qMax(most, int(static_cast<unsigned char>(pixmap.argb[i])));
    return most;
}

class StatusItemTest : public testing::Test {
protected:
    // Away from the edges, where a click would be taken for one on a panel.
    void SetUp() override { desktop().xdotool({"mousemove", "600", "400"}); }
};

} // namespace

TEST_F(StatusItemTest, TrayOfAnyColourShowsIconThatStandsOut) {
    for (const char* colour : {"0xf0f0f0", "0x101010"}) {
        const auto tray = desktop().tray(colour);
        const auto item = listenedItem();
        EXPECT_TRUE(settlesInTray(*item))
            << colour << " " << testing::PrintToString(item->anchor()) << " " << inkOn(*item);
        EXPECT_TRUE(item->hosted());
    }
}

TEST_F(StatusItemTest, TrayClicksAreToldApart) {
    const auto tray = desktop().tray();
    const auto item = listenedItem();
    ASSERT_TRUE(settlesInTray(*item));
    const QPoint place = item->anchor()->center();
    QStringList expected;
    for (const auto& [button, what] : {std::pair(1, "click"), {3, "menu"}, {2, "menu"}}) {
        desktop().click(place, button);
        expected << what;
        EXPECT_TRUE(waitFor([&] { return heard(*item) == expected; })) << what;
    }
    // Quick ones are two as well: open and close.
    for (const auto& [button, what] : {std::pair("1", "click"), {"3", "menu"}}) {
        desktop().xdotool({"click", "--repeat", "2", "--delay", "20", button});
        expected << what << what;
        EXPECT_TRUE(waitFor([&] { return heard(*item) == expected; }))
            << heard(*item).join(' ').toStdString();
    }
}

TEST_F(StatusItemTest, DimsInTrayAndBack) {
    const auto tray = desktop().tray();
    const auto item = listenedItem();
    const auto dimmed = [&] { return inkOn(*item) > 60 && inkOn(*item) < 120; };
    item->setDimmed(true); // before it is seen
    EXPECT_TRUE(waitFor(dimmed));
    item->setDimmed(false);
    EXPECT_TRUE(settlesInTray(*item));
    item->setDimmed(true);
    EXPECT_TRUE(waitFor(dimmed));
}

TEST_F(StatusItemTest, PanelThatShowsItemsIsPreferredWheneverItIsThere) {
    const auto tray = desktop().tray();
    const auto item = listenedItem();
    const auto inTray = [&] { return item->anchor().has_value() && inkOn(*item) > 120; };
    ASSERT_TRUE(settlesInTray(*item));
    {
        NotifierPanel panel;
        EXPECT_TRUE(waitFor([&] { return panel.items.size() == 1 && !inTray(); }));
        EXPECT_TRUE(item->hosted());
        panel.call("Activate");
        EXPECT_TRUE(waitFor([&] { return heard(*item) == QStringList{"click"}; }));

        panel.setHost(false); // the watcher stays, with nobody who would show the item
        EXPECT_TRUE(waitFor(inTray));
        panel.setHost(true);
        EXPECT_TRUE(waitFor([&] { return !inTray(); }));
    }
    EXPECT_TRUE(waitFor(inTray));
    const NotifierPanel again;
    EXPECT_TRUE(waitFor([&] { return again.items.size() == 1 && !inTray(); }));
}

TEST_F(StatusItemTest, PanelIsToldWhatItNeeds) {
    NotifierPanel panel;
    const auto item = listenedItem();
    item->setToolTip(QStringLiteral("Connected · <b>&"));
    ASSERT_TRUE(waitFor([&] { return panel.items.size() == 1 && item->hosted(); }));
    const QVariantMap told = panel.properties();
    EXPECT_EQ(told.value("Id").toString(), "sorrelwind");
    EXPECT_EQ(told.value("Status").toString(), "Active");
    EXPECT_EQ(told.value("ItemIsMenu"), QVariant(false));
    EXPECT_EQ(qdbus_cast<QDBusObjectPath>(told.value("Menu")).path(), "/MenuBar");
    EXPECT_EQ(qdbus_cast<NotifierToolTip>(told.value("ToolTip")).title,
              "Connected · &lt;b&gt;&amp;"); // panels take it for markup;
    for (const NotifierPixmap& pixmap : pixmapsOf(told)) {
        EXPECT_EQ(pixmap.argb.size(), pixmap.width * pixmap.height * 4);
        EXPECT_EQ(opacityOf(pixmap), 255);
        EXPECT_EQ(pixmap.argb.first(4), QByteArray(4, 0)); // the corner is empty
    }
    EXPECT_GE(pixmapsOf(told).size(), 4);

    panel.newToolTips = 0; // the first text may have been told as well
    item->setDimmed(true);
    item->setToolTip(QStringLiteral("Paused"));
    EXPECT_TRUE(waitFor([&] { return panel.newIcons == 1 && panel.newToolTips == 1; }));
    EXPECT_LT(opacityOf(pixmapsOf(panel.properties()).value(0)), 128);

    panel.call("ContextMenu");
    panel.call("SecondaryActivate");
    panel.call("Activate");
    EXPECT_TRUE(waitFor([&] { return heard(*item) == QStringList{"menu", "menu", "click"}; }));
}

TEST_F(StatusItemTest, PanelThatDrawsTheMenuItselfIsToldOfItAndObeyed) {
    NotifierPanel panel;
    const auto item = listenedItem();
    ASSERT_TRUE(waitFor([&] { return panel.items.size() == 1 && item->hosted(); }));
    QStringList done;
    const auto entry = [&](const char* text, bool enabled = true) {
        return MenuEntry{.text = QString::fromUtf8(text), .enabled = enabled, .chosen = [&, text] {
                             done << QString::fromUtf8(text);
                         }};
    };
    // A line for each entry: id, text, whether it can be chosen.
    const auto read = [&] {
        QStringList lines;
        const auto reply = panel.askMenu("GetLayout", {0, -1, QStringList()});
        const auto menu = qdbus_cast<BusMenuLayout>(reply.arguments().value(1));
        EXPECT_EQ(menu.item.properties.value("children-display"), "submenu");
        for (const BusMenuLayout& child : menu.children) {
            const QVariantMap& told = child.item.properties;
            lines << u"%1 %2 %3"_qs.arg(child.item.id)
                         .arg(told.value("label", told.value("type")).toString())
                         .arg(told.value("enabled").toBool());
        }
        return lines;
    };
    item->setMenu({entry("设置…", false), MenuEntry{}, entry("Quit")});
    EXPECT_EQ(read(), (QStringList{"1 设置… 0", "2 separator 0", "3 Quit 1"}));
    ASSERT_TRUE(waitFor([&] { return panel.layouts.size() == 1; }));
    item->setMenu({entry("Settings…", false), MenuEntry{}, entry("Quit")});
    ASSERT_TRUE(waitFor([&] { return panel.newTexts.size() == 1; }));
    EXPECT_EQ(panel.newTexts[0].id, 1);
    EXPECT_EQ(panel.newTexts[0].properties.value("label"), "Settings…");

    const auto clicked = [&](int id, const char* what = "clicked") {
        return panel.askMenu("Event", {id, what, QVariant::fromValue(QDBusVariant(0)), 0U}).type();
    };
    EXPECT_EQ(clicked(3), QDBusMessage::ReplyMessage);
    EXPECT_TRUE(waitFor([&] { return done == QStringList{"Quit"}; }));

    // Another menu: what is clicked in the old one, still open, comes to nothing.
    item->setMenu({entry("Pause"), entry("Settings…"), MenuEntry{}, entry("Quit")});
    EXPECT_EQ(read().value(0), "4 Pause 1");
    ASSERT_TRUE(waitFor([&] { return panel.layouts.size() == 2; }));
    EXPECT_GT(panel.layouts[1], panel.layouts[0]);
    for (const int id : {-1, 1, 3, 8, INT_MAX, INT_MIN}) {
        EXPECT_EQ(clicked(id), QDBusMessage::ErrorMessage) << id;
        EXPECT_EQ(panel.askMenu("GetLayout", {id, -1, QStringList()}).type(),
                  QDBusMessage::ErrorMessage);
        EXPECT_EQ(panel.askMenu("GetProperty", {id, "label"}).type(), QDBusMessage::ErrorMessage);
        EXPECT_EQ(panel.askMenu("AboutToShow", {id}).type(), QDBusMessage::ErrorMessage);
    }
    for (const auto& [id, what] : {std::pair(0, "clicked"), {4, "hovered"}, {6, "clicked"}})
        EXPECT_EQ(clicked(id, what), QDBusMessage::ReplyMessage);
    EXPECT_EQ(panel.askMenu("GetProperty", {4, "icon-data"}).type(), QDBusMessage::ErrorMessage);
    EXPECT_EQ(panel.askMenu("GetProperty", {4, "label"}).arguments().value(0),
              QVariant::fromValue(QDBusVariant(u"Pause"_qs)));
    const auto group = panel.askMenu(
        "GetGroupProperties", {QVariant::fromValue(QList<int>(1000, 5)), QStringList{"enabled"}});
    const auto found = qdbus_cast<QList<BusMenuItem>>(group.arguments().value(0));
    ASSERT_EQ(found.size(), 1);
    EXPECT_EQ(found[0].properties, (QVariantMap{{"enabled", true}}));
    // Many at once are as good as a few.
    const QList<BusMenuEvent> events =
        QList<BusMenuEvent>{{99, "clicked"}} + QList<BusMenuEvent>(5000, {4, u"clicked"_qs});
    const auto unknown = panel.askMenu("EventGroup", {QVariant::fromValue(events)});
    EXPECT_EQ(qdbus_cast<QList<int>>(unknown.arguments().value(0)), QList<int>{99});
    EXPECT_EQ(clicked(7), QDBusMessage::ReplyMessage);
    EXPECT_TRUE(waitFor([&] { return done.endsWith("Quit") && done.size() > 2; }));
    EXPECT_LT(done.size(), 20);
}

TEST_F(StatusItemTest, PanelsPlaceIsThatOfThePointerAtAnEdge) {
    NotifierPanel panel;
    const auto item = listenedItem();
    ASSERT_TRUE(waitFor([&] { return panel.items.size() == 1 && item->hosted(); }));
    EXPECT_EQ(item->anchor(), std::nullopt); // before the first click
    for (const QPoint place : {QPoint(1100, 10), QPoint(600, 400)}) {
        desktop().xdotool({"mousemove", QString::number(place.x()), QString::number(place.y())});
        const qsizetype before = heard(*item).size();
        panel.call("Activate");
        ASSERT_TRUE(waitFor([&] { return heard(*item).size() > before; }));
        EXPECT_EQ(item->anchor() && item->anchor()->contains(place), place.y() < 64);
    }
}

TEST_F(StatusItemTest, MenuOpensAtTheIconAndClosesByAClickElsewhere) {
    const auto tray = desktop().tray();
    const auto item = listenedItem();
    QMenu menu;
    menu.addAction(QStringLiteral("Quit"));
    QObject::connect(item.get(), &StatusItem::menuRequested, [&] { item->popUp(menu); });
    ASSERT_TRUE(settlesInTray(*item));
    desktop().click(item->anchor()->center(), 3);
    ASSERT_TRUE(waitFor([&] { return menu.isVisible(); }));
    // The tray is at the lower edge, so the menu stands on the icon, within the screen.
    EXPECT_LE(qAbs(menu.geometry().bottom() - item->anchor()->bottom()), 40);
    EXPECT_TRUE(QRect(0, 0, 1280, 800).contains(menu.geometry()));
    desktop().click(QPoint(300, 300));
    EXPECT_TRUE(waitFor([&] { return !menu.isVisible(); }));
}

TEST_F(StatusItemTest, WithoutAnyHostTheMenuOpensAtTheUpperRight) {
    const auto item = listenedItem();
    ASSERT_TRUE(waitFor([&] { return !item->hosted(); }));
    QMenu menu;
    menu.addAction(QStringLiteral("Quit"));
    item->popUp(menu);
    ASSERT_TRUE(waitFor([&] { return menu.isVisible(); }));
    EXPECT_LT(menu.y(), 50);
    EXPECT_NEAR(menu.geometry().right(), 1280 - 200, 5);
}

TEST_F(StatusItemTest, IconIsBelievedNearTheEdgesOnly) {
    const QRect frame(0, 0, 1920, 1080);
    const QRect visible(0, 30, 1920, 1010); // a panel above, another below
    struct Case {
        QPoint click;
        bool known;
        int bottom; // of the icon
    };
    for (const auto& [click, known, bottom] :
         {Case{{1800, 12}, true, 29}, Case{{1800, 3}, true, 29}, Case{{900, 1060}, true, 1071},
          Case{{5, 500}, true, 511}, Case{{1915, 500}, true, 511}, Case{{900, 500}, false, 0},
          Case{{2000, 10}, false, 0}}) {
        const auto icon = iconAt(click, frame, visible);
        ASSERT_EQ(icon.has_value(), known) << click.x() << ',' << click.y();
        if (icon) {
            EXPECT_TRUE(icon->contains(click));
            EXPECT_EQ(icon->bottom(), bottom);
        }
    }
}

} // namespace sorrelwind::test
