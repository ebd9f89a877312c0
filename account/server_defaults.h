#pragma once

#include <QString>

#include <optional>

namespace sorrelwind {

/// Which hub to speak to, and how its address is written.
class ServerDefaults {
public:
    /// The environment's SORRELWIND_SERVER when it is an address, else the built-in hub. Where none
    /// was built in, that is a name reserved for examples (RFC 2606), which no hub answers at.
    [[nodiscard]] static QString initial();
    /// initial() where a hub may answer at it, else none.
    [[nodiscard]] static std::optional<QString> offered();

    /// Whether `address` is the hub that is built in.
    [[nodiscard]] static bool isBuiltIn(const QString& address);

    /// The canonical base address, "https://" or "http://", host and port, without a final slash;
    /// none when `text` cannot be a hub's address. A missing scheme is https; wss and ws become
    /// https and http; path, query and fragment go (RFC 3986); schemes are case-sensitive here.
    [[nodiscard]] static std::optional<QString> normalize(const QString& text);
};

} // namespace sorrelwind
