#include "tests/ui/screenshots.h"
#include "ui/controls/brand_button.h"
#include "ui/controls/brand_switch.h"
#include "ui/controls/choice_control.h"
#include "ui/controls/icon_button.h"
#include "ui/controls/text_field.h"
#include "ui/controls/text_label.h"
#include "ui/palette.h"
#include "ui/symbol.h"

#include <QDir>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QTimer>

// The symbols on one sheet, and every control with the focus.

namespace sorrelwind::test {

namespace {

using Size = Palette::TextSize;

/// A row of things with equal gaps, packed to the left.
QWidget* row(const QList<QWidget*>& widgets) {
    auto* host = new QWidget;
    auto* layout = new QHBoxLayout(host);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Palette::Space::s3);
    for (QWidget* widget : widgets)
        layout->addWidget(widget);
    layout->addStretch();
    return host;
}

/// Only one control can have the focus, so each has a picture of its own.
std::unique_ptr<QWidget> focusSheet(const std::function<QWidget*()>& make) {
    auto sheet = std::make_unique<QWidget>();
    auto* layout = new QVBoxLayout(sheet.get());
    layout->setContentsMargins(16, 16, 16, 16);
    QWidget* control = make();
    layout->addWidget(control, 0, Qt::AlignLeft);
    control->setFocus();
    // Showing a window forgets that the keyboard moved the focus in it.
    QTimer::singleShot(0, control, [control] {
        control->window()->setAttribute(Qt::WA_KeyboardFocusChange);
        control->update();
    });
    return sheet;
}

std::unique_ptr<QWidget> symbolSheet() {
    auto sheet = std::make_unique<QWidget>();
    auto* grid = new QGridLayout(sheet.get());
    grid->setContentsMargins(20, 20, 20, 20);
    const QStringList files =
        QDir(QStringLiteral(":/symbols")).entryList({QStringLiteral("*.svg")});
    int index = 0;
    for (const QString& file : files) {
        const QString name = file.chopped(4);
        QList<QWidget*> cells;
        for (const int size : {13, 16, 18, 20, 24, 32}) {
            auto* picture = new QLabel;
            picture->setPixmap(
                symbolPixmap(name, size, Palette::Role::text(), picture->devicePixelRatioF()));
            cells.append(picture);
        }
        cells.append(new TextLabel(name, Size::caption, QFont::Normal, TextRole::tertiary));
        static_cast<TextLabel*>(cells.last())->setElided(true);
        grid->addWidget(row(cells), index / 2, index % 2);
        ++index;
    }
    sheet->setFixedWidth(820);
    return sheet;
}

QWidget* focusedButton(BrandButton::Kind kind) {
    auto* button = new BrandButton(kind);
    button->setText(QStringLiteral("Focused"));
    return button;
}

[[maybe_unused]] const bool kAdded = [] {
    addShot(QStringLiteral("symbols"), symbolSheet);
    const struct {
        const char16_t* name;
        std::function<QWidget*()> make;
    } focused[] = {
        {u"primary", [] { return focusedButton(BrandButton::Kind::primary); }},
        {u"secondary", [] { return focusedButton(BrandButton::Kind::secondary); }},
        {u"destructive", [] { return focusedButton(BrandButton::Kind::destructive); }},
        {u"switch",
         [] {
             auto* toggle = new BrandSwitch;
             toggle->setChecked(true);
             return toggle;
         }},
        {u"icon",
         [] {
             return new IconButton(QStringLiteral("gearshape"), QStringLiteral("Settings"), {});
         }},
        {u"choice",
         [] {
             auto* choice = new ChoiceControl;
             choice->setChoices({QStringLiteral("中文"), QStringLiteral("English")});
             choice->setCurrent(1);
             return choice;
         }},
        {u"field", [] { return new TextField(QStringLiteral("Studio")); }},
    };
    for (const auto& each : focused) {
        addShot(QStringLiteral("focus-") + QString::fromUtf16(each.name),
                [make = each.make] { return focusSheet(make); });
    }
    return true;
}();

} // namespace

} // namespace sorrelwind::test
