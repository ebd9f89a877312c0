#pragma once

#include "hosting/awaited.h"

#include <QHostAddress>
#include <QString>
#include <QStringList>

#include <chrono>

class QProcess;

namespace sorrelwind {

/// How a program that was run to its end ended.
struct ProgramResult {
    int exitCode = -1; // -1: not started, crashed, or took longer than 20 s
    QString lastError; // the last line of its standard error
};

// Each for an Awaited.

[[nodiscard]] Awaited<ProgramResult>::Begin runProgram(const QString& program,
                                                       const QStringList& arguments);
/// Whether someone accepts a connection there.
[[nodiscard]] Awaited<bool>::Begin connectTo(const QHostAddress& address, quint16 port);
[[nodiscard]] Awaited<bool>::Begin pause(std::chrono::milliseconds duration);
/// Whether the process, which runs now, ends within `patience`. It outlives the wait.
[[nodiscard]] Awaited<bool>::Begin endOf(QProcess& process, std::chrono::milliseconds patience);

} // namespace sorrelwind
