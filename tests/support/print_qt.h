#pragma once

#include <QByteArray>
#include <QString>

#include <ostream>

// How GoogleTest prints Qt's texts in a failed comparison; found by argument-dependent lookup.

inline void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

inline void PrintTo(const QByteArray& bytes, std::ostream* out) {
    *out << '"' << bytes.toStdString() << '"';
}
