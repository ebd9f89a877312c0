#include "hosting/program_run.h"

#include <QNetworkProxy>
#include <QProcess>
#include <QTcpSocket>
#include <QTimer>

namespace sorrelwind {

namespace {

using namespace std::chrono_literals;

constexpr auto kProgramPatience = 20s;
constexpr auto kConnectPatience = 2s;

QString lastLine(const QByteArray& output) {
    return QString::fromLocal8Bit(output.trimmed().split('\n').last().left(400));
}

} // namespace

Awaited<ProgramResult>::Begin runProgram(const QString& program, const QStringList& arguments) {
    return [program, arguments](QObject& context, const Awaited<ProgramResult>::Done& done) {
        auto* process = new QProcess(&context); // its end kills a program that still runs
        process->setStandardInputFile(QProcess::nullDevice());
        process->setStandardOutputFile(QProcess::nullDevice());
        const auto ended = [process, done] {
            const bool well = process->error() == QProcess::UnknownError &&
                              process->exitStatus() == QProcess::NormalExit;
            done({well ? process->exitCode() : -1, lastLine(process->readAllStandardError())});
        };
        QObject::connect(process, &QProcess::finished, &context, ended, Qt::QueuedConnection);
        QObject::connect(process, &QProcess::errorOccurred, &context, ended, Qt::QueuedConnection);
        QTimer::singleShot(kProgramPatience, process, &QProcess::kill);
        process->start(program, arguments);
    };
}

Awaited<bool>::Begin connectTo(const QHostAddress& address, quint16 port) {
    return [address, port](QObject& context, const Awaited<bool>::Done& done) {
        auto* socket = new QTcpSocket(&context);
        socket->setProxy(QNetworkProxy::NoProxy);
        const auto yes = [done] { done(true); };
        const auto no = [done] { done(false); };
        QObject::connect(socket, &QTcpSocket::connected, &context, yes, Qt::QueuedConnection);
        QObject::connect(socket, &QTcpSocket::errorOccurred, &context, no, Qt::QueuedConnection);
        QTimer::singleShot(kConnectPatience, &context, no);
        socket->connectToHost(address, port);
    };
}

Awaited<bool>::Begin endOf(QProcess& process, std::chrono::milliseconds patience) {
    return [&process, patience](QObject& context, const Awaited<bool>::Done& done) {
        const auto look = [done](QProcess::ProcessState state) {
            if (state == QProcess::NotRunning)
                done(true);
        };
        QObject::connect(&process, &QProcess::stateChanged, &context, look, Qt::QueuedConnection);
        QTimer::singleShot(patience, &context, [done] { done(false); });
    };
}

Awaited<bool>::Begin pause(std::chrono::milliseconds duration) {
    return [duration](QObject& context, const Awaited<bool>::Done& done) {
        QTimer::singleShot(duration, &context, [done] { done(true); });
    };
}

} // namespace sorrelwind
