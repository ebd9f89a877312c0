#include "ui/status_item.h"

#include "ui/status_notifier_item.h"
#include "ui/xembed_status_item.h"

#include <QGuiApplication>
#include <QMenu>
#include <QScreen>

namespace sorrelwind {

namespace {

// How far from the screen's right edge the menu opens when nobody knows where the icon is.
constexpr int kFromRight = 200;

class DesktopStatusItem final : public StatusItem {
public:
    explicit DesktopStatusItem(std::optional<QDBusConnection> bus) : m_notifier(std::move(bus)) {
        forward(m_notifier);
        connect(&m_notifier, &StatusNotifierItem::hostedChanged, this, &DesktopStatusItem::choose);
        m_notifier.start();
    }

    void setDimmed(bool dimmed) override {
        m_dimmed = dimmed;
        m_notifier.setDimmed(dimmed);
        if (m_xembed)
            m_xembed->setDimmed(dimmed);
    }

    void setToolTip(const QString& text) override {
        m_toolTip = text;
        m_notifier.setToolTip(text);
        if (m_xembed)
            m_xembed->setToolTip(text);
    }

    void setMenu(const QList<MenuEntry>& entries) override { m_notifier.setMenu(entries); }

    [[nodiscard]] std::optional<QRect> anchor() const override {
        return m_xembed ? m_xembed->anchor() : m_notifier.anchor();
    }

    [[nodiscard]] bool hosted() const override {
        return m_xembed ? m_xembed->hosted() : m_notifier.hosted();
    }

private:
    // QSystemTrayIcon settles for good on one of the two protocols when the first one is made, so
    // none is made before it is certain that it has to be the X11 one.
    void choose() {
        if (m_notifier.hosted()) {
            m_xembed.reset();
        } else if (!m_xembed) {
            m_xembed = std::make_unique<XembedStatusItem>();
            forward(*m_xembed);
            m_xembed->setDimmed(m_dimmed);
            m_xembed->setToolTip(m_toolTip);
        }
    }

    void forward(StatusItem& item) {
        connect(&item, &StatusItem::clicked, this, &StatusItem::clicked);
        connect(&item, &StatusItem::menuRequested, this, &StatusItem::menuRequested);
    }

    bool m_dimmed = false;
    QString m_toolTip;
    StatusNotifierItem m_notifier;
    std::unique_ptr<XembedStatusItem> m_xembed;
};

} // namespace

void StatusItem::popUp(QMenu& menu) const {
    if (const auto icon = anchor()) {
        menu.popup(icon->bottomLeft() + QPoint(0, 1));
        return;
    }
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    menu.popup(screen.topRight() - QPoint(kFromRight + menu.sizeHint().width(), 0));
}

std::unique_ptr<StatusItem> makeStatusItem(std::optional<QDBusConnection> bus) {
    return std::make_unique<DesktopStatusItem>(std::move(bus));
}

} // namespace sorrelwind
