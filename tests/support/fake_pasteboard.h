#pragma once

#include "clipboard/pasteboard.h"

#include <utility>

namespace sorrelwind::test {

/// A pasteboard in memory. The copy… operations play another program of the desktop; `writes`
/// counts what the program under test put there itself.
class FakePasteboard final : public Pasteboard {
public:
    int writes = 0;

    void copyText(const QString& text) { copy({u"text/plain"_qs}, text); }
    void copyConcealed(const QString& text) {
        copy({u"text/plain"_qs, QString(kConcealedType)}, text);
    }
    void copyTooLarge() {
        m_tooLarge = true;
        copy({u"text/plain"_qs}, std::nullopt);
        m_tooLarge = false;
    }
    void copyImage() { copy({u"image/png"_qs}, std::nullopt); }
    void copy(const QStringList& types, const std::optional<QString>& text) {
        ++m_count;
        m_types = types;
        m_text = text;
        Q_EMIT changed();
    }
    /// The owner exits: the pasteboard is empty, which is not a copy.
    void clear() {
        m_types.clear();
        m_text.reset();
    }
    void setAvailable(bool available) {
        if (std::exchange(m_available, available) != available)
            Q_EMIT availabilityChanged();
    }

    [[nodiscard]] qint64 changeCount() const override { return m_count; }
    [[nodiscard]] QStringList types() const override { return m_types; }
    [[nodiscard]] std::optional<QString> string() const override { return m_text; }
    [[nodiscard]] bool tooLarge() const override { return m_tooLarge; }
    void setString(const QString& text) override {
        if (!m_available)
            return;
        ++m_count;
        ++writes;
        m_types = {u"text/plain"_qs};
        m_text = text;
    }
    void setSecret(const QString& text) override {
        setString(text);
        m_types.append(kConcealedType);
    }
    [[nodiscard]] QString backend() const override { return u"fake"_qs; }
    [[nodiscard]] bool available() const override { return m_available; }
    [[nodiscard]] Sentence unavailableReason() const override {
        return m_available ? Sentence() : Sentence::of(u"已关闭", u"switched off");
    }

private:
    qint64 m_count = 1;
    QStringList m_types;
    std::optional<QString> m_text;
    bool m_tooLarge = false;
    bool m_available = true;
};

} // namespace sorrelwind::test
