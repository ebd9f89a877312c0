#include "ui/qr_card.h"

#include "ui/controls/brand_button.h"
#include "ui/controls/text_label.h"
#include "ui/palette.h"
#include "ui/qr_code.h"
#include "ui/symbol_view.h"

#include <QPainter>
#include <QVBoxLayout>

#include <chrono>

namespace sorrelwind {

namespace {

constexpr int kSide = 220;
constexpr int kPadding = 8; // light around the code, which readers need
constexpr int kShadow = 10;
constexpr int kWait = 32;
constexpr std::chrono::milliseconds kWaitAfter{300};
constexpr double kVeil = 0.93; // over an expired code

} // namespace

QrCard::QrCard(QWidget* parent)
    : QWidget(parent), m_wait(new SymbolView(kWait, TextRole::accent,
                                             QStringLiteral("arrow.triangle.2.circlepath"), this)),
      m_overlay(new QWidget(this)),
      m_expiredText(new TextLabel({}, Palette::TextSize::callout, QFont::DemiBold)),
      m_renew(new BrandButton(BrandButton::Kind::primary)) {
    constexpr int kOuter = kSide + 2 * (kPadding + kShadow);
    setFixedSize(kOuter, kOuter);
    m_wait->move((kOuter - kWait) / 2, (kOuter - kWait) / 2);
    m_wait->setTurning(true);
    m_wait->hide();
    m_waitSoon.setSingleShot(true);
    m_waitSoon.setInterval(kWaitAfter);
    connect(&m_waitSoon, &QTimer::timeout, m_wait, &QWidget::show);
    m_waitSoon.start();
    m_expiredText->setAlignment(Qt::AlignCenter);
    connect(m_renew, &QAbstractButton::clicked, this, &QrCard::renew);
    auto* column = new QVBoxLayout(m_overlay);
    column->setSpacing(Palette::Space::s3);
    column->addStretch();
    column->addWidget(m_expiredText);
    column->addWidget(m_renew, 0, Qt::AlignHCenter);
    column->addStretch();
    m_overlay->setGeometry(rect());
    m_overlay->hide();
}

void QrCard::setUrl(const QString& url) {
    if (m_url == url)
        return;
    m_url = url;
    m_image = {};
    if (url.isEmpty()) {
        m_waitSoon.start();
    } else {
        m_waitSoon.stop();
        m_wait->hide();
    }
    update();
}

void QrCard::setExpired(bool expired) {
    m_overlay->setVisible(expired);
    update();
}

void QrCard::setTexts(const QString& description, const QString& expired, const QString& renew) {
    setAccessibleName(description);
    m_expiredText->setText(expired);
    m_renew->setText(renew);
    m_renew->updateGeometry();
}

void QrCard::paintEvent(QPaintEvent*) {
    const qreal ratio = devicePixelRatioF();
    if (!m_url.isEmpty() && (m_image.isNull() || m_image.devicePixelRatio() != ratio)) {
        m_image = QRCode::image(m_url, qRound(kSide * ratio));
        m_image.setDevicePixelRatio(ratio);
    }

    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF card = QRectF(rect()).adjusted(kShadow, kShadow, -kShadow, -kShadow);
    painter.setPen(Qt::NoPen);
    for (int i = kShadow; i > 0; --i) {
        const double strength = 1 - static_cast<double>(i) / kShadow;
        painter.setBrush(QColor(0, 0, 0, static_cast<int>(1 + 6 * strength * strength)));
        painter.drawRoundedRect(card.adjusted(-i, -i, i, i).translated(0, 2),
                                Palette::Radius::md + i, Palette::Radius::md + i);
    }
    const auto cover = [&](QColor colour, double opacity) {
        colour.setAlphaF(static_cast<float>(opacity));
        painter.setBrush(colour);
        painter.drawRoundedRect(card, Palette::Radius::md, Palette::Radius::md);
    };
    if (m_url.isEmpty()) {
        cover(Palette::Role::surface(), 1);
        return;
    }
    // Readers want dark on light, whatever the appearance is.
    cover(Qt::white, 1);
    painter.drawImage(QRectF(kPadding + kShadow, kPadding + kShadow, kSide, kSide), m_image);
    if (!m_overlay->isHidden())
        cover(Palette::Role::surface(), kVeil);
}

} // namespace sorrelwind
