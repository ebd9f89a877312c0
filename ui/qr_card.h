#pragma once

#include <QImage>
#include <QTimer>
#include <QWidget>

namespace sorrelwind {

class BrandButton;
class SymbolView;
class TextLabel;

/// The QR code of a pairing link on a light card. It says when the link takes its time; an expired
/// one is faint and offers a new code.
class QrCard final : public QWidget {
    Q_OBJECT
public:
    explicit QrCard(QWidget* parent = nullptr);

    /// Empty while there is no link yet.
    void setUrl(const QString& url);
    void setExpired(bool expired);
    void setTexts(const QString& description, const QString& expired, const QString& renew);

Q_SIGNALS:
    void renew();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_url;
    QImage m_image; // of m_url, for the device pixel ratio that it carries
    SymbolView* m_wait;
    QTimer m_waitSoon; // most links come before it would be seen
    QWidget* m_overlay;
    TextLabel* m_expiredText;
    BrandButton* m_renew;
};

} // namespace sorrelwind
