#include "tests/support/print_qt.h"
#include "tests/support/wait.h"
#include "tests/ui/looks.h"
#include "ui/controls/brand_button.h"
#include "ui/controls/brand_switch.h"
#include "ui/controls/card.h"
#include "ui/controls/choice_control.h"
#include "ui/controls/icon_button.h"
#include "ui/controls/logo_tile.h"
#include "ui/controls/status_dot.h"
#include "ui/controls/symbol_badge.h"
#include "ui/controls/text_field.h"
#include "ui/controls/text_label.h"
#include "ui/palette.h"

#include <QAccessible>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMouseEvent>

#include <gtest/gtest.h>

namespace sorrelwind::test {

namespace {

void press(QWidget& widget, Qt::Key key) {
    for (const auto type : {QEvent::KeyPress, QEvent::KeyRelease}) {
        QKeyEvent event(type, key, Qt::NoModifier);
        QCoreApplication::sendEvent(&widget, &event);
    }
}

void clickAt(QWidget& widget, QPoint at) {
    for (const auto type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
        QMouseEvent event(type, at, widget.mapToGlobal(QPointF(at)), Qt::LeftButton, Qt::LeftButton,
                          Qt::NoModifier);
        QCoreApplication::sendEvent(&widget, &event);
    }
}

QColor pixel(QWidget& widget, QPoint at) {
    return widget.grab().toImage().pixelColor(at);
}

QString accessibleName(QWidget& widget) {
    return QAccessible::queryAccessibleInterface(&widget)->text(QAccessible::Name);
}

TEST(ControlsTest, FollowTheAppearanceWithoutBeingRebuilt) {
    const Look light(false);
    QWidget window;
    TextLabel label(QStringLiteral("Text"), 13, QFont::Normal, TextRole::danger, &window);
    TextField field(QStringLiteral("Text"), &window);
    Card card(&window);
    card.resize(100, 100);
    SymbolBadge badge(QStringLiteral("ipad"), 32, &window);
    BrandButton button(BrandButton::Kind::primary, false, &window);
    button.resize(100, 34);
    for (const bool dark : {false, true, false}) {
        Look look(dark);
        EXPECT_EQ(label.palette().color(QPalette::WindowText), Palette::Role::danger()) << dark;
        EXPECT_EQ(field.palette().color(QPalette::Text), Palette::Role::text()) << dark;
        EXPECT_EQ(pixel(card, {50, 50}), Palette::Role::surface()) << dark;
        EXPECT_EQ(pixel(badge, {16, 3}), Brand::accentSoft()) << dark;
        EXPECT_EQ(pixel(button, {50, 3}), Brand::accent()) << dark;
    }
}

TEST(ControlsTest, ButtonTextsAreReadable) {
    for (const bool dark : {false, true}) {
        const Look look(dark);
        const struct {
            BrandButton::Kind kind;
            QColor text;
        } kinds[] = {{BrandButton::Kind::primary, Brand::onAccent()},
                     {BrandButton::Kind::secondary, Palette::Role::text()},
                     {BrandButton::Kind::destructive, Palette::Role::danger()}};
        for (const auto& each : kinds) {
            BrandButton button(each.kind);
            button.resize(100, 34);
            EXPECT_GE(contrast(pixel(button, {50, 3}), each.text), 4.5)
                << "kind " << static_cast<int>(each.kind) << " dark " << dark;
        }
    }
}

TEST(ControlsTest, AButtonIsPressedByMouseAndKeys) {
    BrandButton button(BrandButton::Kind::primary);
    button.setText(QStringLiteral("Done"));
    button.resize(button.sizeHint());
    EXPECT_EQ(button.height(), 34);
    EXPECT_EQ(accessibleName(button), QStringLiteral("Done"));
    int presses = 0;
    QObject::connect(&button, &QAbstractButton::clicked, &button, [&presses] { ++presses; });
    clickAt(button, button.rect().center());
    for (const auto key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Space, Qt::Key_Escape})
        press(button, key);
    EXPECT_EQ(presses, 4);
    button.setEnabled(false);
    press(button, Qt::Key_Return);
    EXPECT_EQ(presses, 4);
}

TEST(ControlsTest, AButtonHasRoomForItsTextAndSymbol) {
    for (const char16_t* text : {u"Copy Pairing Link", u"Leave Group…", u"复制配对链接", u"Wi"}) {
        BrandButton button(BrandButton::Kind::secondary);
        button.setText(QString::fromUtf16(text));
        const int bare = button.sizeHint().width();
        EXPECT_GT(bare, QFontMetricsF(button.font()).horizontalAdvance(button.text()) + 24);
        button.setSymbol(QStringLiteral("link"));
        EXPECT_GE(button.sizeHint().width(), bare + 16);
    }
}

TEST(ControlsTest, AnIconButtonActsAndSaysWhatItIs) {
    int presses = 0;
    IconButton button(QStringLiteral("gearshape"), QStringLiteral("Settings"),
                      [&presses] { ++presses; });
    EXPECT_EQ(button.size(), QSize(28, 28));
    EXPECT_EQ(button.toolTip(), QStringLiteral("Settings"));
    EXPECT_EQ(accessibleName(button), QStringLiteral("Settings"));
    clickAt(button, {14, 14});
    press(button, Qt::Key_Return);
    EXPECT_EQ(presses, 2);
}

TEST(ControlsTest, ASwitchShowsItsStateAtOnceWhenTheProgramSetsIt) {
    const Look look(false);
    BrandSwitch toggle;
    const QPoint left(11, 11);
    EXPECT_EQ(pixel(toggle, left), Palette::Neutral::s0());
    toggle.setChecked(true);
    EXPECT_EQ(pixel(toggle, left), Brand::accent());
    press(toggle, Qt::Key_Space);
    EXPECT_FALSE(toggle.isChecked());
    EXPECT_EQ(pixel(toggle, left), Palette::Neutral::s0());
}

TEST(ControlsTest, AChoiceIsMadeByMouseAndArrows) {
    ChoiceControl choice;
    QList<int> chosen;
    choice.onChosen = [&chosen](int index) { chosen.append(index); };
    choice.setChoices({QStringLiteral("System"), QStringLiteral("Light"), QStringLiteral("Dark")});
    choice.resize(choice.sizeHint());
    choice.setCurrent(1);
    EXPECT_TRUE(chosen.isEmpty());
    clickAt(choice, {choice.width() - 10, 15}); // the last
    clickAt(choice, {choice.width() - 10, 15}); // again: nothing new
    press(choice, Qt::Key_Right);               // there is no further one
    press(choice, Qt::Key_Left);
    clickAt(choice, {10, 15}); // the first
    press(choice, Qt::Key_Left);
    EXPECT_EQ(chosen, (QList<int>{2, 1, 0}));
    EXPECT_EQ(choice.current(), 0);
    EXPECT_EQ(choice.accessibleDescription(), QStringLiteral("System"));
    choice.setChoices({QStringLiteral("跟随系统"), QStringLiteral("浅色"), QStringLiteral("深色")});
    EXPECT_EQ(choice.accessibleDescription(), QStringLiteral("跟随系统"));
}

TEST(ControlsTest, ALongTextWrapsOrGivesWay) {
    TextLabel label(QString(u'x').repeated(40) + u' ' + QString(u'y').repeated(40), 13);
    const int oneLine = label.heightForWidth(2000);
    EXPECT_GT(label.heightForWidth(400), oneLine);
    label.setElided(true);
    EXPECT_FALSE(label.hasHeightForWidth());
    EXPECT_LT(label.minimumSizeHint().width(), 100);
    label.show();
    label.resize(100, oneLine);
    const auto toolTip = [&label] {
        QHelpEvent hover(QEvent::ToolTip, QPoint(1, 1), label.mapToGlobal(QPoint(1, 1)));
        QCoreApplication::sendEvent(&label, &hover);
        return label.toolTip();
    };
    EXPECT_EQ(toolTip(), label.text());
    label.setText(QString(u'z').repeated(80)); // as narrow as before
    EXPECT_EQ(toolTip(), label.text());
    label.resize(label.sizeHint());
    EXPECT_EQ(toolTip(), QString());
    // What is typed elsewhere, such as a device's name, is never taken for markup.
    label.setText(QStringLiteral("<b>x</b>"));
    EXPECT_EQ(label.textFormat(), Qt::PlainText);
}

TEST(ControlsTest, ADotBreathesOnlyWhileItIsSeen) {
    QWidget window;
    StatusDot dot(TextRole::warning, &window);
    dot.setPulsing(true);
    EXPECT_FALSE(dot.isBreathing());
    window.show();
    EXPECT_TRUE(dot.isBreathing());
    window.hide();
    EXPECT_FALSE(dot.isBreathing());
    window.show();
    EXPECT_TRUE(dot.isBreathing());
    dot.setPulsing(false);
    EXPECT_FALSE(dot.isBreathing());
    EXPECT_EQ(pixel(dot, {3, 3}), Palette::Role::warning());
}

TEST(ControlsTest, FocusIsShownOnceTheKeyboardMovesIt) {
    QWidget window;
    BrandButton first(BrandButton::Kind::secondary, false, &window);
    TextField field({}, &window);
    field.move(0, 50);
    window.show();
    window.activateWindow();
    ASSERT_TRUE(waitFor([&window] { return window.isActiveWindow(); }));
    field.setFocus(Qt::MouseFocusReason);
    clickAt(first, {5, 5});
    EXPECT_TRUE(field.hasFocus());
    EXPECT_FALSE(showsFocus(field));
    press(field, Qt::Key_Tab);
    EXPECT_TRUE(first.hasFocus());
    EXPECT_TRUE(showsFocus(first));
    EXPECT_FALSE(showsFocus(field));
}

TEST(ControlsTest, AFieldShowsTheBeginningOfItsTextUnlessItIsFilledIn) {
    QWidget window;
    TextField field(QString(200, u'x'), &window);
    BrandButton other(BrandButton::Kind::secondary, false, &window);
    other.move(0, 50);
    window.show();
    window.activateWindow();
    ASSERT_TRUE(waitFor([&window] { return window.isActiveWindow(); }));
    EXPECT_EQ(field.cursorPosition(), 0);
    other.setFocus();
    field.setFocus(Qt::OtherFocusReason);
    EXPECT_EQ(field.cursorPosition(), 200) << "to be gone on with";
    field.insert(QStringLiteral("y"));
    EXPECT_EQ(field.cursorPosition(), 201);
    press(field, Qt::Key_Tab);
    EXPECT_EQ(field.cursorPosition(), 0);
    field.setText(QString(300, u'x'));
    EXPECT_EQ(field.cursorPosition(), 0);
}

} // namespace

} // namespace sorrelwind::test
