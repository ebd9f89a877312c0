#include "ui/floating_card.h"

#include "ui/compositor.h"
#include "ui/palette.h"
#include "ui/placement.h"

#include <QGuiApplication>
#include <QPainter>
#include <QScreen>
#include <QVBoxLayout>

namespace sorrelwind {

namespace {

QList<ScreenGeometry> screens() {
    QList<ScreenGeometry> all;
    // The primary screen comes first.
    for (const QScreen* screen : QGuiApplication::screens())
        all.append({screen->geometry(), screen->availableGeometry()});
    return all;
}

} // namespace

FloatingCard::FloatingCard(Qt::WindowFlags flags, int radius, int shadow)
    : QWidget(nullptr, flags | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint),
      m_radius(radius), m_shadow(shadow) {
    setAttribute(Qt::WA_TranslucentBackground);
    connect(&m_fade, &QVariantAnimation::valueChanged, this,
            [this](const QVariant& opacity) { setOpacity(opacity.toDouble()); });
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(shadow, shadow, shadow, shadow);
    // The size is said, and may be less than what the last content needed.
    layout->setSizeConstraint(QLayout::SetNoConstraint);
}

void FloatingCard::setContent(QWidget* content) {
    delete m_content;
    m_content = content;
    layout()->addWidget(content);
    content->show(); // at once, also in a card that is seen already
}

QRect FloatingCard::cardRect() const {
    return rect().marginsRemoved(layout()->contentsMargins());
}

void FloatingCard::placeUnder(std::optional<QRect> anchor, QSize size, int gap) {
    m_composited = isComposited();
    const int margin = m_composited ? m_shadow : 0;
    layout()->setContentsMargins(margin, margin, margin, margin);
    const QMargins margins(margin, margin, margin, margin);
    if (desktopPlacesWindows()) {
        setFixedSize(size.grownBy(margins)); // what has one size is not made to fill the screen
    } else {
        setGeometry(frameUnder(size, anchor, screens(), gap).marginsAdded(margins));
    }
    layout()->activate();
    update();
}

int FloatingCard::tallest(std::optional<QRect> anchor, int gap) {
    return tallestUnder(anchor, screens(), gap);
}

void FloatingCard::setOpacity(double opacity) {
    if (desktopPlacesWindows())
        return; // Wayland has no opacity either
    setWindowOpacity(opacity);
    // On X11 the new value stays in Qt's buffer until something is drawn.
    update(0, 0, 1, 1);
}

void FloatingCard::fadeTo(double opacity, std::chrono::milliseconds duration,
                          std::function<void()> done) {
    m_fade.stop();
    disconnect(&m_fade, &QVariantAnimation::finished, this, nullptr);
    m_fade.setStartValue(windowOpacity());
    m_fade.setEndValue(opacity);
    m_fade.setDuration(static_cast<int>(duration.count()));
    if (done)
        connect(&m_fade, &QVariantAnimation::finished, this, std::move(done));
    m_fade.start();
}

void FloatingCard::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    if (!m_composited) { // whatever is not opaque would be black
        painter.setPen(Palette::Role::separatorStrong());
        painter.setBrush(Palette::Role::surface());
        painter.drawRect(rect().adjusted(0, 0, -1, -1));
        return;
    }
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const QRectF card = cardRect();
    const int reach = m_shadow;
    // Many faint layers, each smaller than the one below, add up to a blur; it falls downwards.
    for (int i = reach; i > 0; --i) {
        const double strength = 1 - static_cast<double>(i) / reach;
        painter.setBrush(QColor(0, 0, 0, static_cast<int>(1 + 4 * strength * strength)));
        const double grow = i * 0.8;
        painter.drawRoundedRect(card.adjusted(-grow, -grow, grow, grow).translated(0, reach / 5.0),
                                m_radius + grow, m_radius + grow);
    }
    painter.setBrush(Palette::Role::surface());
    QColor line = Palette::Role::text();
    line.setAlphaF(0.1F);
    painter.drawRoundedRect(card, m_radius, m_radius);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(line, 0.5));
    painter.drawRoundedRect(card.adjusted(0.25, 0.25, -0.25, -0.25), m_radius - 0.25,
                            m_radius - 0.25);
}

} // namespace sorrelwind
