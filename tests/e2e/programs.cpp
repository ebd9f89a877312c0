#include "tests/e2e/programs.h"

#include "tests/support/wait.h"

#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>

#include <csignal>
#include <sys/prctl.h>

namespace sorrelwind::test {

namespace {

constexpr int kProcessPatience = 30'000;

QJsonDocument jsonOf(const Ended& ended) {
    return ended.code == 0 ? QJsonDocument::fromJson(ended.out) : QJsonDocument();
}

} // namespace

QProcessEnvironment ourEnvironment(QProcessEnvironment environment) {
    environment.remove("SORRELWIND_SERVER");
    environment.insert("LC_ALL", "C.UTF-8");
    return environment;
}

Ended runToEnd(const QString& program, const QStringList& arguments, const QByteArray& input,
               const QProcessEnvironment& environment) {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    EXPECT_TRUE(process.waitForStarted()) << program.toStdString();
    process.write(input);
    process.closeWriteChannel();
    if (!waitFor([&] { return process.state() == QProcess::NotRunning; },
                 std::chrono::milliseconds(kProcessPatience))) {
        ADD_FAILURE() << program.toStdString() << " does not end";
        process.kill();
        process.waitForFinished();
        return {};
    }
    const bool exited = process.exitStatus() == QProcess::NormalExit;
    EXPECT_TRUE(exited) << program.toStdString() << " crashed";
    return {exited ? process.exitCode() : -1, process.readAllStandardOutput(),
            process.readAllStandardError()};
}

Ended sorrelwind(const QStringList& arguments, const QByteArray& input) {
    return runToEnd(kAgent, arguments, input, ourEnvironment());
}

Background::Background(const QString& program, const QStringList& arguments, const QString& logFile,
                       const QProcessEnvironment& environment)
    : m_logFile(logFile) {
    m_process.setProcessEnvironment(ourEnvironment(environment));
    m_process.setStandardInputFile(QProcess::nullDevice());
    m_process.setStandardOutputFile(QProcess::nullDevice());
    m_process.setStandardErrorFile(logFile, QIODevice::Append);
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    m_process.start(program, arguments);
    EXPECT_TRUE(m_process.waitForStarted()) << program.toStdString();
}

Background::~Background() {
    if (running())
        end(SIGTERM);
}

QByteArray Background::log() const {
    QFile file(m_logFile);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void Background::signal(int number) {
    ::kill(static_cast<pid_t>(m_process.processId()), number);
}

int Background::end(int signal) {
    this->signal(signal);
    if (!m_process.waitForFinished(kProcessPatience)) {
        ADD_FAILURE() << "a process does not end by signal " << signal;
        m_process.kill();
        m_process.waitForFinished();
    }
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

Hub::Hub(const QString& folder, const QStringList& moreArguments)
    : m_folder(folder), m_moreArguments(moreArguments) {
    start();
}

void Hub::start() {
    const qsizetype before = m_process ? m_process->log().size() : 0;
    const QStringList arguments{"--listen", u"127.0.0.1:%1"_qs.arg(m_port), "--data",
                                m_folder + "/hub.d"};
    m_process = std::make_unique<Background>(kAgent + "-hub", arguments + m_moreArguments,
                                             m_folder + "/hub.log");
    static const QRegularExpression listening("listening on http://127.0.0.1:(\\d+)");
    EXPECT_TRUE(waitFor([&] {
        const auto match = listening.match(QString::fromUtf8(m_process->log().mid(before)));
        m_port = match.hasMatch() ? match.captured(1).toInt() : m_port;
        return match.hasMatch();
    })) << m_process->log().toStdString();
}

void Hub::kill() {
    m_process->end(SIGKILL);
}

void Hub::signal(int number) {
    m_process->signal(number);
}

Desktop::Desktop(const QString& folder, const QString& name)
    : Desktop(folder, name, QStringList{"--headless"}) {
    startAgent();
}

Desktop::Desktop(const QString& folder, const QString& name, const QStringList& agentArguments)
    : m_environment(m_xvfb.environment()), m_folder(folder), m_name(name),
      m_configDir(folder + u'/' + name), m_agentArguments(agentArguments) {
    EXPECT_TRUE(m_xvfb.running());
}

void Desktop::startAgent() {
    m_agent = std::make_unique<Background>(
        kAgent, m_agentArguments + QStringList{"--config-dir", m_configDir},
        m_folder + u'/' + m_name + ".log", m_environment);
    EXPECT_TRUE(waitFor([this] { return !status().isEmpty(); })) << log().toStdString();
}

int Desktop::stopAgent(int signal) {
    return m_agent->end(signal);
}

Ended Desktop::command(const QStringList& arguments, const QByteArray& input) const {
    return sorrelwind(QStringList{"--config-dir", m_configDir} + arguments, input);
}

QJsonObject Desktop::status() const {
    return jsonOf(command({"status", "--json"})).object();
}

QJsonArray Desktop::devices() const {
    return jsonOf(command({"devices", "--json"})).array();
}

QJsonObject Desktop::pairing() const {
    return jsonOf(command({"pair", "--json"})).object();
}

bool Desktop::ready() const {
    return waitFor([this] {
        const QJsonObject now = status();
        return now[u"connection"] == "connected" && now[u"crypto"] == "encrypted";
    });
}

void Desktop::createGroup(const Hub& hub) {
    const Ended created = command({"create", "--server", hub.url(), "--name", m_name});
    ASSERT_EQ(created.code, 0) << created.err.toStdString();
    ASSERT_TRUE(ready());
}

void Desktop::joinByLink(const Desktop& member) {
    const QByteArray link = member.pairing()[u"link"].toString().toUtf8();
    const Ended joined = command({"join", "-", "--name", m_name}, link + '\n');
    ASSERT_EQ(joined.code, 0) << joined.err.toStdString();
    ASSERT_TRUE(ready());
}

void Desktop::copy(const QByteArray& text) const {
    // xclip goes on in the background until its selection is taken or the server ends, so it must
    // hold none of our pipes.
    QProcess xclip;
    xclip.setProcessEnvironment(m_xvfb.environment());
    xclip.setStandardOutputFile(QProcess::nullDevice());
    xclip.setStandardErrorFile(QProcess::nullDevice());
    xclip.start("xclip", {"-selection", "clipboard"});
    xclip.write(text);
    xclip.closeWriteChannel();
    EXPECT_TRUE(xclip.waitForFinished(kProcessPatience));
}

std::optional<QByteArray> Desktop::paste() const {
    const Ended pasted = runToEnd("timeout", {"5", "xclip", "-selection", "clipboard", "-o"}, {},
                                  m_xvfb.environment());
    return pasted.code == 0 ? std::optional(pasted.out) : std::nullopt;
}

bool Desktop::pastes(const QByteArray& text) const {
    return waitFor([&] { return paste() == text; });
}

void PairedDesktops::SetUp() {
    a.createGroup(hub);
    ASSERT_FALSE(HasFatalFailure());
    b.joinByLink(a);
}

void PairedDesktops::TearDown() {
    const QByteArray logs = a.log() + b.log() + hub.log();
    for (const char* secret : {"SECRET", "机密", "sw1."})
        EXPECT_FALSE(logs.contains(secret)) << secret;
}

} // namespace sorrelwind::test
