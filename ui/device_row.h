#pragma once

#include "base/l10n.h"
#include "hub/wire_records.h"

#include <QDateTime>
#include <QWidget>

#include <functional>

namespace sorrelwind {

class BrandButton;
class IconButton;
class StatusDot;
class SymbolBadge;
class TextLabel;

/// One device of the group in the status panel. Another device than this one can be removed, which
/// the row asks about first; whether it is asking is the only state it keeps.
class DeviceRow final : public QWidget {
    Q_OBJECT
public:
    explicit DeviceRow(QWidget* parent = nullptr);

    void setDevice(const DeviceInfo& device, bool isSelf, const QDateTime& now, Lang lang);
    [[nodiscard]] const DeviceInfo& device() const { return m_device; }
    [[nodiscard]] bool isConfirming() const { return m_confirming; }
    void setConfirming(bool confirming);

    std::function<void(const QString& id)> onRemove;
    /// It grew or shrank.
    std::function<void()> onResized;

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void showParts();

    SymbolBadge* m_badge;
    TextLabel* m_name;
    TextLabel* m_subtitle;
    StatusDot* m_online;
    IconButton* m_remove;
    QWidget* m_question;
    TextLabel* m_ask;
    TextLabel* m_note;
    BrandButton* m_cancel;
    BrandButton* m_confirm;

    DeviceInfo m_device;
    bool m_isSelf = false;
    bool m_confirming = false;
};

} // namespace sorrelwind
