#pragma once

#include "clipboard/pasteboard.h"

#include <utility>

namespace sorrelwind {

/// Stands in where no desktop clipboard can be reached: always empty, takes no text.
class NullPasteboard final : public Pasteboard {
public:
    explicit NullPasteboard(Sentence reason) : m_reason(std::move(reason)) {}

    [[nodiscard]] qint64 changeCount() const override { return 0; }
    [[nodiscard]] QStringList types() const override { return {}; }
    [[nodiscard]] std::optional<QString> string() const override { return std::nullopt; }
    void setString(const QString&) override {}
    [[nodiscard]] QString backend() const override { return QStringLiteral("none"); }
    [[nodiscard]] bool available() const override { return false; }
    [[nodiscard]] Sentence unavailableReason() const override { return m_reason; }

private:
    Sentence m_reason;
};

} // namespace sorrelwind
