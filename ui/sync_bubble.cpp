#include "ui/sync_bubble.h"

#include "ui/compositor.h"
#include "ui/floating_card.h"
#include "ui/palette.h"
#include "ui/symbol.h"
#include "ui/text_font.h"

#include <QPainter>

namespace sorrelwind {

namespace {

constexpr int kHeight = 32;
constexpr int kGap = 6; // under the status item
constexpr std::chrono::milliseconds kFrame{16};

BubbleTimeline::Time now() {
    return std::chrono::duration_cast<BubbleTimeline::Time>(
        std::chrono::steady_clock::now().time_since_epoch());
}

/// One row: the kind's icon and the text.
class BubbleView final : public QWidget {
public:
    BubbleView(const QString& text, BubbleKind kind) : m_text(text), m_kind(kind) {
        setFont(textFont(Palette::TextSize::caption, QFont::Medium));
        setFixedSize(kLeading + kIcon + kSpacing + fontMetrics().horizontalAdvance(text) +
                         kTrailing,
                     kHeight);
        setAccessibleName(text);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        const QRectF icon(kLeading, (kHeight - kIcon) / 2.0, kIcon, kIcon);
        switch (m_kind) {
        case BubbleKind::success:
            paintSymbol(painter, QStringLiteral("checkmark.circle.fill"), icon,
                        Palette::Role::success(), Palette::Role::surface());
            break;
        case BubbleKind::failure:
            paintSymbol(painter, QStringLiteral("exclamationmark.circle.fill"), icon,
                        Palette::Role::warning(), Palette::Role::surface());
            break;
        case BubbleKind::info:
            paintSymbol(painter, QStringLiteral("info.circle.fill"), icon, Brand::accentText(),
                        Palette::Role::surface());
            break;
        }
        painter.setPen(Palette::Role::text());
        painter.drawText(rect().adjusted(kLeading + kIcon + kSpacing, 0, 0, 0), Qt::AlignVCenter,
                         m_text);
    }

private:
    static constexpr int kLeading = 11;
    static constexpr int kTrailing = 14;
    static constexpr int kIcon = 15;
    static constexpr int kSpacing = 8;

    QString m_text;
    BubbleKind m_kind;
};

} // namespace

SyncBubble::SyncBubble(std::chrono::milliseconds visibleFor) : m_timeline(visibleFor) {
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { step(); });
}

SyncBubble::~SyncBubble() = default;

std::unique_ptr<QWidget> SyncBubble::view(const QString& text, BubbleKind kind) {
    return std::make_unique<BubbleView>(text, kind);
}

bool SyncBubble::isVisible() const {
    return m_panel && m_panel->isVisible();
}

void SyncBubble::show(const QString& text, BubbleKind kind, std::optional<QRect> below) {
    if (desktopPlacesWindows())
        return; // it would appear over somebody's work; the panel says the same
    if (!m_panel) {
        // A tool tip to the window manager: above all windows, on every desktop, never focused.
        m_panel = std::make_unique<FloatingCard>(Qt::ToolTip | Qt::WindowStaysOnTopHint |
                                                     Qt::WindowDoesNotAcceptFocus |
                                                     Qt::WindowTransparentForInput,
                                                 kHeight / 2, Palette::Space::s3);
        m_panel->setAttribute(Qt::WA_ShowWithoutActivating);
        m_panel->setAttribute(Qt::WA_TransparentForMouseEvents);
    }
    auto content = view(text, kind);
    const QSize size = content->size();
    m_panel->setContent(content.release());
    m_panel->placeUnder(below, size, kGap);
    m_timeline.show(now());
    step();
}

void SyncBubble::step() {
    const auto time = now();
    const auto steady = m_timeline.steadyFor(time);
    if (!steady) {
        m_panel->hide();
        return;
    }
    m_panel->setOpacity(m_timeline.opacity(time));
    m_panel->show();
    m_timer.start(std::max(*steady, kFrame));
}

} // namespace sorrelwind
