#include "ui/status_panel.h"

#include "ui/compositor.h"
#include "ui/floating_card.h"
#include "ui/palette.h"

#include <QGuiApplication>
#include <QKeyEvent>

namespace sorrelwind {

namespace {

constexpr int kGap = 5;   // under the status item
constexpr int kNear = 11; // half an icon: hosts tell at best where in it a click was
constexpr int kShadow = Palette::Space::s6;
constexpr std::chrono::milliseconds kFadeIn{120};
constexpr std::chrono::milliseconds kFadeOut{100};

/// A pop-up: a click anywhere else, also one on the status item, is spent on closing it. Where the
/// desktop places windows it is a dialog that goes with its focus.
class KeyablePanel final : public FloatingCard {
public:
    using PressedOutside = std::function<void(QPoint place, Qt::MouseButton button)>;

    KeyablePanel(std::function<void()> dismiss, PressedOutside pressedOutside)
        : FloatingCard(desktopPlacesWindows() ? Qt::Dialog : Qt::Popup, Palette::Radius::md,
                       kShadow),
          m_dismiss(std::move(dismiss)), m_pressedOutside(std::move(pressedOutside)) {}

protected:
    void keyPressEvent(QKeyEvent* event) override {
        if (event->key() == Qt::Key_Escape)
            m_dismiss();
        else
            FloatingCard::keyPressEvent(event);
    }
    void mousePressEvent(QMouseEvent* event) override {
        if (!cardRect().contains(event->position().toPoint()))
            m_pressedOutside(event->globalPosition().toPoint(), event->button());
    }

private:
    std::function<void()> m_dismiss;
    PressedOutside m_pressedOutside;
};

} // namespace

StatusPanelController::StatusPanelController(AppModel& model, const L10n& l10n,
                                             StatusActions actions)
    : m_view(new StatusView(model, l10n, std::move(actions))),
      m_panel(std::make_unique<KeyablePanel>(
          [this] {
              if (!m_view->dropQuestions())
                  close();
          },
          [this](QPoint place, Qt::MouseButton button) { pressedOutside(place, button); })) {
    m_panel->setContent(m_view);
    m_panel->setWindowTitle(QStringLiteral("Sorrelwind"));
    m_resize.setSingleShot(true);
    QObject::connect(&m_resize, &QTimer::timeout, m_panel.get(), [this] { place(); });
    QObject::connect(qGuiApp, &QGuiApplication::applicationStateChanged, m_panel.get(),
                     [this](Qt::ApplicationState state) {
                         if (state == Qt::ApplicationInactive)
                             close();
                     });
}

StatusPanelController::~StatusPanelController() = default;

void StatusPanelController::setAnchor(std::function<std::optional<QRect>()> anchor) {
    m_anchor = std::move(anchor);
}

void StatusPanelController::place() {
    const std::optional<QRect> anchor = m_anchor ? m_anchor() : std::nullopt;
    const QSize size = m_view->fit(FloatingCard::tallest(anchor, kGap));
    m_panel->placeUnder(anchor, size, kGap);
}

void StatusPanelController::show() {
    m_view->reset();
    m_view->render();
    m_resize.stop();
    place();
    m_shown = true;
    m_panel->setOpacity(0);
    m_panel->show();
    m_panel->raise();
    m_panel->activateWindow();
    m_panel->fadeTo(1, kFadeIn);
}

bool StatusPanelController::isVisible() const {
    return m_shown && m_panel->isVisible();
}

void StatusPanelController::close() {
    if (!isVisible())
        return;
    m_shown = false;
    m_panel->fadeTo(0, kFadeOut, [this] { m_panel->hide(); });
}

void StatusPanelController::pressedOutside(QPoint place, Qt::MouseButton button) {
    close();
    const std::optional<QRect> icon = m_anchor ? m_anchor() : std::nullopt;
    if (button != Qt::LeftButton && icon && onMenuRequested &&
        icon->adjusted(-kNear, -kNear, kNear, kNear).contains(place))
        onMenuRequested();
}

void StatusPanelController::contentChanged() {
    if (isVisible())
        m_resize.start(0);
}

} // namespace sorrelwind
