#pragma once

#include <QByteArray>
#include <QRect>
#include <QString>

#include <ostream>

// How GoogleTest prints Qt's texts in a failed comparison; found by argument-dependent lookup.

inline void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

inline void PrintTo(const QByteArray& bytes, std::ostream* out) {
    *out << '"' << bytes.toStdString() << '"';
}

inline void PrintTo(const QRect& rect, std::ostream* out) {
    *out << rect.x() << ',' << rect.y() << ' ' << rect.width() << "x" << rect.height();
}
