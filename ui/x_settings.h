#pragma once

#include <QAbstractNativeEventFilter>
#include <QByteArrayView>
#include <QObject>
#include <QString>

#include <cstdint>
#include <optional>

namespace sorrelwind {

/// A theme of GTK's, as far as it tells dark from light.
struct GtkTheme {
    QString name; // empty when it is not said
    std::optional<bool> prefersDark;

    /// None when nothing is said.
    [[nodiscard]] std::optional<bool> dark() const;
};

/// The theme in a value of _XSETTINGS_SETTINGS (freedesktop.org, XSETTINGS 0.5); none when the
/// value is not one. Takes rubbish of any kind.
[[nodiscard]] std::optional<GtkTheme> gtkThemeIn(QByteArrayView property);

/// The theme that a settings daemon tells the programs of an X11 session, and its changes. Without
/// X11 or a daemon there is none.
class XSettings final : public QObject, private QAbstractNativeEventFilter {
    Q_OBJECT
public:
    XSettings();
    ~XSettings() override;

    [[nodiscard]] const std::optional<GtkTheme>& theme() const { return m_theme; }

Q_SIGNALS:
    void changed();

private:
    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;
    void look();

    uint32_t m_selection = 0; // atoms and a window of the X server
    uint32_t m_property = 0;
    uint32_t m_manager = 0;
    uint32_t m_owner = 0;
    std::optional<GtkTheme> m_theme;
};

} // namespace sorrelwind
