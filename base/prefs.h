#pragma once

#include <QString>

#include <functional>
#include <optional>

namespace sorrelwind {

class Defaults;

/// The user's display preferences. Holds no state of its own: every read goes to the store.
class Prefs {
public:
    enum class Appearance { system, light, dark };
    /// Gives the whole application a light or dark look; `system` follows the desktop from now on.
    using Applier = std::function<void(Appearance)>;

    /// A program without windows has no applier.
    explicit Prefs(Defaults& defaults, Applier applier = {})
        : m_defaults(defaults), m_applier(std::move(applier)) {}

    /// Exact, case-sensitive; any text but "system", "light" and "dark" yields none.
    [[nodiscard]] static std::optional<Appearance> appearanceFromName(const QString& name);

    [[nodiscard]] Appearance appearance() const;
    /// Stores and applies it.
    void setAppearance(Appearance appearance);
    void applyAppearance() const;

    /// Whether a copy is confirmed by a bubble; true unless a boolean false is stored.
    [[nodiscard]] bool showSyncBubble() const;
    void setShowSyncBubble(bool show);

private:
    Defaults& m_defaults;
    Applier m_applier;
};

} // namespace sorrelwind
