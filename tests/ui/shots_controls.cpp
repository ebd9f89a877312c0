#include "base/l10n.h"
#include "tests/ui/screenshots.h"
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
#include "ui/menu_bar_icon.h"
#include "ui/palette.h"
#include "ui/symbol.h"

#include <QDir>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QTimer>

// The controls and the symbols, each on one sheet in all their states.

namespace sorrelwind::test {

namespace {

using Size = Palette::TextSize;

/// A row of things with equal gaps, packed to the left.
QWidget* row(const QList<QWidget*>& widgets, int margin = 0) {
    auto* host = new QWidget;
    auto* layout = new QHBoxLayout(host);
    layout->setContentsMargins(margin, margin, margin, margin);
    layout->setSpacing(Palette::Space::s3);
    for (QWidget* widget : widgets)
        layout->addWidget(widget);
    layout->addStretch();
    return host;
}

/// A row of a card: a text at the left, a control at the right.
QWidget* setting(const QString& text, QWidget* control) {
    auto* host = new QWidget;
    auto* layout = new QHBoxLayout(host);
    layout->setContentsMargins(Palette::Space::s4, Palette::Space::s2, Palette::Space::s4,
                               Palette::Space::s2);
    auto* label = new TextLabel(text, Size::footnote);
    label->setElided(true);
    layout->addWidget(label, 1);
    layout->addWidget(control);
    return host;
}

QWidget* buttons(BrandButton::Kind kind, const L10n& l10n) {
    auto* plain = new BrandButton(kind);
    plain->setText(l10n.text(u"完成", u"Done"));
    auto* symbol = new BrandButton(kind);
    symbol->setSymbol(QStringLiteral("link"));
    symbol->setText(l10n.text(u"复制配对链接", u"Copy Pairing Link"));
    auto* down = new BrandButton(kind);
    down->setText(l10n.text(u"按下", u"Pressed"));
    down->setDown(true);
    auto* disabled = new BrandButton(kind);
    disabled->setText(l10n.text(u"不可用", u"Disabled"));
    disabled->setEnabled(false);
    return row({plain, symbol, down, disabled});
}

QWidget* switches() {
    auto* on = new BrandSwitch;
    on->setChecked(true);
    auto* off = new BrandSwitch;
    auto* disabled = new BrandSwitch;
    disabled->setChecked(true);
    disabled->setEnabled(false);
    QList<QWidget*> widgets{on, off, disabled};
    for (const char16_t* name : {u"gearshape", u"ellipsis", u"eye", u"doc.on.doc"})
        widgets.append(new IconButton(QString::fromUtf16(name), QStringLiteral("Help"), {}));
    auto* remove = new IconButton(QStringLiteral("minus.circle.fill"), QStringLiteral("Help"), {});
    remove->setRole(TextRole::danger);
    auto* down = new IconButton(QStringLiteral("gearshape"), QStringLiteral("Help"), {});
    down->setDown(true);
    widgets << remove << down;
    for (const auto role :
         {TextRole::tertiary, TextRole::warning, TextRole::success, TextRole::danger})
        widgets.append(new StatusDot(role));
    return row(widgets);
}

QWidget* badges() {
    QList<QWidget*> widgets{new LogoTile(88), new LogoTile(40), new LogoTile(26)};
    for (const char16_t* name : {u"laptopcomputer", u"ipad", u"iphone"})
        widgets.append(new SymbolBadge(QString::fromUtf16(name), 32));
    widgets << new SymbolBadge(QStringLiteral("arrow.triangle.2.circlepath"), 42);
    for (const int size : {16, 21, 32}) {
        auto* icon = new QLabel;
        icon->setPixmap(menuBarIcon(size, Palette::Role::text(), icon->devicePixelRatioF()));
        widgets.append(icon);
    }
    return row(widgets);
}

QWidget* texts(const L10n& l10n) {
    auto* host = new QWidget;
    auto* layout = new QVBoxLayout(host);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(
        new TextLabel(l10n.text(u"添加设备", u"Add a Device"), Size::title2, QFont::Bold));
    layout->addWidget(
        new TextLabel(l10n.text(u"剪贴板同步", u"Clipboard Sync"), Size::callout, QFont::DemiBold));
    const struct {
        TextRole role;
        QString name;
    } roles[] = {{TextRole::primary, l10n.text(u"主要文字", u"Primary")},
                 {TextRole::secondary, l10n.text(u"次要文字", u"Secondary")},
                 {TextRole::tertiary, l10n.text(u"第三级", u"Tertiary")},
                 {TextRole::accent, l10n.text(u"强调", u"Accent")},
                 {TextRole::warning, l10n.text(u"警告", u"Warning")},
                 {TextRole::danger, l10n.text(u"危险", u"Danger")},
                 {TextRole::success, l10n.text(u"成功", u"Success")}};
    QList<QWidget*> labels;
    for (const auto& each : roles) {
        auto* label = new TextLabel(each.name, Size::footnote, QFont::Normal, each.role);
        label->setElided(true);
        labels.append(label);
    }
    layout->addWidget(row(labels));
    layout->addWidget(new TextLabel(
        l10n.text(u"链接含加密密钥，只发给你自己的设备；这一行很长，因此要换行，看看中文的断行是否"
                  u"自然，标点有没有落到行首。",
                  u"The link contains the encryption key — only send it to your own "
                  u"devices. This line is long enough to wrap onto a second one."),
        Size::caption, QFont::Normal, TextRole::tertiary));
    return host;
}

Card* settings(const L10n& l10n) {
    auto* card = new Card;
    auto* name = new TextField(QStringLiteral("Studio"));
    card->addRow(setting(l10n.text(u"设备名称", u"Device name"), name));
    auto* choice = new ChoiceControl;
    choice->setChoices({l10n.text(u"跟随系统", u"System"), l10n.text(u"浅色", u"Light"),
                        l10n.text(u"深色", u"Dark")});
    card->addRow(setting(l10n.text(u"外观", u"Appearance"), choice));
    auto* toggle = new BrandSwitch;
    toggle->setChecked(true);
    card->addRow(
        setting(l10n.text(u"每次复制后显示气泡", u"Show a bubble after each copy"), toggle));
    auto* leave = new BrandButton(BrandButton::Kind::destructive);
    leave->setText(l10n.text(u"离开群组…", u"Leave Group…"));
    card->addRow(setting(
        l10n.text(u"3 台设备 · 端到端加密 · 名字太长的时候会被省略而不会挤压按钮的位置",
                  u"3 devices · end-to-end encrypted · too long a text gives way to the button"),
        leave));
    return card;
}

std::unique_ptr<QWidget> controlSheet() {
    const L10n l10n(shotDefaults());
    auto sheet = std::make_unique<QWidget>();
    auto* layout = new QVBoxLayout(sheet.get());
    layout->setContentsMargins(24, 24, 24, 24);
    layout->setSpacing(Palette::Space::s4);
    layout->addWidget(badges());
    for (const auto kind :
         {BrandButton::Kind::primary, BrandButton::Kind::secondary, BrandButton::Kind::destructive})
        layout->addWidget(buttons(kind, l10n));
    layout->addWidget(switches());
    layout->addWidget(settings(l10n));
    auto* empty = new TextField;
    empty->setPlaceholderText(l10n.text(u"粘贴链接或配对码", u"Paste a link or code"));
    auto* faulty = new TextField(QStringLiteral("hub.example:87870"));
    faulty->setFaulty(true);
    auto* disabled = new TextField(QStringLiteral("hub.example"));
    disabled->setEnabled(false);
    layout->addWidget(row({empty, faulty, disabled}));
    layout->addWidget(texts(l10n));
    auto* wide = new BrandButton(BrandButton::Kind::primary, true);
    wide->setText(l10n.text(u"创建群组", u"Create Group"));
    layout->addWidget(wide);
    // What wraps makes the height depend on the width, which a window does not ask for by itself.
    constexpr int kWidth = 660;
    sheet->setFixedSize(kWidth, layout->totalHeightForWidth(kWidth));
    return sheet;
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
    addShot(QStringLiteral("controls"), controlSheet);
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
