#pragma once

#include "core/app_model.h"

#include <QHash>
#include <QTimer>
#include <QWidget>

#include <functional>

class QScrollArea;
class QVBoxLayout;

namespace sorrelwind {

class ActivityRow;
class DeviceRow;
class EmptyDevices;
class IconButton;
class SyncCard;
class TextButton;
class TextLabel;

/// What the status panel asks of the coordinator.
struct StatusActions {
    std::function<void()> addDevice, openSettings, quit;
    std::function<void()> resized; // the panel's content wants another size
};

/// The content of the status panel: the state of the sync, the last copies, the devices, and what a
/// user needs daily. It draws the model's state at each of its changes, and each minute for the
/// relative times, but only while it can be seen.
class StatusView final : public QWidget {
    Q_OBJECT
public:
    StatusView(AppModel& model, const L10n& l10n, StatusActions actions);
    ~StatusView() override;

    void render();
    /// The size that shows everything, or, where that is taller than `tallest`, the one in which
    /// the devices scroll.
    [[nodiscard]] QSize fit(int tallest);
    /// Withdraws the questions that are open; false when there is none.
    bool dropQuestions();
    /// Forgets open questions, old errors and where the focus was.
    void reset();

    /// The menu behind the "more" button, as it is now.
    struct MenuTexts {
        QString pause, quit;
    };
    [[nodiscard]] MenuTexts menuTexts() const;

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    [[nodiscard]] QWidget* header();
    [[nodiscard]] QWidget* banner();
    [[nodiscard]] QWidget* devicesHeading();
    [[nodiscard]] QWidget* devicesList();
    [[nodiscard]] QWidget* footer();
    void renderActivity(ActivityRow& row, const std::optional<Activity>& activity);
    void renderDevices();
    void showMore();
    Task<> remove(QString id);

    AppModel& m_model;
    const L10n& m_l10n;
    StatusActions m_actions;
    std::optional<Sentence> m_removeError;
    QTimer m_minute;

    IconButton* m_settings = nullptr;
    IconButton* m_more = nullptr;
    QWidget* m_banner = nullptr;
    TextLabel* m_warning = nullptr;
    TextButton* m_cancelDerivation = nullptr;
    TextButton* m_enterPassphrase = nullptr;
    SyncCard* m_card = nullptr;
    ActivityRow* m_sent = nullptr;
    ActivityRow* m_received = nullptr;
    TextLabel* m_heading = nullptr;
    TextLabel* m_count = nullptr;
    TextButton* m_add = nullptr;
    QScrollArea* m_scroll = nullptr;
    QVBoxLayout* m_rows = nullptr;
    QHash<QString, DeviceRow*> m_rowOf; // by device id
    EmptyDevices* m_empty = nullptr;
    TextLabel* m_promise = nullptr;
    TaskScope m_tasks;
};

} // namespace sorrelwind
