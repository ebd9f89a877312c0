#pragma once

#include "base/l10n.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <optional>

namespace sorrelwind {

/// The desktop's clipboard as this program sees it: a counter of changes and a snapshot of the
/// newest one. A back-end fetches a foreign selection by itself and raises the count only when the
/// snapshot is whole, so that no reader ever waits for another program. Owned by main, lives on the
/// main thread.
class Pasteboard : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    /// Raised by one with every foreign change and with every write of our own. A foreign change
    /// that could not be read counts too, with no string. What lay there at the start does not.
    [[nodiscard]] virtual qint64 changeCount() const = 0;
    /// The types that the newest owner offers. A secret that the desktop marks in another way is
    /// listed as kConcealedType too.
    [[nodiscard]] virtual QStringList types() const = 0;
    /// The newest plain text; none when there is no text (an image, files, an owner that went
    /// away), or it is concealed.
    [[nodiscard]] virtual std::optional<QString> string() const = 0;
    /// Whether the newest change is a text that is larger than kMaxClipboardBytes.
    [[nodiscard]] virtual bool tooLarge() const { return false; }
    /// Clears the pasteboard and puts `text` on it as plain text. Raises the count once, before it
    /// returns; the back-end's own echo never raises it again. Does nothing when the pasteboard is
    /// not available or the text is larger than kMaxClipboardBytes.
    virtual void setString(const QString& text) = 0;
    /// The same with a secret: it is marked as concealed, so that clipboard managers and programs
    /// like this one leave it alone, and it is not handed over at the end.
    virtual void setSecret(const QString& text) { setString(text); }
    /// Lets a foreign change that is being fetched right now end in the snapshot without raising
    /// the count: it was made before this call, however late its text arrives.
    virtual void overlookChangeUnderWay() {}
    /// To be called once, before the program ends: gives a text of ours to the desktop's clipboard
    /// manager, where the text would be lost with us. Takes half a second at most.
    virtual void handOver() {}
    /// Which back-end this is: "x11", "wayland", "none".
    [[nodiscard]] virtual QString backend() const = 0;
    /// Whether copies can be seen and written now.
    [[nodiscard]] virtual bool available() const = 0;
    /// Why not, in a few words; empty while available.
    [[nodiscard]] virtual Sentence unavailableReason() const = 0;

Q_SIGNALS:
    /// The count was raised by a foreign change; its snapshot is whole.
    void changed();
    /// available() is another than before.
    void availabilityChanged();
    /// The desktop is gone, and this pasteboard will never be available again.
    void ended();
};

/// The convention by which password managers mark a secret (nspasteboard.org).
inline constexpr QLatin1StringView kConcealedType{"org.nspasteboard.ConcealedType"};

/// Largest text taken from or put on the clipboard, in bytes of UTF-8.
inline constexpr qint64 kMaxClipboardBytes = 16LL * 1024 * 1024;

} // namespace sorrelwind
